#include "dwarf2/unit_header.h"

#include "dwarf2/form_values.h"

namespace {

constexpr uint32_t LENGTH_OF_64_BITS = 0xFFFFFFFF;  // unit_length of 8 bytes follows
constexpr uint32_t FIRST_RESERVED_LENGTH = 0xFFFFFFF0;

// Where a unit ends, after its unit_length. 0 for a length that leads outside the section.
uint32_t ReadUnitEnd(Cursor* cursor, uint32_t sectionSize, uint8_t* offsetSize) {
  const uint32_t start = cursor->Offset();
  uint32_t length = cursor->U32();
  *offsetSize = 4;
  if (length == LENGTH_OF_64_BITS) {
    *offsetSize = 8;
    length = FormValues::ReadOffset(cursor, 8);
  }
  const uint32_t after = cursor->Offset();
  if ((*offsetSize == 4 && length >= FIRST_RESERVED_LENGTH) || after > sectionSize || length > sectionSize - after) {
    cursor->failure().Note(cursor->Section().name, start, "unit_length 0x%X leads outside the section",
                           static_cast<unsigned>(length));
    return 0;
  }
  return after + length;
}

// Version 5: unit_type 1, address_size 1, debug_abbrev_offset, then by type.
bool ReadTypedHeader(Cursor* cursor, UnitPlace* unit) {
  const uint32_t place = cursor->Offset();
  const uint8_t type = cursor->U8();
  unit->addressSize = cursor->U8();
  unit->abbrevOffset = FormValues::ReadOffset(cursor, unit->offsetSize);
  switch (type) {
    case DW_UT_compile:
      unit->kind = UnitKind::compile;
      return true;
    case DW_UT_partial:
      unit->kind = UnitKind::partial;
      return true;
    case DW_UT_skeleton:
      cursor->Skip(8);  // dwo_id
      unit->kind = UnitKind::skeleton;
      return true;
    case DW_UT_type:
      unit->kind = UnitKind::type;
      return true;
    default:
      cursor->failure().Note(cursor->Section().name, place, "unit type 0x%X is not known", static_cast<unsigned>(type));
      return false;
  }
}

// type_signature 8, type_offset
void ReadTypeUnit(Cursor* cursor, uint32_t start, UnitPlace* unit) {
  const uint32_t first = cursor->U32();
  const uint32_t second = cursor->U32();
  unit->signature = cursor->IsLittleEndian() ? first : second;
  unit->signatureHigh = cursor->IsLittleEndian() ? second : first;
  unit->typeEntry = start + FormValues::ReadOffset(cursor, unit->offsetSize);
}

}  // namespace

bool ReadUnitHeader(Cursor* cursor, uint32_t sectionSize, bool isInTypes, UnitPlace* unit, uint32_t* end) {
  unit->start = cursor->Offset();
  *end = unit->end = ReadUnitEnd(cursor, sectionSize, &unit->offsetSize);
  if (unit->end == 0) {
    return false;
  }
  const uint32_t versionPlace = cursor->Offset();
  unit->version = static_cast<uint16_t>(cursor->U16());
  if (unit->version < 2 || unit->version > 5) {
    cursor->failure().Note(cursor->Section().name, versionPlace, "DWARF %u is not known",
                           static_cast<unsigned>(unit->version));
    return false;
  }
  if (unit->version == 5) {
    if (!ReadTypedHeader(cursor, unit)) {
      return false;
    }
  } else {
    unit->kind = isInTypes ? UnitKind::type : UnitKind::compile;
    unit->abbrevOffset = FormValues::ReadOffset(cursor, unit->offsetSize);
    unit->addressSize = cursor->U8();
  }
  if (unit->kind == UnitKind::type) {
    ReadTypeUnit(cursor, unit->start, unit);
  }
  if (cursor->Offset() > unit->end) {
    cursor->failure().Note(cursor->Section().name, unit->start, "the unit ends in its header");
    return false;
  }
  if (unit->addressSize == 0 || unit->addressSize > 8) {
    cursor->failure().Note(cursor->Section().name, unit->start, "addresses of %u bytes are not known",
                           static_cast<unsigned>(unit->addressSize));
    return false;
  }
  return !cursor->failure();
}
