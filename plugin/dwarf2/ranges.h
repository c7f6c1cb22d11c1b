// The address ranges of a unit, procedure or block: DW_AT_ranges, in .debug_ranges or .debug_rnglists.
//
//   RangeReader reader(&failure, &allowance);
//   reader.Use(file, littleEndian, &sections, &deadCode, &values);
//   ranges.Empty();
//   if (reader.Read(unit, value, &ranges)) ...
#pragma once

#include "dwarf2/address_list.h"
#include "records/growing_array.h"

class RangeReader {
 public:
  RangeReader(Failure* failure, Allowance* allowance)
      : failure_(failure), list_(AddressList::Kind::ranges, failure, allowance) {}

  // The file that is read from now on.
  void Use(const ByteSource* file, bool littleEndian, const Dwarf2Sections* sections, const DeadCode* deadCode,
           FormValues* values) {
    list_.Use(file, littleEndian, sections, deadCode, values);
  }

  // Appends the ranges of DW_AT_ranges in file order, without those that are empty or of code that the linker threw
  // away. A value that is no list has none. False, with the failure noted, for a list that leads outside its section
  // or has no end, and without memory; the ranges before that are there.
  bool Read(const UnitForms& unit, const AttributeValue& value, GrowingArray<AddressRange>* ranges);

 private:
  Failure* failure_;
  AddressList list_;
};
