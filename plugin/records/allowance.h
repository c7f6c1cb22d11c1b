// A bound on what a file can ask of its readers.
//
// A sound file has each of its bytes read about once. A hostile one lets its parts overlap: thousands of units on one
// line program, thousands of references to one list. Cursors charge the bytes that they consume, and record heaps the
// memory that they take, once each; whoever charges asks in the same place, and a reader fails when nothing is left.
#pragma once

#include <algorithm>
#include <cstdint>

class Allowance {
 public:
  // Begins anew for a file of that size: every byte may be consumed 16 times, and each may become 144 bytes of records:
  // the shortest entry has one byte, and the largest record 128. Small files may be as wrong as they like.
  void Grant(uint64_t fileSize) {
    const auto size = static_cast<int64_t>(fileSize);
    bytesLeft_ = BYTES_FOR_EACH * size + BYTES_FOR_ANY;
    memoryLeft_ = MEMORY_FOR_EACH * size + MEMORY_FOR_ANY;
  }

  // For a format that lets its units share entries: as many bytes for reading them again, instead of those that any
  // file may consume. To be called after Grant.
  void GrantReadings(uint64_t bytes) {
    bytesLeft_ += std::max(static_cast<int64_t>(bytes), LEAST_READINGS) - BYTES_FOR_ANY;
  }

  // Memory that was taken and is free again.
  void GiveMemoryBack(uint64_t bytes) { memoryLeft_ += static_cast<int64_t>(bytes); }

  // Both return whether the file may ask for more.
  bool Consume(uint64_t bytes) { return (bytesLeft_ -= static_cast<int64_t>(bytes)) >= 0; }
  bool TakeMemory(uint64_t bytes) { return (memoryLeft_ -= static_cast<int64_t>(bytes)) >= 0; }

  bool IsLeft() const { return bytesLeft_ >= 0 && memoryLeft_ >= 0; }

 private:
  static constexpr int64_t BYTES_FOR_EACH = 16;
  static constexpr int64_t BYTES_FOR_ANY = 4 << 20;
  static constexpr int64_t LEAST_READINGS = 1 << 20;
  static constexpr int64_t MEMORY_FOR_EACH = 144;
  static constexpr int64_t MEMORY_FOR_ANY = 12 << 20;

  int64_t bytesLeft_ = BYTES_FOR_ANY;
  int64_t memoryLeft_ = MEMORY_FOR_ANY;
};
