#include "dwarf2/listed_units.h"

#include <algorithm>

#include "dwarf2/form_values.h"

namespace {

constexpr uint32_t LENGTH_OF_64_BITS = 0xFFFFFFFF;

// The end of a set and the size of its offsets. False for the end of the section.
bool ReadSetLength(Cursor* cursor, uint32_t sectionSize, uint32_t* end, uint8_t* offsetSize) {
  uint32_t length = cursor->U32();
  *offsetSize = 4;
  if (length == LENGTH_OF_64_BITS) {
    *offsetSize = 8;
    length = FormValues::ReadOffset(cursor, 8);
  }
  const uint32_t start = cursor->Offset();
  if (start > sectionSize || length > sectionSize - start) {
    return false;
  }
  *end = start + length;
  return !cursor->failure();
}

}  // namespace

// Sets of .debug_aranges and .debug_pubnames begin alike: unit_length, version 2, debug_info_offset.
void ListedUnits::ReadSets(Cursor* cursor, const SectionPlace& section) {
  if (!section.exists) {
    return;
  }
  cursor->Seek(section, 0);
  uint32_t end = 0;
  uint8_t offsetSize = 0;
  while (cursor->Offset() < section.size && !cursor->AtEnd() &&
         ReadSetLength(cursor, section.size, &end, &offsetSize)) {
    cursor->Skip(2);
    offsets_.Push(FormValues::ReadOffset(cursor, offsetSize));
    cursor->Seek(end);
  }
}

// A table of .debug_names: unit_length, version 2, padding 2, comp_unit_count 4, six more counts of 4, the
// augmentation, then an offset for each unit.
void ListedUnits::ReadNames(Cursor* cursor, const SectionPlace& section) {
  if (!section.exists) {
    return;
  }
  constexpr uint32_t OTHER_COUNTS = 5;
  cursor->Seek(section, 0);
  uint32_t end = 0;
  uint8_t offsetSize = 0;
  while (cursor->Offset() < section.size && !cursor->AtEnd() &&
         ReadSetLength(cursor, section.size, &end, &offsetSize)) {
    cursor->Skip(4);
    const uint32_t count = cursor->U32();
    cursor->Skip(uint64_t{4} * OTHER_COUNTS);
    const uint32_t augmentationSize = cursor->U32();
    cursor->Skip((uint64_t{augmentationSize} + 3) & ~uint64_t{3});
    for (uint32_t i = 0; i < count && cursor->FilePosition() < uint64_t{section.offset} + end; ++i) {
      offsets_.Push(FormValues::ReadOffset(cursor, offsetSize));
    }
    cursor->Seek(end);
  }
}

void ListedUnits::Read(Cursor* cursor, const Dwarf2Sections& sections) {
  offsets_.Empty();
  ReadSets(cursor, sections.aranges);
  ReadSets(cursor, sections.pubnames);
  ReadNames(cursor, sections.names);
  std::sort(offsets_.begin(), offsets_.end());
}

uint32_t ListedUnits::After(uint32_t offset) {
  const uint32_t* next = std::upper_bound(offsets_.begin(), offsets_.end(), offset);
  return next != offsets_.end() ? *next : 0;
}
