#include "dwarf2/ranges.h"

namespace {

constexpr uint32_t COST_OF_RANGE =
    64;  // in bytes: each becomes a part of records, over and over where lists are shared

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
