// What becomes of an entry, by its tag and the place where it is met, and which attributes it takes.
#pragma once

#include <array>
#include <cstdint>
#include <initializer_list>

#include "dwarf1/dwarf1_constants.h"
#include "records/debug_records.h"

namespace dwarf1 {

enum class Place : uint8_t { module, scope, aggregate, functionType, anywhere };

enum class Role : uint8_t {
  skipped,  // leaves no record, but types nested in it are read
  padding,
  procedure,
  label,
  variable,
  parameter,
  ellipsis,  // a parameter, named "..." when it has no name
  block,     // its children join the scope around it
  type,
};

// A set of attributes, as a bit for each name.
using AttributeSet = uint64_t;

constexpr AttributeSet Set(std::initializer_list<Dwarf1Attribute> names) {
  AttributeSet set = 0;
  for (const Dwarf1Attribute name : names) {
    set |= AttributeSet{1} << (name >> 4);
  }
  return set;
}
constexpr bool IsIn(AttributeSet set, uint32_t name) {
  return name < 64 << 4 && (set >> (name >> 4) & 1) != 0;
}

constexpr AttributeSet TYPE = Set({AT_fund_type, AT_mod_fund_type, AT_user_def_type, AT_mod_u_d_type});

// What an entry takes, besides AT_sibling. The same attribute at another entry is skipped by its form.
constexpr AttributeSet OF_UNIT =
    Set({AT_name, AT_comp_dir, AT_producer, AT_stmt_list, AT_low_pc, AT_high_pc, AT_language});
constexpr AttributeSet OF_SUBROUTINE = Set({AT_name, AT_low_pc, AT_high_pc, AT_prototyped}) | TYPE;
constexpr AttributeSet OF_VARIABLE = Set({AT_name, AT_location, AT_bit_offset, AT_bit_size}) | TYPE;
constexpr AttributeSet OF_BLOCK = Set({AT_low_pc, AT_high_pc});
constexpr AttributeSet OF_ARRAY = Set({AT_subscr_data, AT_byte_size, AT_stride_size}) | TYPE;
constexpr AttributeSet OF_ENUMERATION = Set({AT_name, AT_byte_size, AT_element_list});
constexpr AttributeSet OF_AGGREGATE = Set({AT_name, AT_byte_size});
constexpr AttributeSet OF_FUNCTION_TYPE = Set({AT_name, AT_prototyped}) | TYPE;
constexpr AttributeSet OF_TYPEDEF = Set({AT_name, AT_byte_size}) | TYPE;

// A tag that is a type at all places but directly under a function type.
struct TypeRow {
  Dwarf1Tag tag;
  DescTypeKind kind;
  const char* word;  // its name when the entry has none; null: the empty string
  AttributeSet attributes;
};

constexpr TypeRow typeRows[] = {
    {TAG_array_type, KIND_ARRAY, "array", OF_ARRAY},
    {TAG_class_type, KIND_CLASS, "class", OF_AGGREGATE},
    {TAG_enumeration_type, KIND_ENUM, "enum", OF_ENUMERATION},
    {TAG_structure_type, KIND_STRUCT, "struct", OF_AGGREGATE},
    {TAG_subroutine_type, KIND_FUNCTION, "function", OF_FUNCTION_TYPE},
    {TAG_typedef, KIND_TYPEDEF, nullptr, OF_TYPEDEF},
    {TAG_union_type, KIND_UNION, "union", OF_AGGREGATE},
};

using Roles = std::array<Role, 5>;  // by Place

// All other tags that are not skipped everywhere.
struct TagRow {
  Dwarf1Tag tag;
  Roles roles;
};

// clang-format off
namespace rows {
using enum Role;
constexpr Roles ofType = {type, type, type, skipped, type};
constexpr TagRow tagRows[] = {
  // tag                         module     scope      aggregate  func.type  anywhere
  {TAG_padding,                {{padding,   padding,   padding,   padding,   padding}}},
  {TAG_formal_parameter,       {{skipped,   parameter, skipped,   parameter, skipped}}},
  {TAG_global_subroutine,      {{procedure, skipped,   procedure, skipped,   skipped}}},
  {TAG_global_variable,        {{variable,  skipped,   skipped,   skipped,   skipped}}},
  {TAG_label,                  {{label,     label,     skipped,   skipped,   skipped}}},
  {TAG_lexical_block,          {{skipped,   block,     skipped,   skipped,   skipped}}},
  {TAG_local_variable,         {{variable,  variable,  skipped,   skipped,   skipped}}},
  {TAG_member,                 {{skipped,   skipped,   variable,  skipped,   skipped}}},
  {TAG_subroutine,             {{procedure, skipped,   skipped,   skipped,   skipped}}},
  {TAG_unspecified_parameters, {{skipped,   ellipsis,  skipped,   ellipsis,  skipped}}},
};
}  // namespace rows
// clang-format on

struct TagFacts {
  Roles roles;
  TypeRow type;  // of a tag with that role
};

// The rows by tag, so that a look-up is a load.
inline constexpr auto factsByTag = [] {
  std::array<TagFacts, TAG_unspecified_parameters + 1> facts{};
  for (const TagRow& row : rows::tagRows) {
    facts[row.tag].roles = row.roles;
  }
  for (const TypeRow& row : typeRows) {
    facts[row.tag] = {rows::ofType, row};
  }
  return facts;
}();

inline constexpr TagFacts unlisted = {};  // skipped everywhere

constexpr const TagFacts& FactsOf(uint32_t tag) {
  return tag < factsByTag.size() ? factsByTag[tag] : unlisted;
}

}  // namespace dwarf1
