#include "loader/desc_proc.h"

#include <cstring>

#include "loader/debug_records.h"
#include "loader/empty_string.h"

namespace {

void EndWithModule(const DescModule* module, LabelChain* chain, DescProc* label) {
  chain->tailEndsWithModule = label->highPc == 0;
  if (label->highPc == 0) {
    label->highPc = module->highPc;
  }
}

void AppendLabel(const DescModule* module, LabelChain* chain, DescProc* label) {
  if (chain->tail->highPc == 0 || chain->tailEndsWithModule) {
    chain->tail->highPc = label->lowPc;
  }
  EndWithModule(module, chain, label);
  chain->tail->next = label;
  chain->tail = label;
}

void InsertInside(LabelChain* chain, DescProc* label) {
  DescProc* before = chain->head;
  while (before->next->lowPc < label->lowPc) {
    before = before->next;
  }
  if (label->highPc == 0) {
    label->highPc = before->next->lowPc;
  }
  label->next = before->next;
  before->next = label;
  if (before->highPc == 0) {
    before->highPc = label->lowPc;
  }
}

}  // namespace

DescProc* NewDescProc(DescModule* module) {
  auto* proc = static_cast<DescProc*>(HEAP_Get(module->heap, sizeof(DescProc)));
  if (proc != nullptr) {
    std::memset(static_cast<void*>(proc), 0, sizeof(*proc));
    proc->name = EmptyString();
  }
  return proc;
}

void InsertLabel(const DescModule* module, LabelChain* chain, DescProc* label) {
  if (label == nullptr) {
    return;
  }
  if (chain->head == nullptr) {
    chain->head = chain->tail = label;
    EndWithModule(module, chain, label);
  } else if (label->lowPc <= chain->head->lowPc) {
    label->next = chain->head;
    chain->head = label;
  } else if (label->lowPc > chain->tail->lowPc) {
    AppendLabel(module, chain, label);
  } else {
    InsertInside(chain, label);
  }
}
