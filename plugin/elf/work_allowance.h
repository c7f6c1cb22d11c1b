// A bound on what a file can ask of its readers.
//
// An ordinary file has each of its bytes read about once. A hostile one lets its parts overlap: thousands of units on
// one line program, thousands of names on one string. Readers spend what they consume, in proportion to the time and
// memory that it costs, out of an allowance that the file's size grants; when it is used up they fail.
#pragma once

#include <algorithm>
#include <cstdint>

class WorkAllowance {
 public:
  // What a unit costs before its first byte: its records, and the first block of its heap.
  static constexpr uint32_t UNIT = 2048;

  // Begins anew: 64 for each byte of the file, so that every byte may be read eight times; and a little more, so that
  // small files may be as wrong as they like.
  void Grant(int64_t fileSize) {
    fileSize_ = static_cast<uint64_t>(fileSize);
    left_ = 64 * fileSize + SLACK;
  }

  void Spend(uint64_t cost) { left_ -= static_cast<int64_t>(cost); }

  // Bytes that records can come from cost more than those of text, which are copied at the most. A walk that jumped
  // behind the end of the file has read no more than the file.
  void SpendOnRecords(uint64_t bytes) { Spend(8 * std::min(bytes, fileSize_)); }
  void SpendOnText(uint64_t bytes) { Spend(bytes); }

  bool IsLeft() const { return left_ >= 0; }

 private:
  static constexpr int64_t SLACK = 8 << 20;
  uint64_t fileSize_ = 0;
  int64_t left_ = SLACK;
};
