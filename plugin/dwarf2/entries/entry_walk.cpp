// The spine of the walk: which entries become records, which are passed over with all below them, and how one entry
// refers to another.
#include "dwarf2/entries/entry_walk.h"

#include "dwarf2/entries/type_rows.h"
#include "records/desc_proc.h"

namespace {

constexpr uint32_t MAX_SPECIFICATION_JUMPS = 64;

}  // namespace

EntryWalk::EntryWalk(Failure* failure, Allowance* allowance, RecordHeap* heap)
    : failure_(failure),
      allowance_(allowance),
      heap_(heap),
      info_(failure, allowance),
      detour_(failure, allowance),
      loc_(failure, allowance),
      text_(failure, allowance),
      abbrev_(failure, allowance),
      scan_(failure, allowance),
      abbrevTables_(allowance),
      values_(failure, allowance),
      expressions_(heap),
      locations_(failure, allowance, &expressions_),
      ranges_(failure, allowance),
      types_(heap, failure) {}

void EntryWalk::Use(const ByteSource* file, bool littleEndian, const Dwarf2Sections* sections,
                    const DeadCode* deadCode) {
  file_ = file;
  deadCode_ = deadCode;
  values_.Use(file, littleEndian, sections);
  expressions_.Use(sections, &values_);
  locations_.Use(file, littleEndian, sections, deadCode, &values_);
  sections_ = sections;
  isLittleEndian_ = littleEndian;
  for (Cursor* cursor : {&info_, &detour_, &loc_, &text_, &abbrev_, &scan_}) {
    cursor->Use(file, littleEndian);
  }
  ranges_.Use(file, littleEndian, sections, deadCode, &values_);
}

void EntryWalk::Run(DescModule* module, Dwarf2Build* build, const UnitForms& unit, SourceFiles* sourceFiles) {
  module_ = module;
  build_ = build;
  unit_ = unit;
  sourceFiles_ = sourceFiles;
  nesting_ = 0;
  entryBase_ = 0;
  unitEnd_ = UINT32_MAX;
  if (!build->strings.IsMade()) {
    build->strings.Make(build->tableHeap, file_, sections_->str);
  }
  abbrevTables_.Empty();
  const auto* ext = static_cast<const Dwarf2ModuleExt*>(module->ext);
  if (build->rules->walksScopes) {
    ReadPublished(*ext->unit);
  } else {
    ReadOwnUnit(*ext);
  }
  pendingNames_.SettleAll();
  SettleFields();
  types_.End();
}

void EntryWalk::ReadOwnUnit(const Dwarf2ModuleExt& ext) {
  const uint32_t span = ext.unitEnd > ext.unitOffset ? ext.unitEnd - ext.unitOffset : 0;
  abbrevs_ = abbrevTables_.Find(&abbrev_, sections_->abbrev, ext.abbrevOffset, unit_);
  if (abbrevs_ != nullptr) {
    info_.SeekKept(sections_->info, ext.firstEntry, ext.unitEnd > ext.firstEntry ? ext.unitEnd - ext.firstEntry : 0);
    types_.Begin(module_, ext.unitOffset, span);
    ReadUnit();
    info_.Charge(info_.Offset() - ext.firstEntry);
  }
}

// Children of a label follow as further entries of this level.
void EntryWalk::ReadUnit() {
  LabelChain labels;
  ListTail<DescProc> procs(&module_->procs);
  ListTail<DescVar> vars(&module_->vars);
  while (!*failure_) {
    const uint32_t entryOffset = info_.Offset();
    const uint32_t code = ReadUleb(&info_);
    if (code == 0) {
      break;
    }
    AbbrevEntry* entry = abbrevs_->Find(code, &info_, entryOffset);
    switch (entry->tag) {
      case DW_TAG_label:
        labels.Insert(module_, ReadLabel(entry));
        break;
      case DW_TAG_subprogram:
        procs.Append(ReadSubprogram(entry));
        break;
      case DW_TAG_variable:
        vars.Append(ReadVariable(entry));
        break;
      default:
        ReadEntry(entry, entryOffset);
        break;
    }
  }
  labels.MoveTo(module_);
}

DescProc* EntryWalk::ReadLabel(AbbrevEntry* entry) {
  DescProc* label = NewDescProc(heap_, build_->undefinedType);
  if (label != nullptr) {
    RunPlan(&info_, entry, RecordKind::label, label);
  }
  return label;
}

void EntryWalk::ReadEntry(AbbrevEntry* entry, uint32_t entryOffset) {
  const TypeRow* row = FindTypeRow(entry->tag);
  if (row != nullptr) {
    hasSettledName_ = false;
    DescType* type = (this->*row->read)(entry, entryOffset);
    const bool isOwnName = type != nullptr && type->name != row->word && !hasSettledName_;
    if (isOwnName && IsInScope() && !IsNamingScope(entry->tag)) {
      type->name = Qualified(type->name, CurrentScope());
    }
  } else {
    SkipEntry(entry);
  }
}

// Levels are counted, not recursed into: what is only passed over may be nested as deep as the file is long.
void EntryWalk::SkipEntry(AbbrevEntry* entry) {
  RunPlan(&info_, entry, RecordKind::none, nullptr);
  SkipChildren(entry);
}

// Passes over what is below an entry.
void EntryWalk::SkipChildren(const AbbrevEntry* entry) {
  uint32_t levels = entry->hasChildren;
  while (levels != 0 && !*failure_ && info_.Offset() < unitEnd_) {
    const uint32_t entryOffset = info_.Offset();
    const uint32_t code = ReadUleb(&info_);
    if (code == 0) {
      --levels;
      continue;
    }
    AbbrevEntry* child = abbrevs_->Find(code, &info_, entryOffset);
    RunPlan(&info_, child, RecordKind::none, nullptr);
    levels += child->hasChildren;
  }
}

// Follows the DW_AT_specification that the last plan met into the same record, and so on.
void EntryWalk::Chase(RecordKind kind, void* record) {
  for (uint32_t jumps = 0; specification_ != 0; ++jumps) {
    const uint32_t offset = specification_;
    if (jumps == MAX_SPECIFICATION_JUMPS) {
      info_.Fail("DW_AT_specification leads in a circle");
      return;
    }
    detour_.LookInto(info_, offset);
    AbbrevEntry* entry = abbrevs_->Find(ReadUleb(&detour_), &detour_, offset);
    RunPlan(&detour_, entry, kind, record);
    detour_.Charge(detour_.Offset() - offset);
  }
}
