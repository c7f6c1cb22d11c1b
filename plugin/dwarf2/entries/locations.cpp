// Location attributes by the loader's rules: lists of .debug_loc as the file has them, told from expressions by form.
#include "dwarf2/entries/entry_walk.h"

namespace {

// Both 0, as published, or both 0xFFFFFFFF, as 4-byte addresses read past the end of the file.
bool IsEndMarker(uint32_t begin, uint32_t end) {
  return begin == end && (begin == 0 || begin == ADDRESS_SPACE_END);
}

}  // namespace

// A list's entries, each in front of the one before it, so that the chain runs against file order. An entry is:
//   begin, end   addressSize bytes each, taken as they are
//   length       2 bytes, not in the end marker
//   expression   length bytes
DescLocation* EntryWalk::ReadLocationList(Cursor* cursor, uint32_t offset) {
  DescLocation* chain = nullptr;
  const bool isSameSection = loc_.Section().exists;
  if (isSameSection) {
    loc_.Seek(offset);
  } else {
    loc_.Seek(sections_->loc, offset);
  }
  while (!*failure_) {
    if (loc_.Offset() >= sections_->loc.size) {
      loc_.Fail("a location list without end");
      break;
    }
    uint32_t begin = 0;
    uint32_t end = 0;
    if (unit_.addressSize == 4) {  // both are in the window once one is asked for
      loc_.Ask();
      const uint8_t* next = loc_.Next();
      begin = loc_.Read32(next);
      end = loc_.Read32(next + 4);
      loc_.SetNext(next + 8);
    } else {
      begin = ReadAddress(&loc_, unit_.addressSize);
      end = ReadAddress(&loc_, unit_.addressSize);
    }
    if (IsEndMarker(begin, end)) {
      break;
    }
    DescLocation* location = ReadExpression(&loc_, loc_.U16(), begin, end);
    if (location == nullptr) {
      // The entry's other values are read from here on, and the walk ends with the entry.
      cursor->LookInto(loc_, loc_.Offset());
      return nullptr;
    }
    location->next = chain;
    chain = location;
  }
  loc_.Charge(loc_.Offset() - offset);
  return chain;
}

// An expression or a list, told apart by the form alone. Null for any other form.
DescLocation* EntryWalk::ReadLocation(Cursor* cursor, uint32_t form) {
  switch (form) {
    case DW_FORM_block1:
    case DW_FORM_block2:
    case DW_FORM_block4:
    case DW_FORM_block:
      return ReadExpression(cursor, ReadBlockLength(cursor, form), 0, ADDRESS_SPACE_END);
    case DW_FORM_data1:
    case DW_FORM_data2:
    case DW_FORM_data4:
    case DW_FORM_data8:
    case DW_FORM_sdata:
    case DW_FORM_udata:
      return ReadLocationList(cursor, ReadConstantForm(cursor, form, unit_.addressSize));
    case DW_FORM_ref_addr:
    case DW_FORM_ref1:
    case DW_FORM_ref2:
    case DW_FORM_ref4:
    case DW_FORM_ref8:
    case DW_FORM_ref_udata:
      return ReadLocationList(cursor, ReadReferenceForm(cursor, form, unit_));
    default:
      SkipForm(cursor, form, unit_.addressSize);
      return nullptr;
  }
}
