// What becomes of an entry, by its tag and the place where it is met.
#pragma once

#include <array>
#include <cstdint>

#include "dwarf1/dwarf1_constants.h"

namespace dwarf1 {

enum class Place : uint8_t { module, scope, aggregate, subroutineType, anywhere };

enum class Role : uint8_t {
  skipped,  // leaves no record, but types nested in it are read
  other,    // what it is anywhere
  procedure,
  variable,
  parameter,
  ellipsis,  // a parameter, named "..." when it has no name
  label,
  block,  // its children join the scope around it
  padding,
  array,
  enumeration,
  aggregate,
  function,
  alias,
};

struct TagRow {
  Dwarf1Tag tag;
  std::array<Role, 5> roles;  // by Place
};

// clang-format off
namespace rows {
using enum Role;
constexpr TagRow tagRows[] = {
  // tag                         module     scope      aggregate  subr.type  anywhere
  {TAG_padding,                {{other,     other,     other,     other,     padding}}},
  {TAG_array_type,             {{other,     other,     other,     other,     array}}},
  {TAG_class_type,             {{other,     other,     other,     other,     aggregate}}},
  {TAG_enumeration_type,       {{other,     other,     other,     other,     enumeration}}},
  {TAG_formal_parameter,       {{other,     parameter, other,     parameter, skipped}}},
  {TAG_global_subroutine,      {{procedure, other,     procedure, other,     skipped}}},
  {TAG_global_variable,        {{variable,  other,     other,     other,     skipped}}},
  {TAG_label,                  {{label,     label,     other,     other,     skipped}}},
  {TAG_lexical_block,          {{other,     block,     other,     other,     skipped}}},
  {TAG_local_variable,         {{variable,  variable,  other,     other,     skipped}}},
  {TAG_member,                 {{other,     other,     variable,  other,     skipped}}},
  {TAG_structure_type,         {{other,     other,     other,     other,     aggregate}}},
  {TAG_subroutine,             {{procedure, other,     other,     other,     skipped}}},
  {TAG_subroutine_type,        {{other,     other,     other,     other,     function}}},
  {TAG_typedef,                {{other,     other,     other,     other,     alias}}},
  {TAG_union_type,             {{other,     other,     other,     other,     aggregate}}},
  {TAG_unspecified_parameters, {{other,     ellipsis,  other,     ellipsis,  skipped}}},
};
constexpr std::array<Role, 5> unlisted = {other, other, other, other, skipped};
}  // namespace rows
// clang-format on

// The rows by tag, so that a look-up is a load.
constexpr auto rolesByTag = [] {
  std::array<std::array<Role, 5>, TAG_unspecified_parameters + 1> roles{};
  roles.fill(rows::unlisted);
  for (const TagRow& row : rows::tagRows) {
    roles[row.tag] = row.roles;
  }
  return roles;
}();

constexpr Role RoleOf(uint32_t tag, Place place) {
  const std::array<Role, 5>& roles = tag < rolesByTag.size() ? rolesByTag[tag] : rows::unlisted;
  return roles[static_cast<uint8_t>(place)];
}

}  // namespace dwarf1
