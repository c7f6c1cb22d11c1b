// A log of events in a ring: the newest push out the oldest.
#ifndef LOG_H
#define LOG_H

#include "board.h"

enum log_level { LOG_DEBUG = -1, LOG_INFO, LOG_ERROR = 100 };

struct log_event {
  struct log_event *next;
  enum log_level level;
  u16 tick;
  const char *text;
  union {
    long number;
    float ratio;
    u8 raw[4];
  } value;
};

void log_add(enum log_level level, const char *text, long number);
const struct log_event *log_newest(void);
int log_print(int (*put)(int character));

#endif
