// Procedure records, and the sorted chain of labels, as both readers make them.
#pragma once

struct DescModule;
struct DescProc;

// A record in the module heap, cleared, `name` the shared empty string, `returnType` null for the caller to set. Null
// when the heap has no memory.
DescProc* NewDescProc(DescModule* module);

// Labels of a module under construction, ascending by `lowPc`; of equal ones the later comes first.
struct LabelChain {
  DescProc* head = nullptr;
  DescProc* tail = nullptr;
  bool tailEndsWithModule = false;  // the tail took its end from the module, and gives it up to a label behind it
};

// Inserts `label`, and fills in ends: a label without one (`highPc` 0) ends at its neighbour behind, the last one with
// the module. An end from the file or from a neighbour stands. A null label is allowed.
void InsertLabel(const DescModule* module, LabelChain* chain, DescProc* label);
