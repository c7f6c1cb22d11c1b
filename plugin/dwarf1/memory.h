// Records and lists as the DWARF 1 readers make them.
//
// Readers do not test their allocations: without memory these operations throw std::bad_alloc, and RunStep ends the
// step of the entry operation that was running, with the latch set and all that was linked until then in its place.
#pragma once

#include <new>

#include "dwarf1/reader_state.h"
#include "tarnixcore/heap.h"
#include "tarnixcore/list.h"

namespace dwarf1 {

inline void* GetMemory(mem_desc* heap, size_t size) {
  void* memory = HEAP_Get(heap, size);
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  return memory;
}

// A record of the heap, all fields 0.
template <typename Record>
Record* NewRecord(mem_desc* heap) {
  return new (GetMemory(heap, sizeof(Record))) Record{};
}

// The end of a list that grows at its tail.
template <typename Record>
class ListEnd {
 public:
  explicit ListEnd(Record** head) : link_(head) { MoveToEnd(); }
  void Append(Record* record) {
    *link_ = record;
    link_ = &record->next;
  }
  // Appends a whole list and clears the handle of it.
  void TakeOver(Record** list) {
    *link_ = *list;
    *list = nullptr;
    MoveToEnd();
  }

 private:
  void MoveToEnd() {
    while (*link_ != nullptr) {
      link_ = &(*link_)->next;
    }
  }
  Record** link_;
};

// Puts data at the head of a host list, which is created at first use.
inline void AddToHostList(L_list** list, mem_desc* heap, void* data) {
  if (*list == nullptr) {
    *list = L_Create(heap);
  }
  if (L_InsertData(*list, L_AT_HEAD, L_Nop, data) == 0) {
    throw std::bad_alloc();
  }
}

template <typename Step>
void RunStep(Step step) {
  try {
    step();
  } catch (const std::bad_alloc&) {
    Fail("no memory");
  }
}

}  // namespace dwarf1
