// An array in the process's memory that grows at its end. Nothing throws: a push without memory returns false.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <type_traits>

template <typename Element>
class GrowingArray {
  static_assert(std::is_trivially_copyable_v<Element>);

 public:
  GrowingArray() = default;
  GrowingArray(const GrowingArray&) = delete;
  GrowingArray& operator=(const GrowingArray&) = delete;
  ~GrowingArray() { std::free(elements_); }

  uint32_t Count() const { return count_; }
  Element& operator[](uint32_t index) { return elements_[index]; }
  const Element& operator[](uint32_t index) const { return elements_[index]; }
  Element* begin() { return elements_; }
  Element* end() { return elements_ + count_; }

  // Keeps the memory.
  void Empty() { count_ = 0; }
  void Pop() { --count_; }

  bool Push(const Element& element) {
    if (count_ == capacity_ && !Reserve(capacity_ == 0 ? FIRST_CAPACITY : 2 * capacity_)) {
      return false;
    }
    elements_[count_++] = element;
    return true;
  }

  // Makes the array `count` elements long, the new ones zeros.
  bool Resize(uint32_t count) {
    if (count > capacity_ && !Reserve(count)) {
      return false;
    }
    for (uint32_t i = count_; i < count; ++i) {
      elements_[i] = Element{};
    }
    count_ = count;
    return true;
  }

 private:
  static constexpr uint32_t FIRST_CAPACITY = 8;

  bool Reserve(uint32_t capacity) {
    constexpr size_t SIZE = sizeof(Element);  // NOLINT(bugprone-sizeof-expression): arrays of pointers are meant
    auto* elements = static_cast<Element*>(std::realloc(static_cast<void*>(elements_), capacity * SIZE));
    if (elements == nullptr) {
      return false;
    }
    elements_ = elements;
    capacity_ = capacity;
    return true;
  }

  Element* elements_ = nullptr;
  uint32_t count_ = 0;
  uint32_t capacity_ = 0;
};
