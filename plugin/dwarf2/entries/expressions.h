// Records of location expressions: copies of the file's bytes, but for operations that only the file can resolve, and
// expressions for values that the file has without one.
//
//   ExpressionReader expressions(&heap);
//   expressions.Use(&sections, &values);
//   DescLocation* location = expressions.Read(&info, unit, length, 0, ADDRESS_SPACE_END);
#pragma once

#include <cstdint>

#include "dwarf2/entries/expression_rewrite.h"
#include "records/debug_records.h"
#include "records/record_heap.h"

constexpr uint32_t ADDRESS_SPACE_END = 0xFFFFFFFF;  // as `highPc`: the expression holds everywhere

class ExpressionReader {
 public:
  explicit ExpressionReader(RecordHeap* heap) : heap_(heap) {}

  // The file that is read from now on.
  void Use(const Dwarf2Sections* sections, FormValues* values) {
    hasAddresses_ = sections->addr.exists;
    values_ = values;
  }

  // A record with the next `length` bytes. Null, with the failure noted, for bytes that the file does not have, and
  // without memory.
  DescLocation* Read(Cursor* cursor, const UnitForms& unit, uint32_t length, uint32_t lowPc, uint32_t highPc);

  // A record with DW_OP_plus_uconst, for a member that is `distance` bytes after the start of its structure.
  DescLocation* MakeDistance(uint32_t distance);

  // A record of a value that is in no memory: DW_OP_implicit_value with `size` bytes, at most 2 GiB. A constant or an
  // address is written in the file's byte order, a signed one extended by its sign. A block or an inline text is at
  // its place in the section of `cursor`, which is left where it was. What is shorter than `size` is filled up with
  // zeros, what is longer is cut. Null for a size of 0 and a value of another class, and with the failure noted for
  // bytes that the file does not have, and without memory.
  DescLocation* MakeImplicitValue(Cursor* cursor, const AttributeValue& value, uint32_t size);

  // The same of a text.
  DescLocation* MakeImplicitText(const char* text, uint32_t size);

 private:
  bool DependsOnUnit(const UnitForms& unit) const;
  static void CutUnsound(uint8_t* expression, uint32_t length, const UnitForms& unit);
  DescLocation* New(uint32_t length, uint32_t lowPc, uint32_t highPc);
  DescLocation* NewImplicit(uint32_t size, uint8_t** value);
  DescLocation* ReadResolved(Cursor* cursor, const UnitForms& unit, uint32_t length, uint32_t lowPc, uint32_t highPc);

  RecordHeap* heap_;
  FormValues* values_ = nullptr;
  bool hasAddresses_ = false;  // whether the file has .debug_addr
  ExpressionRewrite rewrite_;
  GrowingArray<uint8_t> bytes_;  // of an expression that is in no window
};
