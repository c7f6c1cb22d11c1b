#include "dwarf2/ranges.h"

namespace {

// In bytes: each range becomes a record or a part of some, over and over where entries share their list.
constexpr uint32_t COST_OF_RANGE = 64;

}  // namespace

bool RangeReader::Read(const UnitForms& unit, const AttributeValue& value, GrowingArray<AddressRange>* ranges) {
  if (!list_.Begin(unit, value)) {
    return !*failure_;
  }
  AddressRange range = {};
  while (list_.Next(&range) && list_.Bytes().Charge(COST_OF_RANGE)) {
    if (range.low != range.high && !ranges->Push(range)) {
      failure_->NoteNoMemory();
      break;
    }
  }
  return list_.End();
}
