// DWARF 1 sections as a test describes them. Every builder is a byte chain too (support/bytes.h), so that wrong bytes
// can be anywhere.
//
//   const auto unit = Dwarf1Unit({at::name("main.c"), at::stmtList("lines")})
//       .parent(TAG_global_subroutine, {at::name("main"), at::fundType(FT_integer)})
//           .entry(TAG_formal_parameter, {at::name("argc"), at::modFundType({MOD_const}, FT_integer)})
//       .end()
//       .label("node").entry(TAG_typedef, {at::name("node"), at::userType("struct node")});
//   Dwarf1File(order, unit).section(".line", LineTable("lines", 0x100, {{1, 0}, {2, 4}, {0, 8}}));
//
// An entry gets an AT_sibling to what comes after it and its children, unless its attributes hold one or noSibling. A
// unit closes what is open, and its chain, with null entries.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "dwarf1/dwarf1_constants.h"
#include "support/bytes.h"
#include "support/elf_file.h"

// An attribute: its code, name and form, and the bytes of its value.
struct Dwarf1Attr {
  uint32_t code;
  Bytes value;
};
using Dwarf1Attrs = std::vector<Dwarf1Attr>;

namespace at {

inline Bytes Block2(const Bytes& contents) { return Bytes().u16(contents.size()).append(contents); }

// Any attribute, right or wrong.
inline Dwarf1Attr raw(uint32_t attribute, uint32_t form, const Bytes& value = {}) { return {attribute | form, value}; }
inline Dwarf1Attr sibling(uint32_t offset) { return raw(AT_sibling, FORM_REF, Bytes().u32(offset)); }
inline Dwarf1Attr sibling(const std::string& label) { return raw(AT_sibling, FORM_REF, Bytes().ref(label)); }
inline const Dwarf1Attr noSibling = {0, {}};
inline Dwarf1Attr name(std::string_view text) { return raw(AT_name, FORM_STRING, Bytes().text(text)); }
inline Dwarf1Attr text(uint32_t attribute, std::string_view characters) {
  return raw(attribute, FORM_STRING, Bytes().text(characters));
}
inline Dwarf1Attr data2(uint32_t attribute, uint32_t value) { return raw(attribute, FORM_DATA2, Bytes().u16(value)); }
inline Dwarf1Attr data4(uint32_t attribute, uint32_t value) { return raw(attribute, FORM_DATA4, Bytes().u32(value)); }
inline Dwarf1Attr data8(uint32_t attribute, uint32_t first, uint32_t second) {
  return raw(attribute, FORM_DATA8, Bytes().u32(first).u32(second));
}
inline Dwarf1Attr block2(uint32_t attribute, const Bytes& contents) {
  return raw(attribute, FORM_BLOCK2, Block2(contents));
}
inline Dwarf1Attr block4(uint32_t attribute, const Bytes& contents) {
  return raw(attribute, FORM_BLOCK4, Bytes().u32(contents.size()).append(contents));
}
inline Dwarf1Attr lowPc(uint32_t address) { return raw(AT_low_pc, FORM_ADDR, Bytes().u32(address)); }
inline Dwarf1Attr highPc(uint32_t address) { return raw(AT_high_pc, FORM_ADDR, Bytes().u32(address)); }
inline Dwarf1Attr stmtList(const std::string& label) { return raw(AT_stmt_list, FORM_DATA4, Bytes().ref(label)); }
inline Dwarf1Attr byteSize(uint32_t size) { return data4(AT_byte_size, size); }
inline Dwarf1Attr fundType(uint32_t code) { return data2(AT_fund_type, code); }
inline Dwarf1Attr userType(const std::string& label) { return raw(AT_user_def_type, FORM_REF, Bytes().ref(label)); }
inline Dwarf1Attr modFundType(const RawBytes& modifiers, uint32_t code) {
  return block2(AT_mod_fund_type, Bytes().raw(modifiers).u16(code));
}
inline Dwarf1Attr modUserType(const RawBytes& modifiers, const std::string& label) {
  return block2(AT_mod_u_d_type, Bytes().raw(modifiers).ref(label));
}
inline Dwarf1Attr location(const Bytes& atoms) { return block2(AT_location, atoms); }
inline Dwarf1Attr address(uint32_t value) { return location(Bytes().u8(OP_ADDR).u32(value)); }
inline Dwarf1Attr subscripts(const Bytes& items) { return block2(AT_subscr_data, items); }
inline Dwarf1Attr elements(const std::vector<std::pair<int32_t, std::string>>& list) {
  Bytes contents;
  for (const auto& [value, text] : list) contents.u32(static_cast<uint32_t>(value)).text(text);
  return block4(AT_element_list, contents);
}

}  // namespace at

// An array's subscript data in the form that compilers write: dimensions, then the element type.
inline Dwarf1Attr Subscripts(const std::vector<std::pair<int32_t, int32_t>>& dimensions, const Dwarf1Attr& element) {
  Bytes items;
  for (const auto& [low, high] : dimensions) {
    items.u8(FMT_FT_C_C).u16(FT_integer).u32(static_cast<uint32_t>(low)).u32(static_cast<uint32_t>(high));
  }
  return at::subscripts(items.u8(FMT_ET).u16(element.code).append(element.value));
}

// Entries of `.debug`, and those of a unit after its own.
class Dwarf1Entries : public ByteChain<Dwarf1Entries> {
 public:
  Dwarf1Entries& entry(uint32_t tag, const Dwarf1Attrs& attrs = {}) {
    const std::string after = NewLabel();
    return Start(tag, attrs, after).label(after);
  }
  Dwarf1Entries& parent(uint32_t tag, const Dwarf1Attrs& attrs = {}) {
    open_.push_back(NewLabel());
    return Start(tag, attrs, open_.back());
  }
  // Closes the children of the last parent with a null entry of that length.
  Dwarf1Entries& end(uint32_t length = 4) {
    nullEntry(length).label(open_.back());
    open_.pop_back();
    return *this;
  }
  Dwarf1Entries& nullEntry(uint32_t length = 4) { return u32(length).pad(length - 4); }

  Chunk finish() const {
    Dwarf1Entries closed = *this;
    while (!closed.open_.empty()) closed.end();
    return closed;
  }

 private:
  static std::string NewLabel() {
    static int count = 0;
    return "entry " + std::to_string(++count);
  }
  Dwarf1Entries& Start(uint32_t tag, const Dwarf1Attrs& attrs, const std::string& after) {
    Bytes contents;
    bool hasSibling = false;
    for (const Dwarf1Attr& attr : attrs) {
      hasSibling |= (attr.code & NAME_MASK) == AT_sibling || attr.code == at::noSibling.code;
    }
    if (!hasSibling) {
      const Dwarf1Attr link = at::sibling(after);
      contents.u16(link.code).append(link.value);
    }
    for (const Dwarf1Attr& attr : attrs) {
      if (attr.code != at::noSibling.code) contents.u16(attr.code).append(attr.value);
    }
    return u32(contents.size() + 6).u16(tag).append(contents);
  }
  std::vector<std::string> open_;  // labels after the parents that are open
};

// A unit: its own entry, and its entries after it.
inline Dwarf1Entries Dwarf1Unit(const Dwarf1Attrs& attrs, const std::string& unitLabel = "") {
  return Dwarf1Entries().label(unitLabel).parent(TAG_compile_unit, attrs);
}

template <class... Units>
ElfFile Dwarf1File(ByteOrder order, const Units&... units) {
  return ElfFile(order).segment(PT_LOAD, 0x100, Bytes().u32(0)).section(".debug", units...);
}

struct LineRow {
  uint32_t line;
  uint32_t offset;  // from the base address
  uint16_t position = 0xFFFF;
};

// A table of `.line`. Its last row ends the table.
inline Bytes LineTable(const std::string& label, uint32_t baseAddress, const std::vector<LineRow>& rows,
                       std::optional<uint32_t> length = {}) {
  Bytes table;
  table.label(label).u32(length.value_or(static_cast<uint32_t>(8 + 10 * rows.size()))).u32(baseAddress);
  for (const LineRow& row : rows) table.u32(row.line).u16(row.position).u32(row.offset);
  return table;
}

// A set of `.debug_pubnames` for the unit at `unitLabel`, and one of `.debug_aranges`.
inline Bytes NameSet(const std::string& unitLabel, const std::vector<std::string>& names, uint8_t version = 1) {
  Bytes set;
  set.length().u8(version).ref(unitLabel).u32(0);
  for (const std::string& name : names) set.u32(8).text(name);
  return Bytes().append(set.u32(0));
}
inline Bytes RangeSet(const std::string& unitLabel, const std::vector<std::pair<uint32_t, uint32_t>>& ranges,
                      uint8_t version = 1) {
  Bytes set;
  set.length().u8(version).ref(unitLabel);
  for (const auto& [address, length] : ranges) set.u32(address).u32(length);
  return Bytes().append(set.u32(0).u32(0));
}
