#include "profile.h"

enum { TICKS_A_MINUTE = 60 * 8, ONE_DEGREE = 16 };

static const struct segment bisque[] = {{100, 600, 30}, {150, 1000, 15}, {-200, 100, 0}};
static const struct segment glaze[] = {{150, 1220, 10}, {-150, 100, 0}};
const struct profile profiles[2] = {{"bisque", bisque, 3, 4}, {"glaze", glaze, 2, 6}};
static unsigned firings;

static inline int32_t step_of(const struct segment *segment) {
  int32_t an_hour = segment->rate * ONE_DEGREE;
  return an_hour / (60 * TICKS_A_MINUTE / 64);
}

static const struct segment *current(const struct firing *firing) {
  return &firing->profile->segments[firing->segment];
}

void firing_start(struct firing *firing, const struct profile *profile) {
  *firing = (struct firing){.profile = profile, .phase = PHASE_RAMP};
  firings++;
}

bool firing_step(struct firing *firing, int temperature) {
  const struct segment *segment = current(firing);
  switch (firing->phase) {
  case PHASE_RAMP: {
    int32_t step = step_of(segment), goal = segment->target * ONE_DEGREE;
    firing->setpoint += step;
    if (step > 0 ? temperature >= goal : temperature <= goal) {
      firing->phase = PHASE_SOAK;
      firing->left = segment->minutes * TICKS_A_MINUTE;
    }
    break;
  }
  case PHASE_SOAK:
    if (firing->left-- != 0)
      break;
    firing->phase = ++firing->segment < firing->profile->count ? PHASE_RAMP : PHASE_COOL;
    break;
  default:
    firing->phase = PHASE_IDLE;
  }
  return firing->phase != PHASE_IDLE;
}
