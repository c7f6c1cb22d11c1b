// Patterns of light, played a step per tick.
#ifndef LED_H
#define LED_H

#include "board.h"

#define LED_STEPS 8

enum led_mode { LED_OFF, LED_BLINK, LED_CHASE, LED_MODES };

struct led_player {
  enum led_mode mode;
  u8 step;
  u8 brightness : 3;
  u8 inverted : 1;
  u8 (*shape)(const struct led_player *player, u8 lights);
};

extern const u8 led_patterns[LED_MODES][LED_STEPS];

void led_start(struct led_player *player, enum led_mode mode);
u8 led_step(struct led_player *player);

#endif
