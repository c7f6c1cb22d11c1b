// The control loop, in C++: a filter of any length, a proportional-integral controller.
#include "heater.h"

namespace {

template <typename Sample, unsigned Length>
class Filter {
 public:
  Sample Add(Sample sample) {
    samples_[next_++ % Length] = sample;
    Sample sum = 0;
    for (Sample each : samples_) sum += each;
    return sum / static_cast<Sample>(Length);
  }

 private:
  Sample samples_[Length] = {};
  unsigned next_ = 0;
};

Filter<int, 8> filter;
Filter<short, 4> ambient;

}  // namespace

namespace control {

enum class Mode : uint8_t { off, automatic = 4, full };

struct Gains {
  int16_t proportional, integral;
  static const int limit = 1 << 12;
};

struct Controller {
  virtual int Output(int error) = 0;
  Mode mode = Mode::off;
};

struct Pi final : Controller {
  constexpr explicit Pi(Gains gains) : gains(gains) {}
  int Output(int error) override;
  Gains gains;
  int sum = 0;
};

int Pi::Output(int error) {
  auto limited = [](int value) { return value < -Gains::limit ? -Gains::limit : value > Gains::limit ? Gains::limit : value; };
  sum = limited(sum + error * gains.integral);
  return limited(error * gains.proportional + sum) >> 4;
}

static constinit Pi kiln{{24, 3}};

}  // namespace control

extern "C" int heater_read(void) {
  BOARD->adc.enabled = 1;
  while (BOARD->adc.busy) {
  }
  int cold = ambient.Add(static_cast<short>(BOARD->adc.channel));
  return filter.Add(static_cast<int>(BOARD->adc.sample)) * 4 + cold;
}

extern "C" void heater_drive(int setpoint, const int& temperature) {
  control::Controller& controller = control::kiln;
  controller.mode = setpoint > temperature + 160 ? control::Mode::full : control::Mode::automatic;
  int duty = controller.mode == control::Mode::full ? 255 : control::kiln.Output(setpoint - temperature);
  BOARD->duty = static_cast<uint16_t>(duty < 0 ? 0 : duty);
}
