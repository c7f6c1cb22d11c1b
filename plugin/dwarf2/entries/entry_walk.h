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
#include "dwarf2/entries/location_lists.h"
#include "dwarf2/entries/pending_names.h"
#include "dwarf2/entries/pending_values.h"
#include "dwarf2/entries/scope_names.h"
#include "dwarf2/forms.h"
#include "dwarf2/ranges.h"
#include "dwarf2/sections.h"
#include "dwarf2/source_files.h"
#include "records/debug_records.h"
#include "records/desc_proc.h"
#include "records/type_table.h"

struct ProcScope;

class EntryWalk {
 public:
  EntryWalk(Failure* failure, Allowance* allowance, RecordHeap* heap);

  // The file that is read from now on.
  void Use(const ByteSource* file, bool littleEndian, const Dwarf2Sections* sections, const DeadCode* deadCode);

  // Reads the direct children of the module's unit, and all below them; as published also what they refer to in other
  // units.
  void Run(DescModule* module, Dwarf2Build* build, const UnitForms& unit, SourceFiles* sourceFiles);

  // The qualified name of an entry of a module's unit, in the heap of the walk; null for one that is no record of its
  // module. For a build with published rules, after BeginNames and before its fills. The units may come in any order.
  void BeginNames(Dwarf2Build* build);
  char* NameOf(const DescModule* module, uint32_t entry);

 private:
  using Handler = DescType* (EntryWalk::*)(AbbrevEntry* entry, uint32_t entryOffset);
  struct TypeRow;  // tag, kind, name without one, handler
  static const TypeRow typeRows[];
  const TypeRow* FindTypeRow(uint32_t tag) const;

  // The lists of the module that are read into.
  struct UnitLists {
    explicit UnitLists(DescModule* module) : procs(&module->procs), vars(&module->vars) {}
    LabelChain labels;
    ListTail<DescProc> procs;
    ListTail<DescVar> vars;
  };

  // What the walk has at hand for the unit that it is in.
  struct UnitInHand {
    const UnitPlace* place;
    UnitForms forms;
    AbbrevTable* abbrevs;
    uint32_t entryBase;
    uint32_t unitEnd;
    bool qualifies;
  };

  // The scope around the one that was entered last.
  struct OpenScope {
    char* name;
    uint32_t number;
    uint32_t opened;  // number of the one that was entered, or NONE
  };

  // A name whose enclosing scope comes later in the unit.
  struct LaterName {
    char** field;
    uint32_t origin;
  };

  // A level of entries of a unit whose scopes are looked for.
  struct Level {
    uint32_t scope;
    bool isScope;
  };

  struct TypeAlias {
    DescType* type;
    DescType* whole;  // what it stands for
  };

  static constexpr uint32_t MAX_ORIGINS = 64;  // entries that refer to one another

  void ClearFacts() {
    if (hasFacts_) {
      facts_ = {};
      hasFacts_ = false;
    }
  }

  // entry_walk.cpp
  void SkipChildren(const AbbrevEntry* entry);
  void ReadOwnUnit(const Dwarf2ModuleExt& ext);
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
  void Keep(GrowingArray<Element>* list, const Element& element) {
    if (!list->Push(element)) {
      failure_->NoteNoMemory();
    }
  }
  void SettleFields();
  void SettleField(const PendingField& pending);
  void SettleConstant(const PendingConstant& pending);
  static void ExtendBySign(DescEnumerator* enumerator, uint8_t size);

  // Whether the facts are those of a member of the class itself, which no object has.
  bool IsStaticMember(const DescVar* member) const {
    return member->location == nullptr && (facts_.isDeclaration || facts_.isExternal);
  }

  // variables.cpp
  DescVar* ReadVariable(AbbrevEntry* entry);
  DescProc* ReadSubprogram(AbbrevEntry* entry);
  DescCodeMark* ReadCodeMark(AbbrevEntry* entry);

  // units_in_hand.cpp
  UnitInHand Hand() const;
  void TakeHand(const UnitInHand& hand);
  bool EnterUnit(const UnitPlace& place);
  const SectionPlace& SectionOfUnit() const;
  AbbrevEntry* BeginEntry(Cursor* cursor, uint32_t number);
  bool RunPlanHere(uint32_t number, RecordKind kind, void* record);
  bool RunPlanAt(uint32_t number, RecordKind kind, void* record);

  // origins.cpp
  template <typename Record>
  uint32_t Complete(RecordKind kind, Record* record, const Record& blank);

  // names.cpp
  static bool IsNamingScope(uint32_t tag);
  char* Qualified(char* name, const char* scope);
  char* ScopeName(uint32_t tag, char* name, const char* scope);
  char* ScopeOf(uint32_t number);
  char* WholeName(ScopeNames* scopes, uint32_t number);
  char* CurrentScope();
  bool IsInScope() const { return scopeNumber_ != ScopeNames::NONE || scope_ != nullptr; }
  void Qualify(char** name, uint32_t origin);
  void SettleNames();
  void ScanScopes(const UnitPlace& place);
  bool ScanEntry();

  // scopes.cpp
  void ReadPublished(const UnitPlace& place);
  void ReadUnitEntries(const UnitPlace& place);
  void ReadScopeEntry(AbbrevEntry* entry, uint32_t number, ProcScope* proc);
  void ReadScopeVariable(AbbrevEntry* entry, ProcScope* proc);
  void ReadParameter(AbbrevEntry* entry, ProcScope* proc);
  void AddLocal(DescVar* variable, ProcScope* proc);
  void ReadScopeLabel(AbbrevEntry* entry, const ProcScope* proc);
  void ReadNamespace(AbbrevEntry* entry, uint32_t number, ProcScope* proc);
  OpenScope EnterScope(uint32_t tag, uint32_t number, char* name, uint32_t origin);
  void LeaveScope(const OpenScope& outer);
  void TakeRanges(const ScopeEntry& scope, ProcScope* proc);
  void ReadBlock(AbbrevEntry* entry, ProcScope* proc);
  void ReadInlinedCall(AbbrevEntry* entry, ProcScope* proc);
  void AddCalls(const ScopeEntry& scope, uint32_t origin, const ProcScope& proc);
  void SettleCalls();

  // aggregates.cpp
  void ReadPublishedAggregate(AbbrevEntry* entry, uint32_t number, DescType* type);
  void AppendMember(AbbrevEntry* entry, ListTail<DescVar>* members);

  // procedures.cpp
  void ReadProcedure(AbbrevEntry* entry, uint32_t number, ListTail<DescProc>* members);
  char* LinkageNameOf(uint32_t number, uint32_t origin);
  void SetCode(DescProc* proc, const EntryFacts& facts);
  void AppendFurtherRanges(const DescProc& proc, uint32_t origin, uint32_t first);
  DescVar* ReadPublishedVariable(AbbrevEntry* entry, uint32_t* origin);

  // other_units.cpp
  void AddImport(AbbrevEntry* entry);
  void ReadImports();
  void ReadReferredTypes();
  void ReadReferredType(uint32_t number);
  void AddAlias(DescType* type, const AttributeValue& signature);
  void SettleAliases();

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
  DescLocation* ReadExpression(Cursor* cursor, uint32_t length, uint32_t lowPc, uint32_t highPc) {
    return expressions_.Read(cursor, unit_, length, lowPc, highPc);
  }

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
  Cursor scan_;    // in .debug_info, over a unit whose scopes are looked for

  AbbrevCache abbrevTables_;
  AbbrevTable* abbrevs_ = nullptr;  // of the unit that is being read
  FormValues values_;
  ExpressionReader expressions_;
  LocationReader locations_;  // with published rules
  RangeReader ranges_;
  TypeTable types_;
  PendingNames pendingNames_;
  PendingValues pending_;

  // The unit that is being read.
  DescModule* module_ = nullptr;
  Dwarf2Build* build_ = nullptr;
  UnitForms unit_ = {0, 0};
  uint32_t entryBase_ = 0;         // what the numbers of its entries have more than their offsets
  uint32_t unitEnd_ = UINT32_MAX;  // its end in the section
  SourceFiles* sourceFiles_ = nullptr;

  // As published.
  const UnitPlace* place_ = nullptr;
  const UnitPlace* ownPlace_ = nullptr;  // of the module
  UnitLists* lists_ = nullptr;
  bool qualifies_ = false;       // whether names are qualified in its language
  bool isOwnDone_ = false;       // whether the module's own unit has been read
  bool isScanning_ = false;      // whether a unit's scopes are looked for
  bool hasSettledName_ = false;  // whether the name of the type that was read last is not to be qualified any more
  char* scope_ = nullptr;  // what encloses the entries that are read, where it is no scope of the module's own unit
  uint32_t scopeNumber_ = ScopeNames::NONE;  // where it is
  ScopeNames ownScopes_;
  ScopeNames otherScopes_;
  GrowingArray<Level> levels_;
  GrowingArray<AddressRange> blockRanges_;  // of the blocks that the walk is in, innermost last
  GrowingArray<DescInlinedCall*> calls_;
  GrowingArray<uint32_t> imports_;  // entries of units that are imported
  HashIndex imported_;              // units that have been read for an import
  GrowingArray<TypeAlias> aliases_;
  GrowingArray<LaterName> laterNames_;
  uint32_t nesting_ = 0;        // levels of entries that the walk is in
  uint32_t specification_ = 0;  // the DW_AT_specification of the plan that ran last, 0 for none
  bool isBitField_ = false;     // whether it met a DW_AT_bit_offset, whatever its value and form
  EntryFacts facts_ = {};       // with published rules: of the plans since it was cleared
  bool hasFacts_ = false;       // whether one of them had any
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
    if (entryOffset >= unitEnd_) {
      break;  // with published rules; a unit may leave out the null entries at its end
    }
    info_.SetNext(next);
    if (code == 0) {
      break;
    }
    read(abbrevs_->Find(code, &info_, entryOffset), entryOffset + entryBase_);
  }
  --nesting_;
}
