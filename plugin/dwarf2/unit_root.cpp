#include "dwarf2/unit_root.h"

#include <algorithm>

#include "dwarf/leb128.h"

namespace {

// The attributes that say where the unit's parts of other sections begin.
uint32_t* BaseOf(uint32_t attribute, UnitPlace* unit) {
  switch (attribute) {
    case DW_AT_str_offsets_base:
      return &unit->strOffsetsBase;
    case DW_AT_addr_base:
    case DW_AT_GNU_addr_base:
      return &unit->addrBase;
    case DW_AT_loclists_base:
      return &unit->loclistsBase;
    case DW_AT_rnglists_base:
      return &unit->rnglistsBase;
    default:
      return nullptr;
  }
}

AttributeValue* ValueOf(uint32_t attribute, UnitRoot* root) {
  switch (attribute) {
    case DW_AT_name:
      return &root->name;
    case DW_AT_comp_dir:
      return &root->directory;
    case DW_AT_producer:
      return &root->producer;
    case DW_AT_low_pc:
      return &root->lowPc;
    case DW_AT_high_pc:
      return &root->highPc;
    case DW_AT_ranges:
      return &root->ranges;
    case DW_AT_dwo_name:
    case DW_AT_GNU_dwo_name:
      return &root->dwoName;
    default:
      return nullptr;
  }
}

bool IsUnitTag(uint32_t tag) {
  return tag == DW_TAG_compile_unit || tag == DW_TAG_partial_unit || tag == DW_TAG_type_unit ||
         tag == DW_TAG_skeleton_unit;
}

// The bases come first, since values before them depend on them.
void ReadBases(Cursor* cursor, const AbbrevAttribute* attributes, uint32_t count, FormValues* values,
               const Dwarf2Rules& rules, UnitPlace* unit) {
  const UnitForms forms = UnitDirectory::FormsOf(*unit, rules);
  const uint32_t first = cursor->Offset();
  const auto isBase = [unit](const AbbrevAttribute& one) { return BaseOf(one.attribute, unit) != nullptr; };
  if (std::none_of(attributes, attributes + count, isBase)) {
    return;
  }
  for (uint32_t i = 0; i < count && !cursor->failure(); ++i) {
    uint32_t* base = BaseOf(attributes[i].attribute, unit);
    if (base == nullptr) {
      FormValues::Skip(cursor, attributes[i].form, forms);
      continue;
    }
    const AttributeValue value = values->Read(cursor, attributes[i].form, attributes[i].value, forms);
    if (value.IsOffset(forms)) {
      *base = value.number;
    }
  }
  cursor->Charge(cursor->Offset() - first);
  cursor->Seek(first);
}

}  // namespace

bool ReadUnitRoot(Cursor* cursor, AbbrevTable* abbrevs, FormValues* values, const Dwarf2Rules& rules, UnitPlace* unit,
                  UnitRoot* root) {
  unit->rootEntry = cursor->Offset();
  const AbbrevEntry* entry = abbrevs->Find(ReadUleb(cursor), cursor, unit->rootEntry);
  if (cursor->failure()) {
    return false;
  }
  if (!IsUnitTag(entry->tag)) {
    cursor->failure().Note(cursor->Section().name, unit->rootEntry, "tag 0x%X is no unit's",
                           static_cast<unsigned>(entry->tag));
    return false;
  }
  if (entry->tag == DW_TAG_partial_unit && unit->kind == UnitKind::compile) {
    unit->kind = UnitKind::partial;  // before version 5 the tag alone says so
  }
  unit->hasChildren = entry->hasChildren != 0;
  const AbbrevAttribute* attributes = abbrevs->Attributes(entry);
  ReadBases(cursor, attributes, entry->attributeCount, values, rules, unit);
  const UnitForms forms = UnitDirectory::FormsOf(*unit, rules);
  for (uint32_t i = 0; i < entry->attributeCount && !cursor->failure(); ++i) {
    const AttributeValue value = values->Read(cursor, attributes[i].form, attributes[i].value, forms);
    AttributeValue* kept = ValueOf(attributes[i].attribute, root);
    if (kept != nullptr) {
      *kept = value;
    } else if (attributes[i].attribute == DW_AT_stmt_list && value.IsOffset(forms)) {
      unit->lineOffset = value.number;
      unit->hasLines = true;
    } else if (attributes[i].attribute == DW_AT_language && value.IsConstant()) {
      unit->language = value.number;
    }
  }
  unit->firstEntry = cursor->Offset();
  unit->lowPc = root->lowPc.valueClass == ValueClass::address ? root->lowPc.number : 0;
  return !cursor->failure();
}
