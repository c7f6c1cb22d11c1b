#include "records/desc_proc.h"

#include <iterator>
#include <new>

#include "records/debug_records.h"

DescProc* NewDescProc(RecordHeap* heap, DescType* returnType) {
  auto* proc = heap->New<DescProc>();
  if (proc != nullptr) {
    proc->name = EmptyString();
    proc->returnType = returnType;
  }
  return proc;
}

void LabelChain::Insert(const DescModule* module, DescProc* label) {
  if (label == nullptr) {
    return;
  }
  if (head_ == nullptr) {
    head_ = tail_ = label;
    EndWithModule(module, label);
  } else if (label->lowPc <= head_->lowPc) {
    label->next = head_;
    head_ = label;
  } else if (label->lowPc > tail_->lowPc) {
    Append(module, label);
  } else {
    InsertInside(label);
  }
  if (isIndexed_) {
    IndexLabel(label);
  }
}

void LabelChain::MoveTo(DescModule* module) {
  if (head_ != nullptr) {
    tail_->next = module->procs;
    module->procs = head_;
  }
}

void LabelChain::EndWithModule(const DescModule* module, DescProc* label) {
  tailEndsWithModule_ = label->highPc == 0;
  if (label->highPc == 0) {
    label->highPc = module->highPc;
  }
}

void LabelChain::Append(const DescModule* module, DescProc* label) {
  if (tail_->highPc == 0 || tailEndsWithModule_) {
    tail_->highPc = label->lowPc;
  }
  EndWithModule(module, label);
  tail_->next = label;
  tail_ = label;
}

void LabelChain::InsertInside(DescProc* label) {
  DescProc* before = LabelBefore(label->lowPc);
  if (label->highPc == 0) {
    label->highPc = before->next->lowPc;
  }
  label->next = before->next;
  before->next = label;
  if (before->highPc == 0) {
    before->highPc = label->lowPc;
  }
}

// The last label below `lowPc`; there is one, and one behind it.
DescProc* LabelChain::LabelBefore(uint32_t lowPc) {
  if (isIndexed_ || IndexChain()) {
    return std::prev(lastAt_.lower_bound(lowPc))->second;
  }
  DescProc* before = head_;
  while (before->next->lowPc < lowPc) {
    before = before->next;
  }
  return before;
}

// False without memory: the chain is walked then.
bool LabelChain::IndexChain() {
  isIndexed_ = true;
  for (DescProc* label = head_; label != nullptr && isIndexed_; label = label->next) {
    if (label->next == nullptr || label->next->lowPc != label->lowPc) {
      IndexLabel(label);
    }
  }
  return isIndexed_;
}

// A label goes in front of those of its address, so the first that is entered stays the last of them.
void LabelChain::IndexLabel(DescProc* label) {
  try {
    lastAt_.try_emplace(label->lowPc, label);
  } catch (const std::bad_alloc&) {
    lastAt_.clear();
    isIndexed_ = false;
  }
}
