// Numbers that are the same in every run and on every machine.
#pragma once

#include <cstdint>
#include <random>

class Random {
 public:
  explicit Random(uint32_t seed) : engine_(seed) {}
  uint32_t below(uint32_t end) { return static_cast<uint32_t>(engine_()) % end; }

 private:
  std::mt19937 engine_;
};
