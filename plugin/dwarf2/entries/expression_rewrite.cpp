#include "dwarf2/entries/expression_rewrite.h"

#include <algorithm>
#include <cstring>

#include "dwarf/leb128.h"
#include "dwarf2/entries/operands.h"

namespace {

constexpr uint32_t BRANCH_SIZE = 3;     // bytes of the whole operation
constexpr uint32_t LONG_REFERENCE = 8;  // bytes of an offset that is cut to 4

}  // namespace

void ExpressionRewrite::BeginUnit(const UnitForms& unit, FormValues* values) {
  unit_ = &unit;
  values_ = values;
  referenceSize_ = unit.version == 2 ? unit.addressSize : unit.offsetSize;
}

const uint8_t* ExpressionRewrite::EndOfOperation(const uint8_t* operation, const uint8_t* end) const {
  const Operands operands = OperandsOf(*operation);
  const uint8_t* next = EndOfOperand(operands.first, operation + 1, end, unit_->addressSize, referenceSize_);
  return next != nullptr ? EndOfOperand(operands.second, next, end, unit_->addressSize, referenceSize_) : nullptr;
}

// Walks into enclosed expressions as if their operations were of the outer one. Where it cannot go on it may be wrong
// about what follows, so that is looked at by Run.
bool ExpressionRewrite::IsNeeded(const uint8_t* bytes, uint32_t length) const {
  const uint8_t* end = bytes + length;
  while (bytes != nullptr && bytes != end) {
    const Operand first = OperandsOf(*bytes).first;
    if (first == Operand::index || (first == Operand::reference && referenceSize_ == LONG_REFERENCE)) {
      return true;
    }
    uint32_t ignored = 0;
    bytes = first == Operand::expression ? TakeUleb(bytes + 1, end, &ignored) : EndOfOperation(bytes, end);
  }
  return bytes == nullptr;
}

bool ExpressionRewrite::Run(Cursor* source, const uint8_t* bytes, uint32_t length) {
  source_ = source;
  output_.Empty();
  places_.Empty();
  return Append(bytes, bytes + length, 0);
}

bool ExpressionRewrite::Append(const uint8_t* bytes, const uint8_t* end, uint32_t nesting) {
  const uint32_t firstPlace = places_.Count();
  const uint32_t firstOutput = output_.Count();
  for (const uint8_t* next = bytes; next != end;) {
    const uint8_t* operationEnd = EndOfOperation(next, end);
    const bool isBranch = operationEnd != nullptr && OperandsOf(*next).first == Operand::branch;
    if (!AddPlace(static_cast<uint32_t>(next - bytes), firstOutput, isBranch)) {
      return false;
    }
    if (operationEnd == nullptr) {
      operationEnd = end;
      if (!Copy(next, end)) {
        return false;
      }
    } else if (!AppendOperation(next, operationEnd, nesting)) {
      return false;
    }
    next = operationEnd;
  }
  return AddPlace(static_cast<uint32_t>(end - bytes), firstOutput, false) &&
         MendBranches(bytes, firstPlace, firstOutput) && places_.Resize(firstPlace);
}

bool ExpressionRewrite::AppendOperation(const uint8_t* operation, const uint8_t* operationEnd, uint32_t nesting) {
  const Operand operand = OperandsOf(*operation).first;
  if (operand == Operand::expression) {
    return AppendEnclosing(operation, operationEnd, nesting);
  }
  if (operand == Operand::index) {
    uint32_t index = 0;
    TakeUleb(operation + 1, operationEnd, &index);
    const uint32_t address = values_->AddressAt(index, *unit_);
    const bool isAddress = *operation == DW_OP_addrx || *operation == DW_OP_GNU_addr_index;
    return AppendNumber(isAddress ? DW_OP_addr : DW_OP_const4u, 1) &&
           AppendNumber(address, isAddress ? unit_->addressSize : 4) && !source_->failure();
  }
  if (operand == Operand::reference && referenceSize_ == LONG_REFERENCE) {
    const uint8_t* low = operation + (source_->IsLittleEndian() ? 1 : 5);
    const uint8_t* high = operation + (source_->IsLittleEndian() ? 5 : 1);
    if (source_->Read32(high) != 0) {
      source_->Fail("an offset has more than 32 bits");
      return false;
    }
    return AppendNumber(*operation, 1) && Copy(low, low + 4) && Copy(operation + 1 + referenceSize_, operationEnd);
  }
  return Copy(operation, operationEnd);
}

// The length in front stays as it is written while it stays right.
bool ExpressionRewrite::AppendEnclosing(const uint8_t* operation, const uint8_t* operationEnd, uint32_t nesting) {
  if (nesting == MAX_NESTING) {
    source_->Fail("expressions are nested deeper than %u", static_cast<unsigned>(MAX_NESTING));
    return false;
  }
  uint32_t length = 0;
  const uint8_t* enclosed = TakeUleb(operation + 1, operationEnd, &length);
  if (!Copy(operation, operation + 1)) {
    return false;
  }
  const uint32_t start = output_.Count();
  if (!Append(enclosed, operationEnd, nesting + 1)) {
    return false;
  }
  const uint32_t newLength = output_.Count() - start;
  uint8_t number[LEB_LONGEST_32];
  const uint8_t* numberBytes = operation + 1;
  auto numberSize = static_cast<uint32_t>(enclosed - numberBytes);
  if (newLength != length) {
    numberSize = EncodeUleb(newLength, number);
    numberBytes = number;
  }
  if (!output_.Resize(output_.Count() + numberSize)) {
    return NoteNoMemory();
  }
  std::memmove(output_.begin() + start + numberSize, output_.begin() + start, newLength);
  std::memcpy(output_.begin() + start, numberBytes, numberSize);
  return true;
}

// A branch leads from its end to an operation, both of the same expression.
bool ExpressionRewrite::MendBranches(const uint8_t* bytes, uint32_t firstPlace, uint32_t firstOutput) {
  const Place* first = places_.begin() + firstPlace;
  const Place* last = places_.end() - 1;
  for (const Place* place = first; place != last; ++place) {
    if (!place->isBranch) {
      continue;
    }
    const auto distance = static_cast<int16_t>(source_->Read16(bytes + place->before + 1));
    const int64_t target = int64_t{place->before} + BRANCH_SIZE + distance;
    if (target < 0 || target > last->before) {
      continue;
    }
    const Place* after = std::upper_bound(first, last + 1, target,
                                          [](int64_t offset, const Place& other) { return offset < other.before; });
    const Place& found = *(after - 1);
    const int64_t mended = found.after + (target - found.before) - (int64_t{place->after} + BRANCH_SIZE);
    if (mended < INT16_MIN || mended > INT16_MAX) {
      source_->Fail("a branch of an expression leads too far");
      return false;
    }
    uint8_t* operand = output_.begin() + firstOutput + place->after + 1;
    const auto bits = static_cast<uint16_t>(mended);
    const auto low = static_cast<uint8_t>(bits & 0xFF);
    const auto high = static_cast<uint8_t>(bits >> 8);
    operand[0] = source_->IsLittleEndian() ? low : high;
    operand[1] = source_->IsLittleEndian() ? high : low;
  }
  return true;
}

bool ExpressionRewrite::AddPlace(uint32_t before, uint32_t firstOutput, bool isBranch) {
  return places_.Push({before, output_.Count() - firstOutput, isBranch}) || NoteNoMemory();
}

bool ExpressionRewrite::Copy(const uint8_t* bytes, const uint8_t* end) {
  for (; bytes != end; ++bytes) {
    if (!output_.Push(*bytes)) {
      return NoteNoMemory();
    }
  }
  return true;
}

// In the file's byte order.
bool ExpressionRewrite::AppendNumber(uint32_t number, uint32_t size) {
  for (uint32_t i = 0; i < size; ++i) {
    const uint32_t place = source_->IsLittleEndian() ? i : size - 1 - i;
    const uint32_t byte = place < 4 ? number >> 8 * place & 0xFF : 0;
    if (!output_.Push(static_cast<uint8_t>(byte))) {
      return NoteNoMemory();
    }
  }
  return true;
}

bool ExpressionRewrite::NoteNoMemory() {
  source_->failure().NoteNoMemory();
  return false;
}
