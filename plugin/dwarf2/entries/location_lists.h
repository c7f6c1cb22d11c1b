// Locations as published: of variables, frame bases and members, with ranges of target addresses.
//
//   LocationReader locations(&failure, &allowance, &expressions);
//   locations.Use(file, littleEndian, &sections, &deadCode, &values);
//   DescLocation* chain = locations.ReadList(unit, value);  // in file order
#pragma once

#include "dwarf2/address_list.h"
#include "dwarf2/entries/expressions.h"

class LocationReader {
 public:
  // What a constant is.
  enum class Constants : uint8_t {
    areAbsent,
    areDistances,  // of a member from the start of its structure
  };

  LocationReader(Failure* failure, Allowance* allowance, ExpressionReader* expressions)
      : values_(nullptr), expressions_(expressions), list_(AddressList::Kind::locations, failure, allowance) {}

  // The file that is read from now on.
  void Use(const ByteSource* file, bool littleEndian, const Dwarf2Sections* sections, const DeadCode* deadCode,
           FormValues* values);

  // Reads the value at the cursor, and what it refers to. The class of the value decides: a block is an expression, an
  // offset or an index a list. A value of another class, and a list without ranges, have no location.
  DescLocation* Read(Cursor* cursor, uint32_t form, int32_t implicitConst, Constants constants, const UnitForms& unit);

  // The list of a value in file order, without ranges that are empty or of code that the linker threw away. A list that
  // cannot be read to its end notes the failure; what was read before that is there.
  DescLocation* ReadList(const UnitForms& unit, const AttributeValue& value);

 private:
  FormValues* values_;
  ExpressionReader* expressions_;
  AddressList list_;
};
