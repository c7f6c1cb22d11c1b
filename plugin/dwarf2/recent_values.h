// The values that were looked up last, by offset: one place for each remainder of the offset's hash, so that asking
// costs one load. What is not here has to be sought where it is kept.
#pragma once

#include <array>
#include <cstdint>

template <typename Value, uint32_t bits>
class RecentValues {
 public:
  // The value of that offset, or null when it is not here.
  Value* Find(uint32_t offset) const {
    const Place& place = places_[PlaceOf(offset)];
    return place.offset == offset && place.round == round_ ? place.value : nullptr;
  }

  void Put(uint32_t offset, Value* value) { places_[PlaceOf(offset)] = {value, offset, round_}; }

  // Costs nothing but once in 2^32 times.
  void Clear() {
    if (++round_ == 0) {
      places_ = {};
      round_ = 1;
    }
  }

 private:
  struct Place {
    Value* value;
    uint32_t offset;
    uint32_t round;  // in which it was put here
  };

  static uint32_t PlaceOf(uint32_t offset) { return (offset * 0x9E3779B1U) >> (32 - bits); }

  std::array<Place, size_t{1} << bits> places_ = {};
  uint32_t round_ = 1;
};
