// Records and texts of a host heap, taken from it in chunks that grow with use.
//
//   RecordHeap heap(&failure, &allowance);
//   heap.Use(module->heap);
//   auto* proc = heap.New(blankProc);      // null without memory, with the failure noted
//   proc->name = heap.CopyText(text, length);  // never null: the shared empty string without memory
//
// One rule for failed memory: the failure is noted, records are null, texts are the shared empty string.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "records/allowance.h"
#include "records/empty_string.h"
#include "records/failure.h"
#include "tarnixcore/heap.h"

class RecordHeap {
 public:
  RecordHeap(Failure* failure, Allowance* allowance) : failure_(failure), allowance_(allowance) {}
  RecordHeap(const RecordHeap&) = delete;
  RecordHeap& operator=(const RecordHeap&) = delete;

  // From now on memory comes from `heap`; what is left of the last chunk is given up.
  void Use(mem_desc* heap) {
    heap_ = heap;
    front_ = back_ = nullptr;
    used_ = 0;
  }
  mem_desc* Heap() const { return heap_; }

  // A copy of `blank`.
  template <typename Record>
  Record* New(const Record& blank) {
    void* memory = Get(sizeof(Record));
    if (memory == nullptr) {
      return nullptr;
    }
    std::memcpy(memory, static_cast<const void*>(&blank), sizeof(Record));
    return static_cast<Record*>(memory);
  }

  // A record of zeros.
  template <typename Record>
  Record* New() {
    static constexpr Record blank = {};
    return New(blank);
  }

  // The same, but no failure is noted without memory.
  template <typename Record>
  Record* TryNew() {
    isQuiet_ = true;
    auto* record = New<Record>();
    isQuiet_ = false;
    return record;
  }

  // `count` elements, not cleared.
  template <typename Element>
  Element* NewArray(size_t count) {
    static_assert(alignof(Element) <= ALIGNMENT);
    return static_cast<Element*>(Get(count * sizeof(Element)));
  }

  // Memory aligned for any record, not cleared. Null without memory.
  void* Get(size_t size) {
    const size_t piece = (size + ALIGNMENT - 1) & ~(ALIGNMENT - 1);
    if (piece > static_cast<size_t>(back_ - front_) || piece < size) {
      return GetSlowly(size);
    }
    char* memory = front_;
    front_ += piece;
    return memory;
  }

  // A terminated copy of `length` bytes. Texts are packed from the end of a chunk, without alignment.
  char* CopyText(const void* text, size_t length) {
    char* copy = NewText(length);
    if (copy == nullptr) {
      return EmptyString();
    }
    std::memcpy(copy, text, length);
    return copy;
  }

  // Room for a text of `length` bytes, with the terminator set. Null without memory; the second form notes no failure
  // then.
  char* NewText(size_t length);
  char* TryNewText(size_t length);

 private:
#if defined(__SIZEOF_POINTER__) && __SIZEOF_POINTER__ == 4
  static constexpr size_t ALIGNMENT = 4;
#else
  static constexpr size_t ALIGNMENT = 8;
#endif

  size_t NextChunk() const;
  bool IsForChunk(size_t size) const;
  void* GetSlowly(size_t size);
  char* TakeFromHost(size_t size);
  bool TakeChunk();

  Failure* failure_;
  Allowance* allowance_;
  mem_desc* heap_ = nullptr;
  char* front_ = nullptr;  // records from here on
  char* back_ = nullptr;   // texts in front of here
  size_t used_ = 0;        // bytes taken from the heap since Use
  bool isQuiet_ = false;   // without memory no failure is noted
};

// The end of a list under construction: keeps file order at constant cost. A null record adds nothing and ends the
// list, which goes on at the same place.
template <typename Record>
class ListTail {
 public:
  explicit ListTail(Record** head) : end_(head) {}
  void Append(Record* record) {
    *end_ = record;
    if (record != nullptr) {
      end_ = &record->next;
    }
  }

 private:
  Record** end_;
};

// Puts a record at the head of a list. A null record adds nothing.
template <typename Record>
Record* Prepend(Record** head, Record* record) {
  if (record != nullptr) {
    record->next = *head;
    *head = record;
  }
  return record;
}

// A fixed word as the name of a record. Records are read, never written through, so the literal serves.
inline char* FixedWord(const char* word) {
  return const_cast<char*>(word);
}
