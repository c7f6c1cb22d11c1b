// DWARF 2 sections as a test describes them. Every builder is a byte chain too (support/bytes.h), so that wrong bytes
// can stand anywhere.
//
// Abbreviations and entries apart, where a test is about the bytes:
//   Abbrevs().abbrev(1, DW_TAG_compile_unit, DW_CHILDREN_yes).attr(DW_AT_name, DW_FORM_string)
//   Unit({.addressSize = 2}).entry(1).text("main.c")
//       .entry(2).u8(2)
//   .end()
// Entries that bring their abbreviations along, where it is about the entries:
//   const Unit unit = Unit().parent(DW_TAG_compile_unit, {{DW_AT_name, DW_FORM_string, "main.c"}})
//       .label("int").child(DW_TAG_base_type, {{DW_AT_byte_size, DW_FORM_data1, 4}})
//       .child(DW_TAG_variable, {{DW_AT_type, DW_FORM_ref4, "int"}, {DW_AT_location, DW_FORM_block1, Bytes().u8(3)}})
//   .end();
//   Dwarf2File(order, unit)  // an ElfFile with `.debug_info` and `.debug_abbrev`
#pragma once

#include <concepts>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "dwarf2/dwarf2_constants.h"
#include "support/bytes.h"
#include "support/elf_file.h"

// The reader has classes of the same names.
namespace builders {

// In bytes: the usual ones, and others that must work as well.
constexpr uint8_t addressSizes[] = {2, 4};
constexpr uint8_t oddAddressSizes[] = {1, 2, 3, 4};

// Published codes that no reader looks at.
enum UnreadCode : uint32_t {
  DW_AT_sibling = 0x01,
  DW_OP_fbreg = 0x91,
};

// Declarations of `.debug_abbrev`. Pairs and table are closed with zeros by the next call or by finish().
class Abbrevs : public ByteChain<Abbrevs> {
 public:
  Abbrevs& abbrev(uint32_t code, uint32_t tag, uint8_t children) {
    return close().uleb(code).uleb(tag).u8(children).open();
  }
  Abbrevs& attr(uint32_t attribute, uint32_t form) { return uleb(attribute).uleb(form); }
  // Ends the pairs of the last declaration, for those that write their own end.
  Abbrevs& close() {
    if (std::exchange(isOpen_, false)) u16(0);
    return *this;
  }
  Chunk finish() const { return Abbrevs(*this).close().u8(0); }

 private:
  Abbrevs& open() { return isOpen_ = true, *this; }
  bool isOpen_ = false;
};

// The value of an attribute: a number; text, which for other forms than DW_FORM_string names a label; the bytes of a
// block, or of any value as it stands in the file.
using AttrValue = std::variant<int64_t, std::string, Bytes>;
struct Attr {
  template <std::integral Number>
  Attr(uint32_t attribute_, uint32_t form_, Number number)
      : attribute(attribute_), form(form_), value(static_cast<int64_t>(number)) {}
  Attr(uint32_t attribute_, uint32_t form_, const char* text) : attribute(attribute_), form(form_), value(text) {}
  Attr(uint32_t attribute_, uint32_t form_, std::string text)
      : attribute(attribute_), form(form_), value(std::move(text)) {}
  Attr(uint32_t attribute_, uint32_t form_, Bytes bytes)
      : attribute(attribute_), form(form_), value(std::move(bytes)) {}
  uint32_t attribute;
  uint32_t form;
  AttrValue value;
};
using Attrs = std::vector<Attr>;

// The usual ones in their usual forms.
inline Attr Name(const std::string& name) { return {DW_AT_name, DW_FORM_string, name}; }
inline Attr Type(const std::string& label) { return {DW_AT_type, DW_FORM_ref4, label}; }
inline Attr Size(int64_t bytes) { return {DW_AT_byte_size, DW_FORM_data1, bytes}; }
inline Attr Low(uint32_t address) { return {DW_AT_low_pc, DW_FORM_addr, address}; }
inline Attr High(uint32_t address) { return {DW_AT_high_pc, DW_FORM_addr, address}; }

struct UnitHeader {
  uint16_t version = 2;
  uint8_t addressSize = 4;
  uint32_t abbrevOffset = 0;                // child() and parent() bring a table of their own
  std::optional<uint32_t> unitLength = {};  // of the bytes that follow, unless given
  std::string label = {};                   // of the unit header
  uint8_t type = DW_UT_compile;             // in version 5; before that only whether the unit is a type's
  bool is64Bit = false;
  uint64_t signature = 0;  // of a type unit, for the entry at the label `forType`
  std::string forType = {};
};

class Unit : public ByteChain<Unit> {
 public:
  explicit Unit(const UnitHeader& header = {})
      : version_(header.version), addressSize_(header.addressSize), offsetSize_(header.is64Bit ? 8 : 4) {
    label(header.label);
    if (header.is64Bit) u32(0xFFFFFFFF);
    header.unitLength ? number(*header.unitLength, offsetSize_) : length(offsetSize_);
    u16(header.version);
    if (header.version >= 5) u8(header.type).u8(header.addressSize);
    abbrevOffset_ = size();
    number(header.abbrevOffset, offsetSize_);
    if (header.version < 5) u8(header.addressSize);
    if (header.type == DW_UT_skeleton) u64(0x1122334455667788);
    if (header.type == DW_UT_type) u64(header.signature).relativeRef(header.forType, offsetSize_);
  }

  Unit& entry(uint32_t code) { return uleb(code); }
  Unit& child(uint32_t tag, const Attrs& attrs = {}) { return Declared(tag, DW_CHILDREN_no, attrs); }
  Unit& parent(uint32_t tag, const Attrs& attrs = {}) { return Declared(tag, DW_CHILDREN_yes, attrs); }
  Unit& end() { return u8(0); }
  Unit& address(uint32_t value) { return number(value, addressSize_); }

  const Abbrevs& abbrevs() const { return abbrevs_; }

 private:
  Unit& Declared(uint32_t tag, uint8_t children, const Attrs& attrs) {
    std::u32string shape = {tag, children};
    for (const Attr& attr : attrs) {
      shape += {attr.attribute, attr.form};
      if (attr.form == DW_FORM_implicit_const) shape += static_cast<char32_t>(std::get<int64_t>(attr.value));
    }
    if (codes_.empty()) {
      static int tables = 0;
      const std::string table = "abbrevs " + std::to_string(++tables);
      abbrevs_.label(table);
      patches_.push_back({abbrevOffset_, 4, table, 0, false});
    }
    const auto [code, isNew] = codes_.emplace(shape, static_cast<uint32_t>(codes_.size() + 1));
    if (isNew) {
      abbrevs_.abbrev(code->second, tag, children);
      for (const Attr& attr : attrs) {
        abbrevs_.attr(attr.attribute, attr.form);
        if (attr.form == DW_FORM_implicit_const) abbrevs_.sleb(std::get<int64_t>(attr.value));
      }
    }
    entry(code->second);
    for (const Attr& attr : attrs) Value(attr);
    return *this;
  }

  void Value(const Attr& attr) {
    if (attr.form == DW_FORM_implicit_const || attr.form == DW_FORM_flag_present) return;
    const auto row = formSizes.find(attr.form);
    const uint32_t size = row == formSizes.end() ? 4 : SizeOf(row->second);
    if (const auto* bytes = std::get_if<Bytes>(&attr.value)) {
      if (attr.form == DW_FORM_block1 || attr.form == DW_FORM_block2 || attr.form == DW_FORM_block4) {
        number(bytes->size(), size);
      } else if (attr.form == DW_FORM_block || attr.form == DW_FORM_exprloc) {
        uleb(bytes->size());
      }
      append(*bytes);
    } else if (const auto* words = std::get_if<std::string>(&attr.value)) {
      if (attr.form == DW_FORM_string) {
        text(*words);
      } else if (attr.form >= DW_FORM_ref1 && attr.form <= DW_FORM_ref8) {
        relativeRef(*words, size);
      } else {
        ref(*words, size);
      }
    } else if (const int64_t value = std::get<int64_t>(attr.value); attr.form == DW_FORM_sdata) {
      sleb(value);
    } else if (attr.form == DW_FORM_udata || attr.form == DW_FORM_ref_udata || attr.form == DW_FORM_strx ||
               attr.form == DW_FORM_addrx || attr.form == DW_FORM_loclistx || attr.form == DW_FORM_rnglistx) {
      uleb(static_cast<uint64_t>(value));
    } else {
      number(static_cast<uint64_t>(value), size);
    }
  }

  // Bytes of a value, or of a block's length, where they are not 4.
  enum Size : uint32_t { OFFSET = 0xFD, REFERENCE, ADDRESS };
  inline static const std::map<uint32_t, uint32_t> formSizes = {{DW_FORM_addr, ADDRESS},
                                                                {DW_FORM_ref_addr, REFERENCE},
                                                                {DW_FORM_strp, OFFSET},
                                                                {DW_FORM_line_strp, OFFSET},
                                                                {DW_FORM_sec_offset, OFFSET},
                                                                {DW_FORM_GNU_ref_alt, OFFSET},
                                                                {DW_FORM_GNU_strp_alt, OFFSET},
                                                                {DW_FORM_block1, 1},
                                                                {DW_FORM_block2, 2},
                                                                {DW_FORM_data1, 1},
                                                                {DW_FORM_data2, 2},
                                                                {DW_FORM_data8, 8},
                                                                {DW_FORM_flag, 1},
                                                                {DW_FORM_strx1, 1},
                                                                {DW_FORM_addrx1, 1},
                                                                {DW_FORM_ref1, 1},
                                                                {DW_FORM_ref2, 2},
                                                                {DW_FORM_ref8, 8},
                                                                {DW_FORM_ref_sig8, 8}};
  uint32_t SizeOf(uint32_t size) const {
    const bool isAddress = size == ADDRESS || (size == REFERENCE && version_ < 3);
    return isAddress ? addressSize_ : size >= OFFSET ? offsetSize_ : size;
  }

  uint16_t version_;
  uint8_t addressSize_;
  uint8_t offsetSize_;
  uint32_t abbrevOffset_ = 0;  // where the unit header has it
  Abbrevs abbrevs_;
  std::map<std::u32string, uint32_t> codes_;  // by tag, children, attributes and forms
};

template <class... Units>
ElfFile Dwarf2File(ByteOrder order, const Units&... units) {
  return ElfFile(order).section(".debug_info", units...).section(".debug_abbrev", units.abbrevs()...);
}

struct LineHeader {
  uint16_t version = 2;
  uint8_t minimumInstructionLength = 1;
  uint8_t defaultIsStmt = 1;
  int8_t lineBase = -3;
  uint8_t lineRange = 12;
  uint8_t opcodeBase = 10;
  RawBytes standardOpcodeLengths = {0, 1, 1, 1, 1, 0, 0, 0, 1};
  std::optional<uint32_t> totalLength = {};
  std::optional<uint32_t> prologueLength = {};  // up to the opcodes, unless given
  std::string label = {};                       // of the program
};

// As published: with the length of the header, which `tables` and as many bytes as `gap` end.
struct PublishedLineHeader {
  uint16_t version = 2;
  bool is64Bit = false;
  uint8_t minimumInstructionLength = 1;
  uint8_t maximumOperations = 1;  // from version 4 on
  uint8_t lineRange = 12;
  uint8_t opcodeBase = 13;
  RawBytes standardOpcodeLengths = {0, 1, 1, 1, 1, 0, 0, 0, 1, 0, 0, 1};
  Bytes tables = Bytes().text("include").u8(0).text("a.c").u8(1).u16(0).text("b.c").u8(0).u16(0).u8(0);
  uint32_t gap = 0;
};

// One program of `.debug_line`: directories, files, then opcodes.
class LineProgram : public ByteChain<LineProgram> {
  enum Table { DIRECTORIES, FILES, OPCODES };

 public:
  explicit LineProgram(const LineHeader& header = {}) {
    label(header.label);
    header.totalLength ? u32(*header.totalLength) : length();
    u16(header.version);
    prologueLength_ = header.prologueLength ? 0 : size();
    u32(header.prologueLength.value_or(0)).u8(header.minimumInstructionLength).u8(header.defaultIsStmt);
    u8(static_cast<uint8_t>(header.lineBase)).u8(header.lineRange).u8(header.opcodeBase);
    raw(header.standardOpcodeLengths);
  }

  explicit LineProgram(const PublishedLineHeader& header, const std::string& name) : table_(OPCODES) {
    Bytes rest = Bytes().length(header.is64Bit ? 8 : 4).u8(header.minimumInstructionLength);
    if (header.version >= 4) rest.u8(header.maximumOperations);
    rest.u8(1).u8(0xFD).u8(header.lineRange).u8(header.opcodeBase).raw(header.standardOpcodeLengths);
    rest.append(header.tables).pad(header.gap, DW_LNS_copy);
    label(name);
    if (header.is64Bit) u32(0xFFFFFFFF);
    length(header.is64Bit ? 8 : 4).u16(header.version);
    if (header.version >= 5) u8(4).u8(0);
    append(rest);
  }

  LineProgram& directory(const std::string& name) { return text(name); }
  LineProgram& file(const std::string& name, uint32_t directoryIndex = 0) {
    return InTable(FILES).text(name).uleb(directoryIndex).uleb(0).uleb(0);
  }

  LineProgram& op(uint8_t opcode) { return InTable(OPCODES).u8(opcode); }
  LineProgram& op(uint8_t opcode, uint64_t operand) { return op(opcode).uleb(operand); }
  LineProgram& extended(uint8_t opcode, const Chunk& operands = {}) {
    return op(0).uleb(operands.size() + 1).u8(opcode).append(operands);
  }
  LineProgram& copy() { return op(DW_LNS_copy); }
  LineProgram& advancePc(uint32_t operand) { return op(DW_LNS_advance_pc, operand); }
  LineProgram& advanceLine(int32_t operand) { return op(DW_LNS_advance_line).sleb(operand); }
  LineProgram& setFile(uint32_t operand) { return op(DW_LNS_set_file, operand); }
  LineProgram& fixedAdvancePc(uint16_t operand) { return op(DW_LNS_fixed_advance_pc).u16(operand); }
  LineProgram& setAddress(uint32_t value, uint32_t size = 4) {
    return extended(DW_LNE_set_address, Bytes().number(value, size));
  }
  LineProgram& defineFile(const std::string& name) {
    return extended(DW_LNE_define_file, Bytes().text(name).uleb(0).uleb(0).uleb(0));
  }
  LineProgram& endSequence() { return extended(DW_LNE_end_sequence); }

  Chunk finish() const { return LineProgram(*this).InTable(OPCODES); }

 private:
  LineProgram& InTable(Table table) {  // ends the tables before it
    for (; table_ < table; table_ = static_cast<Table>(table_ + 1)) u8(0);
    if (table_ == OPCODES && prologueLength_ != 0) {
      Store(prologueLength_, size() - prologueLength_ - 4, 4);
      prologueLength_ = 0;
    }
    return *this;
  }
  Table table_ = DIRECTORIES;
  uint32_t prologueLength_ = 0;  // where the field is, until it is filled in
};

// A list of `.debug_loc`.
class LocationList : public ByteChain<LocationList> {
 public:
  explicit LocationList(uint8_t addressSize = 4) : addressSize_(addressSize) {}
  LocationList& range(uint32_t low, uint32_t high, const RawBytes& expression) {
    return number(low, addressSize_).number(high, addressSize_).u16(expression.size()).raw(expression);
  }
  LocationList& end() { return number(0, addressSize_).number(0, addressSize_); }

 private:
  uint8_t addressSize_;
};

// A set of `.debug_pubnames` for the unit at a label or offset.
class PubNames : public ByteChain<PubNames> {
 public:
  explicit PubNames(const std::string& unit) { length().u16(2).ref(unit).u32(0); }
  explicit PubNames(uint32_t unitOffset) { length().u16(2).u32(unitOffset).u32(0); }
  PubNames& name(uint32_t offset, const std::string& name) { return u32(offset).text(name); }
  PubNames& end() { return u32(0); }
};

// A set of `.debug_aranges`, its tuples aligned to twice the address size from the start of the set.
class ARanges : public ByteChain<ARanges> {
 public:
  explicit ARanges(const std::string& unit, uint8_t addressSize = 4) : addressSize_(addressSize) {
    length().u16(2).ref(unit).u8(addressSize).u8(0);
    pad(addressSize == 0 ? 0 : (2 * addressSize - size() % (2 * addressSize)) % (2 * addressSize));
  }
  ARanges& range(uint32_t low, uint32_t bytes) { return number(low, addressSize_).number(bytes, addressSize_); }
  ARanges& end() { return range(0, 0); }

 private:
  uint8_t addressSize_;
};

// Records of `.debug_frame`. A CIE is named by its label; a label that no CIE has may stand anywhere.
class Frames : public ByteChain<Frames> {
 public:
  explicit Frames(uint8_t addressSize = 4) : addressSize_(addressSize) {}
  Frames& cie(const std::string& name, uint32_t codeAlignment, int32_t dataAlignment, uint8_t returnRegister,
              const RawBytes& instructions, const std::string& augmentation = "") {
    return label(name).append(Bytes()
                                  .length()
                                  .u32(0xFFFFFFFF)
                                  .u8(1)
                                  .text(augmentation)
                                  .uleb(codeAlignment)
                                  .sleb(dataAlignment)
                                  .u8(returnRegister)
                                  .raw(instructions));
  }
  Frames& fde(const std::string& cie, uint32_t low, uint32_t range, const RawBytes& instructions = {}) {
    return append(Bytes().length().ref(cie).number(low, addressSize_).number(range, addressSize_).raw(instructions));
  }

 private:
  uint8_t addressSize_;
};

}  // namespace builders

using namespace builders;
