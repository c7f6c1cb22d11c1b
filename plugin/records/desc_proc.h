// Procedure records, and the sorted chain of labels, as both readers make them.
#pragma once

#include <cstdint>
#include <map>

#include "records/record_heap.h"

struct DescModule;
struct DescProc;
struct DescType;

// A record of zeros, `name` the shared empty string. Null without memory.
DescProc* NewDescProc(RecordHeap* heap, DescType* returnType);

// Labels of a module under construction, ascending by `lowPc`; of equal ones the later comes first.
class LabelChain {
 public:
  // Inserts `label`, and fills in ends: a label without one (`highPc` 0) ends at the label after it, the last one
  // with the module. An end from the file or from a neighbour is kept; one from the module gives way to a label that is
  // appended after it. A null label is allowed.
  void Insert(const DescModule* module, DescProc* label);

  // Puts the chain in front of the module's procedures.
  void MoveTo(DescModule* module);

 private:
  void EndWithModule(const DescModule* module, DescProc* label);
  void Append(const DescModule* module, DescProc* label);
  void InsertInside(DescProc* label);
  DescProc* LabelBefore(uint32_t lowPc);
  bool IndexChain();
  void IndexLabel(DescProc* label);

  DescProc* head_ = nullptr;
  DescProc* tail_ = nullptr;
  bool tailEndsWithModule_ = false;
  bool isIndexed_ = false;                // from the first label on that goes between others
  std::map<uint32_t, DescProc*> lastAt_;  // by address: the label that stands last of those there
};
