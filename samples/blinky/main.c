// Blinks; a press of the button changes the mode, two at once print the log.
#include "led.h"
#include "log.h"

static struct led_player player = {LED_BLINK, 0, 7, 0, 0};
volatile u32 uptime;

static int put_serial(int character) {
  BOARD->serial.bytes[3] = (u8)character;
  return 1;
}

static void wait_tick(void) {
  u16 before = BOARD->ticks;
  while (BOARD->ticks == before) {
  }
  uptime++;
}

int main(void) {
  struct timer_control control = {1, 0, 4, 1000};
  BOARD->timer = control;
  led_start(&player, LED_BLINK);
  for (;;) {
    u8 buttons = BOARD->buttons;
    if (buttons == 3) {
      int printed = log_print(put_serial);
      log_add(LOG_DEBUG, "printed", printed);
    } else if (buttons != 0) {
      led_start(&player, (enum led_mode)((player.mode + 1) % LED_MODES));
    }
    led_step(&player);
    wait_tick();
  }
}
