#include "dwarf2/entries/location_lists.h"

void LocationReader::Use(const ByteSource* file, bool littleEndian, const Dwarf2Sections* sections,
                         const DeadCode* deadCode, FormValues* values) {
  values_ = values;
  list_.Use(file, littleEndian, sections, deadCode, values);
}

DescLocation* LocationReader::Read(Cursor* cursor, uint32_t form, int32_t implicitConst, Constants constants,
                                   const UnitForms& unit) {
  if (RowOfForm(form, unit).shape == FormShape::block) {
    return expressions_->Read(cursor, unit, ReadBlockLength(cursor, form), 0, ADDRESS_SPACE_END);
  }
  const AttributeValue value = values_->Read(cursor, form, implicitConst, unit);
  if (value.IsBlock() && value.size == 0) {  // by DW_FORM_indirect
    cursor->Seek(value.place);
    return expressions_->Read(cursor, unit, value.number, 0, ADDRESS_SPACE_END);
  }
  if (value.valueClass == ValueClass::listIndex || value.IsOffset(unit)) {
    return ReadList(unit, value);
  }
  if (value.IsConstant() && constants == Constants::areDistances) {
    return expressions_->MakeDistance(value.number);
  }
  return nullptr;
}

DescLocation* LocationReader::ReadList(const UnitForms& unit, const AttributeValue& value) {
  DescLocation* chain = nullptr;
  ListTail<DescLocation> tail(&chain);
  if (!list_.Begin(unit, value)) {
    return nullptr;
  }
  AddressRange range = {};
  uint32_t length = 0;
  while (list_.Next(&range) && list_.NextLocation(&length)) {
    if (range.low == range.high) {
      list_.Bytes().Skip(length);
      continue;
    }
    DescLocation* location = expressions_->Read(&list_.Bytes(), unit, length, range.low, range.high);
    if (location == nullptr) {
      break;
    }
    tail.Append(location);
  }
  list_.End();
  return chain;
}
