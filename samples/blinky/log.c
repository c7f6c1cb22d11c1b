#include "log.h"

#define LOG_EVENTS 16

static struct log_event ring[LOG_EVENTS];
static unsigned next_event;
u32 log_lost;

void log_add(enum log_level level, const char *text, long number) {
  struct log_event *event = &ring[next_event % LOG_EVENTS];
  if (next_event >= LOG_EVENTS) {
    log_lost++;
  }
  event->next = next_event == 0 ? 0 : &ring[(next_event - 1) % LOG_EVENTS];
  event->level = level;
  event->tick = BOARD->ticks;
  event->text = text;
  event->value.number = number;
  next_event++;
}

const struct log_event *log_newest(void) {
  return next_event == 0 ? 0 : &ring[(next_event - 1) % LOG_EVENTS];
}

// Prints from the newest to the oldest; gives the number of characters.
int log_print(int (*put)(int character)) {
  int count = 0;
  unsigned left = next_event < LOG_EVENTS ? next_event : LOG_EVENTS;
  const struct log_event *event = log_newest();
  for (; left > 0 && event != 0; left--, event = event->next) {
    const char *text = event->text;
    while (*text != 0) {
      count += put(*text++);
    }
    count += put('\n');
  }
  return count;
}
