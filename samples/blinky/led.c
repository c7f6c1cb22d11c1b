#include "led.h"

#include "log.h"

const u8 led_patterns[LED_MODES][LED_STEPS] = {
    {0, 0, 0, 0, 0, 0, 0, 0},
    {0xFF, 0xFF, 0, 0, 0xFF, 0xFF, 0, 0},
    {0x01, 0x02, 0x04, 0x08, 0x10, 0x20, 0x40, 0x80},
};

static u8 plain(const struct led_player *player, u8 lights) {
  return player->inverted ? (u8)~lights : lights;
}

static u8 dimmed(const struct led_player *player, u8 lights) {
  return (player->step & 7u) < player->brightness ? plain(player, lights) : 0;
}

void led_start(struct led_player *player, enum led_mode mode) {
  player->mode = mode;
  player->step = 0;
  player->shape = player->brightness == 7 ? plain : dimmed;
  log_add(LOG_INFO, "mode", mode);
}

u8 led_step(struct led_player *player) {
  u8 lights = led_patterns[player->mode][player->step];
  player->step = (u8)((player->step + 1) % LED_STEPS);
  BOARD->leds = player->shape(player, lights);
  return lights;
}
