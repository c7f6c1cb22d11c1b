// Firing profiles: how fast to heat, how far, how long to stay.
#ifndef PROFILE_H
#define PROFILE_H
#include "board.h"

enum phase { PHASE_IDLE = -1, PHASE_RAMP, PHASE_SOAK, PHASE_COOL };

struct segment {
  int16_t rate;  // degrees an hour, negative to cool
  int16_t target;
  uint8_t minutes;
};

struct profile {
  const char *name;
  const struct segment *segments;
  uint8_t count : 4, cone : 4;
};

struct firing {
  const struct profile *profile;
  enum phase phase;
  unsigned segment;
  int32_t setpoint;  // in 1/16 degree
  uint32_t left;     // ticks of the phase
};

void firing_start(struct firing *firing, const struct profile *profile);
bool firing_step(struct firing *firing, int temperature);
extern const struct profile profiles[2];

#endif
