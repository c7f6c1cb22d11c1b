#include "dwarf2/ranges.h"

bool RangeReader::Read(const UnitForms& unit, const AttributeValue& value, GrowingArray<AddressRange>* ranges) {
  if (!list_.Begin(unit, value)) {
    return !*failure_;
  }
  AddressRange range = {};
  while (list_.Next(&range)) {
    if (range.low != range.high && !ranges->Push(range)) {
      failure_->NoteNoMemory();
      break;
    }
  }
  return list_.End();
}
