#include "loader/line_info_procs.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "loader/span_tree.h"
#include "records/debug_records.h"
#include "records/desc_proc.h"

namespace {

constexpr uint32_t LAST_ADDRESS = 0xFFFFFFFF;

// Covers ranges of one module, as a walk of its procedures does that takes from [low, high), procedure by procedure,
// what each covers. Where a procedure lies wholly inside, the part in front of it is covered first, by a walk of its
// own.
class LineInfoCover {
 public:
  LineInfoCover(DescModule* module, WorkAllowance* work) : module_(module), work_(work) {}
  LineInfoCover(const LineInfoCover&) = delete;
  LineInfoCover& operator=(const LineInfoCover&) = delete;
  ~LineInfoCover() { std::free(walks_); }

  void TakeProcs();
  void Cover(uint32_t low, uint32_t high);

  // Whether memory and allowance were there for all; without them the rest stays uncovered.
  bool IsWhole() const { return isWhole_; }

 private:
  // A walk that stands in front of procedure `next`, with what is left of its range.
  struct Walk {
    uint32_t low;
    uint32_t high;
    uint32_t next;
  };

  void Begin(uint32_t low, uint32_t high);
  void Step(const DescProc* proc);
  void AddProc(uint32_t low, uint32_t high);

  static constexpr uint32_t STEP_COST = 8;
  static constexpr uint32_t PROC_COST = 256;

  DescModule* module_;
  WorkAllowance* work_;
  DescProc* last_ = nullptr;
  SpanTree procs_;
  Walk* walks_ = nullptr;  // the innermost last
  uint32_t walkCount_ = 0;
  uint32_t walkCapacity_ = 0;
  bool isWhole_ = true;
};

void LineInfoCover::TakeProcs() {
  for (DescProc* proc = module_->procs; proc != nullptr; proc = proc->next) {
    last_ = proc;
    isWhole_ = isWhole_ && procs_.Append(proc->lowPc, proc->highPc, proc);
  }
}

void LineInfoCover::Begin(uint32_t low, uint32_t high) {
  if (walkCount_ == walkCapacity_) {
    const uint32_t capacity = walkCapacity_ == 0 ? 16 : 2 * walkCapacity_;
    auto* walks = static_cast<Walk*>(std::realloc(walks_, capacity * sizeof(Walk)));
    if (walks == nullptr) {
      isWhole_ = false;
      return;
    }
    walks_ = walks;
    walkCapacity_ = capacity;
  }
  walks_[walkCount_++] = {low, high, 0};
}

// What a procedure that touches the innermost walk's range takes from it. A procedure that begins inside the range and
// ends exactly with it takes nothing.
void LineInfoCover::Step(const DescProc* proc) {
  Walk& walk = walks_[walkCount_ - 1];
  if (proc->lowPc <= walk.low) {
    if (walk.high <= proc->highPc) {
      --walkCount_;
      return;
    }
    walk.low = proc->highPc;
  } else if (walk.high < proc->highPc) {
    walk.high = proc->lowPc;
  } else if (proc->highPc < walk.high) {
    const uint32_t low = walk.low;
    walk.low = proc->highPc;
    Begin(low, proc->lowPc);
  }
}

void LineInfoCover::Cover(uint32_t low, uint32_t high) {
  if (low >= high || !isWhole_) {
    return;
  }
  Begin(low, high);
  while (walkCount_ != 0 && work_->IsLeft()) {
    work_->Spend(STEP_COST);
    Walk& walk = walks_[walkCount_ - 1];
    const uint32_t number = procs_.NextTouching(walk.next, walk.low, walk.high);
    if (number != SpanTree::NONE) {
      walk.next = number + 1;
      Step(static_cast<const DescProc*>(procs_.Record(number)));
    } else {
      --walkCount_;
      AddProc(walk.low, walk.high);
    }
  }
  isWhole_ = isWhole_ && walkCount_ == 0;
}

void LineInfoCover::AddProc(uint32_t low, uint32_t high) {
  DescProc* proc = NewDescProc(module_);
  if (proc == nullptr) {
    isWhole_ = false;
    return;
  }
  work_->Spend(PROC_COST);
  proc->lowPc = low;
  proc->highPc = high;
  char text[64];
  std::snprintf(text, sizeof(text), "Line Info from 0x%lx to 0x%lx", static_cast<unsigned long>(low),
                static_cast<unsigned long>(high));
  const size_t size = std::strlen(text) + 1;
  auto* name = static_cast<char*>(HEAP_Get(module_->heap, size));
  if (name != nullptr) {
    std::memcpy(name, text, size);
    proc->name = name;
  }
  isWhole_ = isWhole_ && name != nullptr;
  (last_ == nullptr ? module_->procs : last_->next) = proc;
  last_ = proc;
  isWhole_ = isWhole_ && procs_.Append(proc->lowPc, proc->highPc, proc);
}

}  // namespace

bool AddLineInfoProcs(DescModule* module, L_list* ranges, WorkAllowance* work) {
  LineInfoCover cover(module, work);
  cover.TakeProcs();
  for (void* data = L_First(ranges); data != nullptr; data = L_Next(ranges)) {
    const auto* range = static_cast<const DescLineRange*>(data);
    cover.Cover(range->low, range->high == LAST_ADDRESS ? range->high : range->high + 1);
  }
  return cover.IsWhole();
}
