// Names whose test for an empty text is put off: the text's bytes are in no cache when the name is read, and a while
// later they are.
#pragma once

#include <cstdint>

class PendingNames {
 public:
  // A name that has been stored in `field`. If its text is empty, the field gets `fallback`.
  void Add(char** field, char* fallback) {
#if defined(__GNUC__)
    __builtin_prefetch(*field);
#endif
    Entry& entry = entries_[next_++ % COUNT];
    if (entry.field != nullptr) {
      Settle(entry);
    }
    entry = {field, fallback};
  }

  void SettleAll() {
    for (uint32_t i = 0; i < COUNT; ++i) {
      Entry& entry = entries_[next_++ % COUNT];
      if (entry.field != nullptr) {
        Settle(entry);
      }
      entry.field = nullptr;
    }
  }

 private:
  static constexpr uint32_t COUNT = 32;

  struct Entry {
    char** field;
    char* fallback;
  };

  static void Settle(const Entry& entry) {
    if (**entry.field == 0) {
      *entry.field = entry.fallback;
    }
  }

  Entry entries_[COUNT] = {};
  uint32_t next_ = 0;
};
