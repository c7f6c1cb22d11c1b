// Plans: what to do with the attribute values of an entry, worked out once for each abbreviation.
//
// A plan is made from the table of attributes of the record that the entry becomes. Values that nobody takes, and whose
// size is known, are one distance; each other value is a step. A plan ends with the step `end`.
#pragma once

#include <cstdint>

#include "dwarf2/forms.h"
#include "records/growing_array.h"

struct AbbrevAttribute {
  uint32_t attribute;  // DW_AT_
  uint32_t form;       // DW_FORM_
  int32_t value;       // of DW_FORM_implicit_const
};

// What an entry becomes, and so which attributes it takes.
enum class RecordKind : uint8_t {
  none,  // all values are passed over
  label,
  procedure,
  variable,  // parameters, members and base classes too
  codeMark,
  array,
  dimension,
  functionType,
  derivedType,
  basicType,  // enumerations too
  aggregate,
  enumerator,
  scope,        // namespaces, blocks, inlined calls
  linkageName,  // of an entry without a name
};
constexpr uint32_t RECORD_KINDS = static_cast<uint32_t>(RecordKind::linkageName) + 1;

// What is done with a value.
enum class Action : uint8_t {
  skip,
  text,            // char*; a form that is no text makes it the shared empty string
  name,            // char*; an empty text counts as no name, and the field is left alone
  enumeratorName,  // the same, but an empty text makes it the fixed word
  type,            // DescType*
  word,            // 32 bits of a constant
  byte,            // 8 bits of a constant
  bitOffset,       // the same, and the record is a bit field
  address,         // 32 bits
  location,        // DescLocation*
  memberLocation,  // the same, and a constant is a distance
  flag,            // 32 bits, 0 or 1
  callKind,
  specification,  // the entry to go on with
  encoding,
  addressClass,
  sizeOnce,  // 32 bits, while the field is 0
  stride,    // minus the bytes of a number of bits
  bound,     // 32 bits of a constant; as published, any other value leaves the field alone, and the dimension open

  // Published rules only: facts of the entry that are no field of its record.
  lowPc,
  highPc,  // an address, or a size
  entryPc,
  ranges,
  declaration,
  external,
  inlined,
  constValue,
  signature,
  count,
  bitStride,
  byteStride,
  stringLength,
  dataBitOffset,
  bitSize,
  storageSize,
};
constexpr uint32_t ACTIONS = static_cast<uint32_t>(Action::storageSize) + 1;

// How a step reads. All but `other` are the common cases of an action and a form.
enum class Op : uint8_t {
  end,
  other,  // by action and form, out of line
  skipUleb,
  skipText,
  skipBlock1,
  textStrp,
  textInline,
  nameStrp,
  nameInline,
  typeRef4,
  word1,
  word2,
  word4,
  wordUleb,
  wordSleb,
  address4,
  locationBlock1,
  flag,
  declaration,         // published rules
  declarationPresent,  // the same, of no bytes
};

struct Step {
  uint32_t distance;  // bytes to pass over before the value
  uint32_t form;      // DW_FORM_
  uint16_t field;     // offset in the record
  Op op;
  Action action;
  int32_t value;  // of DW_FORM_implicit_const
};

// Appends the plan for a list of attributes. False without memory.
bool MakePlan(const AbbrevAttribute* attributes, uint32_t count, RecordKind kind, const UnitForms& unit,
              GrowingArray<Step>* steps);
