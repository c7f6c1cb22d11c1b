// The walk over the entries of a unit: each entry that is a record's becomes one, all others are passed over.
//
//   EntryWalk walk(&failure, &allowance, &heap);
//   walk.Use(file, littleEndian, &sections);
//   walk.Run(module, build, unitForms);      // labels, procedures, variables and types of the module
//
// A handler is called with the cursor at the first attribute value of its entry, and leaves it after the entry; where
// it walks children, after the null entry that closes them. Values are read in the order of the abbreviation, straight
// into the record, so that a later attribute of the same code overwrites an earlier one.
#pragma once

#include <cstdint>

#include "dwarf/leb128.h"
#include "dwarf2/abbrev_cache.h"
#include "dwarf2/build_records.h"
#include "dwarf2/dead_code.h"
#include "dwarf2/entries/entry_facts.h"
#include "dwarf2/entries/pending_names.h"
#include "dwarf2/entries/pending_values.h"
#include "dwarf2/forms.h"
#include "dwarf2/sections.h"
#include "records/debug_records.h"
#include "records/type_table.h"

class EntryWalk {
 public:
  EntryWalk(Failure* failure, Allowance* allowance, RecordHeap* heap);

  // The file that is read from now on.
  void Use(const ByteSource* file, bool littleEndian, const Dwarf2Sections* sections, const DeadCode* deadCode);

  // Reads the direct children of the module's unit, and all below them.
  void Run(DescModule* module, Dwarf2Build* build, const UnitForms& unit);

 private:
  using Handler = DescType* (EntryWalk::*)(AbbrevEntry* entry, uint32_t entryOffset);
  struct TypeRow;  // tag, kind, name without one, handler
  static const TypeRow typeRows[];
  const TypeRow* FindTypeRow(uint32_t tag) const;

  // entry_walk.cpp
  void ReadUnit();
  DescProc* ReadLabel(AbbrevEntry* entry);
  void ReadEntry(AbbrevEntry* entry, uint32_t entryOffset);
  void SkipEntry(AbbrevEntry* entry);
  void Chase(RecordKind kind, void* record);
  template <typename ReadChild>
  void ForEachChild(const AbbrevEntry* parent, ReadChild read);

  // types.cpp: the type of an entry, brought to its kind's first state whatever it was before; key and link are kept.
  DescType* BeginType(const AbbrevEntry* entry, uint32_t entryOffset);
  DescType* ReadFunctionType(AbbrevEntry* entry, uint32_t entryOffset);
  DescType* ReadDerivedType(AbbrevEntry* entry, uint32_t entryOffset);
  void TakeSize(DescType* type, uint32_t tag);
  void ReadNestedTypes(const AbbrevEntry* entry);
  DescType* ReadPlainType(AbbrevEntry* entry, uint32_t entryOffset);
  DescType* ReadBasicType(AbbrevEntry* entry, uint32_t entryOffset);
  DescType* BeginBasicType(AbbrevEntry* entry, uint32_t entryOffset);
  DescType* ReadAggregate(AbbrevEntry* entry, uint32_t entryOffset);
  void ReadVariantPart(AbbrevEntry* entry, ListTail<DescVar>* members);
  DescType* ReadEnumeration(AbbrevEntry* entry, uint32_t entryOffset);
  void TakeSign(DescEnumerator* enumerator, const AbbrevEntry* entry, const DescType* base, uint32_t encoding);
  void MakeUpName(DescType* type);

  // array_types.cpp
  DescType* ReadArray(AbbrevEntry* entry, uint32_t entryOffset);
  DescDimension* ReadPlainDimension(AbbrevEntry* entry);
  DescDimension* ReadDimension(AbbrevEntry* entry, ArrayFacts* array);
  DescDimension* NewDimension(const DescType* enumeration);
  static void TakeStride(DescType* type, const ArrayFacts& facts);
  DescType* ReadStringType(AbbrevEntry* entry, uint32_t entryOffset);

  // settled_values.cpp: what takes sizes of types is added while the unit is read, and settled when all types are
  // known.
  void TakeConstValue(const AttributeValue& value, const Cursor& cursor);
  void AddBitField(DescVar* field);
  void AddConstant(DescVar* variable);
  void AddSize(DescType* type, const DescType* source);
  void AddEnumerator(DescEnumerator* enumerator, const DescType* type, uint8_t size);
  template <typename Element>
  void Keep(GrowingArray<Element>* list, const Element& element);
  void SettleFields();
  void SettleField(const PendingField& pending);
  void SettleConstant(const PendingConstant& pending);
  static void ExtendBySign(DescEnumerator* enumerator, uint8_t size);
  DescLocation* NewImplicitValue(uint32_t size, uint8_t** value);
  DescLocation* NewExpression(uint32_t length, uint8_t** bytes);

  // Whether the facts are those of a member of the class itself, which no object has.
  bool IsStaticMember(const DescVar* member) const {
    return member->location == nullptr && (facts_.isDeclaration || facts_.isExternal);
  }

  // variables.cpp
  DescVar* ReadVariable(AbbrevEntry* entry);
  DescProc* ReadSubprogram(AbbrevEntry* entry);
  DescCodeMark* ReadCodeMark(AbbrevEntry* entry);

  // values.cpp: runs a plan at a cursor, into a record.
  void RunPlan(Cursor* cursor, AbbrevEntry* entry, RecordKind kind, void* record) {
    const Step* steps = abbrevs_->PlanOf(entry, kind, unit_, failure_);
    specification_ = 0;
    if (steps == nullptr) {
      return;
    }
    if (isLittleEndian_) {
      RunSteps<true>(cursor, steps, static_cast<char*>(record));
    } else {
      RunSteps<false>(cursor, steps, static_cast<char*>(record));
    }
  }
  template <bool LITTLE>
  void RunSteps(Cursor* cursor, const Step* step, char* record);
  void RunOther(Cursor* cursor, const Step& step, char* record);
  void TakeEntryPc(const AttributeValue& value);
  void TakeConstant(const Step& step, const AttributeValue& value, char* record);
  void RunByVersion(Cursor* cursor, const Step& step, char* record);
  void RunAstray(Cursor* cursor, const Step* step, char* record);
  char* TextOf(const AttributeValue& value, const Cursor& cursor);
  DescType* TypeOf(const AttributeValue& value);
  char* ReadText(Cursor* cursor, uint32_t form);
  char* ReadInlineText(Cursor* cursor);
  char* TextAt(uint32_t offset);
  char* CopyTextAt(const SectionPlace& section, uint32_t offset);

  // locations.cpp
  DescLocation* ReadLocation(Cursor* cursor, uint32_t form);
  DescLocation* ReadLocationList(Cursor* cursor, uint32_t offset);
  DescLocation* ReadExpression(Cursor* cursor, uint32_t length, uint32_t lowPc, uint32_t highPc);

  Failure* failure_;
  Allowance* allowance_;
  RecordHeap* heap_;
  const ByteSource* file_ = nullptr;
  const Dwarf2Sections* sections_ = nullptr;
  const DeadCode* deadCode_ = nullptr;
  bool isLittleEndian_ = false;

  Cursor info_;    // in .debug_info, where the walk is
  Cursor detour_;  // in .debug_info, at an entry that another one refers to
  Cursor loc_;     // in .debug_loc; its window outlives the unit, since lists follow each other
  Cursor text_;    // in .debug_str, at a text that does not end in the section
  Cursor abbrev_;  // in .debug_abbrev

  AbbrevCache abbrevTables_;
  AbbrevTable* abbrevs_ = nullptr;  // of the unit that is being read
  FormValues values_;
  TypeTable types_;
  PendingNames pendingNames_;
  PendingValues pending_;

  // The unit that is being read.
  DescModule* module_ = nullptr;
  Dwarf2Build* build_ = nullptr;
  UnitForms unit_ = {0, 0};
  uint32_t nesting_ = 0;        // levels of entries that the walk is in
  uint32_t specification_ = 0;  // the DW_AT_specification of the plan that ran last, 0 for none
  bool isBitField_ = false;     // whether it met a DW_AT_bit_offset, whatever its value and form
  EntryFacts facts_ = {};       // with published rules: of the plans since it was cleared
};

// Walks the children of an entry, up to and including the null entry that closes them, and calls
// `read(abbreviation, entryOffset)` on each. An over-long code ends the level as a null entry does.
constexpr uint32_t MAX_NESTING = 1000;  // levels; the next one fails

template <typename ReadChild>
void EntryWalk::ForEachChild(const AbbrevEntry* parent, ReadChild read) {
  if (parent->hasChildren == 0) {
    return;
  }
  if (nesting_ == MAX_NESTING) {
    info_.Fail("entries are nested deeper than %u", static_cast<unsigned>(MAX_NESTING));
    return;
  }
  ++nesting_;
  while (!*failure_) {
    info_.Ask();
    const uint8_t* next = info_.Next();
    const uint32_t code = DecodeUleb(&next);
    const uint32_t entryOffset = info_.Offset();
    info_.SetNext(next);
    if (code == 0) {
      break;
    }
    read(abbrevs_->Find(code, &info_, entryOffset), entryOffset);
  }
  --nesting_;
}
