// The lists of addresses of DWARF 2 to 5, which hold ranges alone, or a location with each range.
//
//   AddressList list(AddressList::Kind::ranges, &failure, &allowance);
//   list.Use(file, littleEndian, &sections, &deadCode, &values);
//   list.Begin(unit, value);
//   while (list.Next(&range)) ...
//   while (list.Next(&range) && list.NextLocation(&length)) ...  // of locations: consumes `length` of list.Bytes()
//   list.End();
#pragma once

#include <cstdint>

#include "dwarf2/dead_code.h"
#include "dwarf2/form_values.h"

// From `low` to the address before `high`.
struct AddressRange {
  uint32_t low, high;
};

class AddressList {
 public:
  enum class Kind : uint8_t { ranges, locations };

  AddressList(Kind kind, Failure* failure, Allowance* allowance) : kind_(kind), bytes_(failure, allowance) {}

  // The file that is read from now on.
  void Use(const ByteSource* file, bool littleEndian, const Dwarf2Sections* sections, const DeadCode* deadCode,
           FormValues* values);

  // Goes to the list of an attribute. False for a value that is no list, and with the failure noted where the section
  // or the index is missing.
  bool Begin(const UnitForms& unit, const AttributeValue& value);

  // The next range, in target addresses; entries that only change the base are passed over. A range that is empty, or
  // of code that the linker threw away, is {0, 0}. False at the end, and with the failure noted where the list goes
  // on past the end of its section.
  bool Next(AddressRange* range);

  // The length of the location that belongs to the range; its bytes follow. False, with the failure noted, where it
  // goes on past the end of the section.
  bool NextLocation(uint32_t* length);

  // Charges what was read. Returns whether the list was read whole.
  bool End();

  Cursor& Bytes() { return bytes_; }

 private:
  bool NextPair(AddressRange* range);
  bool NextByKind(AddressRange* range);
  bool SeekIndexed(uint32_t index);
  uint32_t EndOfSection();
  AddressRange Live(uint32_t base, uint32_t begin, uint32_t length) const;
  AddressRange FromTo(uint32_t begin, uint32_t end) const;

  Kind kind_;
  Cursor bytes_;
  const Dwarf2Sections* sections_ = nullptr;
  const DeadCode* deadCode_ = nullptr;
  FormValues* values_ = nullptr;

  // The list that is being read.
  const UnitForms* unit_ = nullptr;
  uint32_t start_ = 0;
  uint32_t end_ = 0;          // of the section
  uint32_t lastAddress_ = 0;  // of the unit's address size
  uint32_t base_ = 0;
};
