// The attributes that each kind of record takes, and how plans are made of them.
#include "dwarf2/plan.h"

#include <cstddef>
#include <utility>

#include "dwarf2/dwarf2_constants.h"
#include "dwarf2/entries/entry_facts.h"
#include "records/debug_records.h"

namespace {

// The sets of rules that have a row.
enum class RowRules : uint8_t { both, loader, published };

struct AttributeRow {
  RecordKind kind;
  uint32_t attribute;
  Action action;
  size_t field;  // offset in the record
  RowRules rules = RowRules::both;
};

// clang-format off
constexpr AttributeRow attributeRows[] = {
    {RecordKind::label,        DW_AT_name,                 Action::text,           offsetof(DescProc, name)},
    {RecordKind::label,        DW_AT_low_pc,               Action::address,        offsetof(DescProc, lowPc)},
    {RecordKind::label,        DW_AT_high_pc,              Action::address,        offsetof(DescProc, highPc)},
    {RecordKind::label,        DW_AT_segment,              Action::byte,           offsetof(DescProc, segment)},

    {RecordKind::procedure,    DW_AT_name,                 Action::text,           offsetof(DescProc, name)},
    {RecordKind::procedure,    DW_AT_low_pc,               Action::address,        offsetof(DescProc, lowPc), RowRules::loader},
    {RecordKind::procedure,    DW_AT_high_pc,              Action::address,        offsetof(DescProc, highPc), RowRules::loader},
    {RecordKind::procedure,    DW_AT_low_pc,               Action::lowPc,          offsetof(DescProc, lowPc), RowRules::published},
    {RecordKind::procedure,    DW_AT_high_pc,              Action::highPc,         offsetof(DescProc, highPc), RowRules::published},
    {RecordKind::procedure,    DW_AT_ranges,               Action::ranges,         0, RowRules::published},
    {RecordKind::procedure,    DW_AT_entry_pc,             Action::entryPc,        0, RowRules::published},
    {RecordKind::procedure,    DW_AT_declaration,          Action::declaration,    0, RowRules::published},
    {RecordKind::procedure,    DW_AT_inline,               Action::inlined,        0, RowRules::published},
    {RecordKind::procedure,    DW_AT_abstract_origin,      Action::specification,  0, RowRules::published},
    {RecordKind::procedure,    DW_AT_prototyped,           Action::flag,           offsetof(DescProc, prototyped)},
    {RecordKind::procedure,    DW_AT_return_addr,          Action::location,       offsetof(DescProc, returnAddress)},
    {RecordKind::procedure,    DW_AT_calling_convention,   Action::callKind,       offsetof(DescProc, callKind)},
    {RecordKind::procedure,    DW_AT_frame_base,           Action::location,       offsetof(DescProc, frameBase)},
    {RecordKind::procedure,    DW_AT_segment,              Action::byte,           offsetof(DescProc, segment)},
    {RecordKind::procedure,    DW_AT_specification,        Action::specification,  0},
    {RecordKind::procedure,    DW_AT_type,                 Action::type,           offsetof(DescProc, returnType)},

    {RecordKind::variable,     DW_AT_location,             Action::location,       offsetof(DescVar, location)},
    {RecordKind::variable,     DW_AT_data_member_location, Action::location,       offsetof(DescVar, location), RowRules::loader},
    {RecordKind::variable,     DW_AT_data_member_location, Action::memberLocation, offsetof(DescVar, location), RowRules::published},
    {RecordKind::variable,     DW_AT_name,                 Action::text,           offsetof(DescVar, name)},
    {RecordKind::variable,     DW_AT_bit_offset,           Action::bitOffset,      offsetof(DescVar, bitOffset)},
    {RecordKind::variable,     DW_AT_bit_size,             Action::byte,           offsetof(DescVar, bitSize), RowRules::loader},
    {RecordKind::variable,     DW_AT_bit_size,             Action::bitSize,        offsetof(DescVar, bitSize), RowRules::published},
    {RecordKind::variable,     DW_AT_data_bit_offset,      Action::dataBitOffset,  0, RowRules::published},
    {RecordKind::variable,     DW_AT_byte_size,            Action::storageSize,    0, RowRules::published},
    {RecordKind::variable,     DW_AT_segment,              Action::byte,           offsetof(DescVar, segment)},
    {RecordKind::variable,     DW_AT_specification,        Action::specification,  0},
    {RecordKind::variable,     DW_AT_type,                 Action::type,           offsetof(DescVar, type)},

    {RecordKind::variable,     DW_AT_abstract_origin,      Action::specification,  0, RowRules::published},
    {RecordKind::variable,     DW_AT_declaration,          Action::declaration,    0, RowRules::published},
    {RecordKind::variable,     DW_AT_external,             Action::external,       0, RowRules::published},
    {RecordKind::variable,     DW_AT_const_value,          Action::constValue,     0, RowRules::published},

    {RecordKind::codeMark,     DW_AT_low_pc,               Action::address,        offsetof(DescCodeMark, address)},

    {RecordKind::array,        DW_AT_name,                 Action::name,           offsetof(DescType, name)},
    {RecordKind::array,        DW_AT_byte_size,            Action::sizeOnce,       offsetof(DescType, byteSize)},
    {RecordKind::array,        DW_AT_stride_size,          Action::stride,         offsetof(DescType, byteSize), RowRules::loader},
    {RecordKind::array,        DW_AT_stride_size,          Action::bitStride,      0, RowRules::published},
    {RecordKind::array,        DW_AT_byte_stride,          Action::byteStride,     0, RowRules::published},
    {RecordKind::array,        DW_AT_string_length,        Action::stringLength,   0, RowRules::published},
    {RecordKind::array,        DW_AT_type,                 Action::type,           offsetof(DescType, element)},

    // With the loader's rules a missing bound is 0. A dimension without any, or with a count only, so has one element.
    {RecordKind::dimension,    DW_AT_lower_bound,          Action::word,           offsetof(DescDimension, low), RowRules::loader},
    {RecordKind::dimension,    DW_AT_upper_bound,          Action::word,           offsetof(DescDimension, high), RowRules::loader},
    {RecordKind::dimension,    DW_AT_lower_bound,          Action::bound,          offsetof(DescDimension, low), RowRules::published},
    {RecordKind::dimension,    DW_AT_upper_bound,          Action::bound,          offsetof(DescDimension, high), RowRules::published},
    {RecordKind::dimension,    DW_AT_count,                Action::count,          0, RowRules::published},
    {RecordKind::dimension,    DW_AT_stride_size,          Action::bitStride,      0, RowRules::published},
    {RecordKind::dimension,    DW_AT_byte_stride,          Action::byteStride,     0, RowRules::published},

    {RecordKind::functionType, DW_AT_name,                 Action::name,           offsetof(DescType, name)},
    {RecordKind::functionType, DW_AT_byte_size,            Action::word,           offsetof(DescType, byteSize)},
    {RecordKind::functionType, DW_AT_prototyped,           Action::flag,           offsetof(DescType, element)},
    {RecordKind::functionType, DW_AT_type,                 Action::type,           offsetof(DescType, target)},

    {RecordKind::derivedType,  DW_AT_name,                 Action::name,           offsetof(DescType, name)},
    {RecordKind::derivedType,  DW_AT_byte_size,            Action::word,           offsetof(DescType, byteSize)},
    {RecordKind::derivedType,  DW_AT_address_class,        Action::addressClass,   offsetof(DescType, element)},
    {RecordKind::derivedType,  DW_AT_type,                 Action::type,           offsetof(DescType, target)},

    {RecordKind::basicType,    DW_AT_name,                 Action::name,           offsetof(DescType, name)},
    {RecordKind::basicType,    DW_AT_byte_size,            Action::word,           offsetof(DescType, byteSize)},
    {RecordKind::basicType,    DW_AT_encoding,             Action::encoding,       offsetof(DescType, items)},
    {RecordKind::basicType,    DW_AT_type,                 Action::type,           offsetof(DescType, target)},
    {RecordKind::basicType,    DW_AT_signature,            Action::signature,      0, RowRules::published},
    {RecordKind::basicType,    DW_AT_specification,        Action::specification,  0, RowRules::published},

    {RecordKind::aggregate,    DW_AT_name,                 Action::name,           offsetof(DescType, name)},
    {RecordKind::aggregate,    DW_AT_byte_size,            Action::word,           offsetof(DescType, byteSize)},
    {RecordKind::aggregate,    DW_AT_specification,        Action::specification,  0, RowRules::published},
    {RecordKind::aggregate,    DW_AT_abstract_origin,      Action::specification,  0, RowRules::published},
    {RecordKind::aggregate,    DW_AT_declaration,          Action::declaration,    0, RowRules::published},
    {RecordKind::aggregate,    DW_AT_signature,            Action::signature,      0, RowRules::published},

    // Constants of a fixed size are not extended by their sign.
    {RecordKind::enumerator,   DW_AT_name,                 Action::enumeratorName, offsetof(DescEnumerator, name)},
    {RecordKind::enumerator,   DW_AT_const_value,          Action::word,           offsetof(DescEnumerator, value)},

    {RecordKind::scope,        DW_AT_name,                 Action::text,           offsetof(ScopeEntry, name), RowRules::published},
    {RecordKind::scope,        DW_AT_low_pc,               Action::lowPc,          offsetof(ScopeEntry, lowPc), RowRules::published},
    {RecordKind::scope,        DW_AT_high_pc,              Action::highPc,         offsetof(ScopeEntry, highPc), RowRules::published},
    {RecordKind::scope,        DW_AT_ranges,               Action::ranges,         0, RowRules::published},
    {RecordKind::scope,        DW_AT_abstract_origin,      Action::specification,  0, RowRules::published},
    {RecordKind::scope,        DW_AT_specification,        Action::specification,  0, RowRules::published},
    {RecordKind::scope,        DW_AT_signature,            Action::specification,  0, RowRules::published},
    {RecordKind::scope,        DW_AT_import,               Action::specification,  0, RowRules::published},
    {RecordKind::scope,        DW_AT_declaration,          Action::declaration,    0, RowRules::published},
    {RecordKind::scope,        DW_AT_inline,               Action::inlined,        0, RowRules::published},
    {RecordKind::scope,        DW_AT_extension,            Action::specification,  0, RowRules::published},
    {RecordKind::scope,        DW_AT_call_file,            Action::word,           offsetof(ScopeEntry, callFile), RowRules::published},
    {RecordKind::scope,        DW_AT_call_line,            Action::word,           offsetof(ScopeEntry, callLine), RowRules::published},
    {RecordKind::scope,        DW_AT_call_column,          Action::word,           offsetof(ScopeEntry, callColumn), RowRules::published},

    {RecordKind::linkageName,  DW_AT_linkage_name,         Action::text,           offsetof(ScopeEntry, name), RowRules::published},
    {RecordKind::linkageName,  DW_AT_MIPS_linkage_name,    Action::text,           offsetof(ScopeEntry, name), RowRules::published},
};

struct OpRow {
  Action action;
  uint32_t form;
  Op op;
};

// The common cases. All other pairs are read by action and form.
constexpr OpRow opRows[] = {
    {Action::skip,           DW_FORM_udata,     Op::skipUleb},
    {Action::skip,           DW_FORM_ref_udata, Op::skipUleb},
    {Action::skip,           DW_FORM_string,    Op::skipText},
    {Action::skip,           DW_FORM_block1,    Op::skipBlock1},
    {Action::text,           DW_FORM_strp,      Op::textStrp},
    {Action::text,           DW_FORM_string,    Op::textInline},
    {Action::name,           DW_FORM_strp,      Op::nameStrp},
    {Action::name,           DW_FORM_string,    Op::nameInline},
    {Action::enumeratorName, DW_FORM_strp,      Op::nameStrp},
    {Action::enumeratorName, DW_FORM_string,    Op::nameInline},
    {Action::type,           DW_FORM_ref4,      Op::typeRef4},
    {Action::word,           DW_FORM_data1,     Op::word1},
    {Action::word,           DW_FORM_data2,     Op::word2},
    {Action::word,           DW_FORM_data4,     Op::word4},
    {Action::word,           DW_FORM_udata,     Op::wordUleb},
    {Action::word,           DW_FORM_sdata,     Op::wordSleb},
    {Action::bound,          DW_FORM_data1,     Op::word1},
    {Action::bound,          DW_FORM_data2,     Op::word2},
    {Action::bound,          DW_FORM_data4,     Op::word4},
    {Action::bound,          DW_FORM_udata,     Op::wordUleb},
    {Action::bound,          DW_FORM_sdata,     Op::wordSleb},
    {Action::location,       DW_FORM_block1,    Op::locationBlock1},
    {Action::memberLocation, DW_FORM_block1,    Op::locationBlock1},
    {Action::flag,           DW_FORM_flag,      Op::flag},
    {Action::declaration,    DW_FORM_flag,      Op::declaration},
};
// clang-format on

// By kind: where its rows begin in attributeRows.
struct KindRows {
  uint8_t first[RECORD_KINDS + 1] = {};
  constexpr KindRows() {
    for (size_t kind = 0; kind <= RECORD_KINDS; ++kind) {
      for (const AttributeRow& row : attributeRows) {
        first[kind] = static_cast<uint8_t>(first[kind] + (static_cast<size_t>(row.kind) < kind ? 1 : 0));
      }
    }
  }
};
constexpr KindRows kindRows;

// By action and form: the step's op.
struct OpTable {
  Op ops[ACTIONS][DW_FORM_indirect + 1] = {};
  constexpr OpTable() {
    for (auto& forms : ops) {
      for (Op& op : forms) {
        op = Op::other;
      }
    }
    for (const OpRow& row : opRows) {
      ops[static_cast<size_t>(row.action)][row.form] = row.op;
    }
  }
};
constexpr OpTable opTable;

const AttributeRow* FindRow(RecordKind kind, uint32_t attribute, const Dwarf2Rules& rules) {
  const auto number = static_cast<size_t>(kind);
  const RowRules other = rules.resolvesOrigins ? RowRules::loader : RowRules::published;
  for (uint32_t i = kindRows.first[number]; i < kindRows.first[number + 1]; ++i) {
    if (attributeRows[i].attribute == attribute && attributeRows[i].rules != other) {
      return &attributeRows[i];
    }
  }
  return nullptr;
}

bool HasNameBefore(const AbbrevAttribute* attributes, uint32_t index) {
  for (uint32_t i = 0; i < index; ++i) {
    if (attributes[i].attribute == DW_AT_name) {
      return true;
    }
  }
  return false;
}

Op OpOf(Action action, uint32_t form, const UnitForms& unit) {
  if (action == Action::address && form == DW_FORM_addr && unit.addressSize == 4) {
    return Op::address4;
  }
  if (action == Action::declaration && form == DW_FORM_flag_present) {
    return Op::declarationPresent;
  }
  if (unit.offsetSize != 4 && RowOfForm(form, unit).shape == FormShape::offset) {
    return Op::other;
  }
  return form <= DW_FORM_indirect ? opTable.ops[static_cast<size_t>(action)][form] : Op::other;
}

}  // namespace

bool MakePlan(const AbbrevAttribute* attributes, uint32_t count, RecordKind kind, const UnitForms& unit,
              GrowingArray<Step>* steps) {
  uint32_t distance = 0;
  bool isDeclaration = false;
  for (uint32_t i = 0; i < count; ++i) {
    const AttributeRow* row = FindRow(kind, attributes[i].attribute, *unit.rules);
    const uint32_t form = attributes[i].form;
    const Action action = row != nullptr ? row->action : Action::skip;
    const int32_t size = FixedFormSize(form, unit);
    if (action == Action::skip && size >= 0) {
      distance += static_cast<uint32_t>(size);
      continue;
    }
    Op op = OpOf(action, form, unit);
    // The test for an empty name is put off, which goes for the first name only; a basic type needs it at once.
    if (op == Op::nameStrp && (kind == RecordKind::basicType || HasNameBefore(attributes, i))) {
      op = Op::other;
    }
    if (op == Op::declarationPresent && std::exchange(isDeclaration, true)) {
      continue;  // once says it
    }
    const auto field = static_cast<uint16_t>(row != nullptr ? row->field : 0);
    if (!steps->Push({distance, form, field, op, action, attributes[i].value})) {
      return false;
    }
    distance = 0;
  }
  return steps->Push({distance, 0, 0, Op::end, Action::skip, 0});
}
