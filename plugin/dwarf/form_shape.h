// The shapes that the values of forms have in a file.
#pragma once

#include <cstdint>

enum class FormShape : uint8_t {
  invalid,   // a code without a form
  fixed,     // `size` bytes
  address,   // as many bytes as an address of the unit has
  block,     // a length of `size` bytes (0: ULEB128), then that many bytes
  text,      // bytes through the terminating NUL
  uleb,      // ULEB128
  sleb,      // SLEB128
  indirect,  // ULEB128 form code, then a value of that form
  none,      // a form without a value
  offset,    // as many bytes as an offset of the unit has
};

// A row of a format's table of forms; the row number is the form's code.
struct FormRow {
  FormShape shape;
  uint8_t size;  // in bytes: of the value, or of a block's length field
};
