#include "loader/line_info_procs.h"

#include <algorithm>
#include <charconv>
#include <new>
#include <vector>

#include "loader/span_index.h"
#include "records/debug_records.h"
#include "records/desc_proc.h"

namespace {

constexpr uint32_t LAST_ADDRESS = 0xFFFFFFFF;
constexpr char NAME_START[] = "Line Info from 0x";
constexpr char NAME_MIDDLE[] = " to 0x";
constexpr size_t HEX_DIGITS = 8;
constexpr uint32_t STEP_CHARGE = 24;   // bytes
constexpr uint32_t SPAN_CHARGE = 256;  // bytes: what the index takes for a record, beside the record itself

// Covers ranges of one module. A walk over the procedures, in list order, takes from a range what each of them covers.
// Where a procedure lies inside the range, what is before it is covered first, by a walk of its own; so the new records
// of a range ascend, and end the list.
class LineInfoCover {
 public:
  LineInfoCover(DescModule* module, bool coversOnlyRows, Allowance* allowance)
      : module_(module), allowance_(allowance), heap_(&unreported_, allowance), coversOnlyRows_(coversOnlyRows) {
    heap_.Use(module->heap);
  }

  // All throw std::bad_alloc.
  void TakeProcs();
  void Cover(uint32_t low, uint32_t high);
  void CoverRows();  // once, after all ranges

 private:
  // What is left of a range. Procedures before `again` do not touch it, so a walk over a part of it begins there: at
  // `next`, unless a procedure that touches it took nothing.
  struct Walk {
    uint32_t low;
    uint32_t high;
    uint32_t again;
    uint32_t next;  // the procedure that the walk goes on with
  };

  // What no procedure covers of a range, where only rows are covered.
  struct Piece {
    uint32_t low;
    uint32_t high;
    uint32_t firstRow;  // address of its lowest row; `high` without rows
  };

  void Meet(uint32_t number);
  void AddPiece(uint32_t low, uint32_t high);
  void FindFirstRows();
  bool AddProc(uint32_t low, uint32_t high);
  char* NewName(uint32_t low, uint32_t high);

  DescModule* module_;
  Allowance* allowance_;
  Failure unreported_;  // without memory the operation goes on
  RecordHeap heap_;
  DescProc* last_ = nullptr;  // of the module's list
  SpanIndex procs_;
  std::vector<Walk> walks_;  // the innermost last

  const bool coversOnlyRows_;
  std::vector<Piece> pieces_;
};

void LineInfoCover::TakeProcs() {
  for (DescProc* proc = module_->procs; proc != nullptr; proc = proc->next) {
    last_ = proc;
    if (proc->lowPc < proc->highPc) {
      procs_.Append(proc->lowPc, proc->highPc);
    }
  }
}

// What a procedure that touches the range of the innermost walk takes from it. By the loader's rules one that begins
// inside the range and ends exactly with it takes nothing.
void LineInfoCover::Meet(uint32_t number) {
  const SpanIndex::Span proc = procs_.At(number);
  Walk& walk = walks_.back();
  const bool isFirst = walk.again == walk.next;
  walk.next = number + 1;
  walk.again = isFirst ? walk.next : walk.again;
  if (proc.low <= walk.low) {
    if (walk.high <= proc.high) {
      walks_.pop_back();
    } else {
      walk.low = proc.high;
    }
  } else if (walk.high < proc.high || (coversOnlyRows_ && walk.high == proc.high)) {
    walk.high = proc.low;
  } else if (proc.high < walk.high) {
    const Walk inner = {walk.low, proc.low, walk.again, walk.again};
    walk.low = proc.high;
    walks_.push_back(inner);
  } else if (isFirst) {
    walk.again = number;
  }
}

void LineInfoCover::Cover(uint32_t low, uint32_t high) {
  if (low < high) {
    walks_.push_back({low, high, 0, 0});
  }
  while (!walks_.empty() && allowance_->Consume(STEP_CHARGE)) {
    Walk& walk = walks_.back();
    const uint32_t number = procs_.FirstTouching(walk.next, walk.low, walk.high);
    if (number != SpanIndex::NONE) {
      Meet(number);
    } else {
      const Walk rest = walk;
      walks_.pop_back();
      if (coversOnlyRows_) {
        AddPiece(rest.low, rest.high);
      } else if (allowance_->TakeMemory(SPAN_CHARGE) && AddProc(rest.low, rest.high)) {
        procs_.Append(rest.low, rest.high);
      }
    }
  }
}

// A piece takes part in what follows as if it were covered, whether it has rows or not: no other has its addresses.
void LineInfoCover::AddPiece(uint32_t low, uint32_t high) {
  if (allowance_->TakeMemory(SPAN_CHARGE)) {
    pieces_.push_back({low, high, high});
    procs_.Append(low, high);
  }
}

// Asks for the piece of a row only where the row is not between the same two pieces as the row before.
void LineInfoCover::FindFirstRows() {
  std::vector<Piece*> pieces;
  for (Piece& piece : pieces_) {
    pieces.push_back(&piece);
  }
  std::sort(pieces.begin(), pieces.end(), [](const Piece* a, const Piece* b) { return a->low < b->low; });
  uint32_t from = 0;
  uint32_t to = 0;
  for (const DescLineBlock* block = module_->lineBlocks; block != nullptr; block = block->next) {
    for (int32_t i = 0; i < block->count; ++i) {
      const uint32_t address = block->addresses[i];
      if (address - from < to - from) {
        continue;
      }
      const auto next = std::upper_bound(pieces.begin(), pieces.end(), address,
                                         [](uint32_t row, const Piece* piece) { return row < piece->low; });
      Piece* piece = next != pieces.begin() ? *(next - 1) : nullptr;
      if (piece != nullptr && address < piece->high) {
        piece->firstRow = std::min(piece->firstRow, address);
      } else {
        from = piece != nullptr ? piece->high : 0;
        to = next != pieces.end() ? (*next)->low : LAST_ADDRESS;
      }
    }
  }
}

// A piece is covered from its first row on. One without a row is what is between two procedures.
void LineInfoCover::CoverRows() {
  if (!pieces_.empty()) {
    FindFirstRows();
  }
  for (const Piece& piece : pieces_) {
    if (piece.firstRow < piece.high) {
      AddProc(piece.firstRow, piece.high);
    }
  }
}

// "Line Info from 0x%lx to 0x%lx". There are thousands in a file, so no format is read for each.
char* LineInfoCover::NewName(uint32_t low, uint32_t high) {
  char text[sizeof(NAME_START) + sizeof(NAME_MIDDLE) + 2 * HEX_DIGITS];
  char* end = std::copy_n(NAME_START, sizeof(NAME_START) - 1, text);
  end = std::to_chars(end, end + HEX_DIGITS, low, 16).ptr;
  end = std::copy_n(NAME_MIDDLE, sizeof(NAME_MIDDLE) - 1, end);
  end = std::to_chars(end, end + HEX_DIGITS, high, 16).ptr;
  return heap_.CopyText(text, static_cast<size_t>(end - text));
}

// False without memory.
bool LineInfoCover::AddProc(uint32_t low, uint32_t high) {
  DescProc* proc = NewDescProc(&heap_, nullptr);
  if (proc == nullptr) {
    return false;
  }
  proc->lowPc = low;
  proc->highPc = high;
  proc->name = NewName(low, high);
  (last_ == nullptr ? module_->procs : last_->next) = proc;
  last_ = proc;
  return true;
}

}  // namespace

void AddLineInfoProcs(DescModule* module, L_list* ranges, bool coversOnlyRows, Allowance* allowance) {
  if (L_First(ranges) == nullptr) {
    return;
  }
  try {
    LineInfoCover cover(module, coversOnlyRows, allowance);
    cover.TakeProcs();
    for (void* data = L_First(ranges); data != nullptr; data = L_Next(ranges)) {
      const auto* range = static_cast<const DescLineRange*>(data);
      cover.Cover(range->low, range->high == LAST_ADDRESS ? range->high : range->high + 1);
    }
    cover.CoverRows();
  } catch (const std::bad_alloc&) {
    // The rest stays uncovered.
  }
}
