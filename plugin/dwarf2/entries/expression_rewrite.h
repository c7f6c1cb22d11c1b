// Expressions in a form that does not depend on their unit: an index of an address becomes the address, and a section
// offset of 8 bytes one of 4. Lengths and branches follow; all else stays as the file has it.
//
//   ExpressionRewrite rewrite;
//   rewrite.BeginUnit(unit, &values);
//   if (rewrite.IsNeeded(bytes, length) && rewrite.Run(&info, bytes, length)) ... rewrite.Output()
#pragma once

#include <cstdint>

#include "dwarf2/form_values.h"
#include "records/growing_array.h"

class ExpressionRewrite {
 public:
  static constexpr uint32_t MAX_NESTING = 8;  // expressions in expressions

  // The unit whose expressions follow. It must live as long as they are read.
  void BeginUnit(const UnitForms& unit, FormValues* values);

  // Whether an expression has an operation that is rewritten.
  bool IsNeeded(const uint8_t* bytes, uint32_t length) const;

  // Rewrites an expression, which is at `source`, into Output. An operation that is not known, or is cut off, and all
  // after it are copied. False, with the failure noted, for an index without address, an offset of more than 32 bits, a
  // branch that leads too far, too deep a nesting, and without memory.
  bool Run(Cursor* source, const uint8_t* bytes, uint32_t length);
  const uint8_t* Output() { return output_.begin(); }
  uint32_t OutputLength() const { return output_.Count(); }

 private:
  // Where an operation begins, before and after.
  struct Place {
    uint32_t before, after;
    bool isBranch;
  };

  const uint8_t* EndOfOperation(const uint8_t* operation, const uint8_t* end) const;
  bool Append(const uint8_t* bytes, const uint8_t* end, uint32_t nesting);
  bool AppendOperation(const uint8_t* operation, const uint8_t* operationEnd, uint32_t nesting);
  bool AppendEnclosing(const uint8_t* operation, const uint8_t* operationEnd, uint32_t nesting);
  bool MendBranches(const uint8_t* bytes, uint32_t firstPlace, uint32_t firstOutput);
  bool Copy(const uint8_t* bytes, const uint8_t* end);
  bool AppendNumber(uint32_t number, uint32_t size);
  bool AddPlace(uint32_t before, uint32_t firstOutput, bool isBranch);
  bool NoteNoMemory();

  const UnitForms* unit_ = nullptr;
  FormValues* values_ = nullptr;
  Cursor* source_ = nullptr;
  uint32_t referenceSize_ = 0;  // bytes of an offset in .debug_info
  GrowingArray<uint8_t> output_;
  GrowingArray<Place> places_;  // of the expressions that are being rewritten, the innermost last
};
