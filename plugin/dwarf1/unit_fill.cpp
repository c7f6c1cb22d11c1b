#include "dwarf1/unit_fill.h"

#include <algorithm>

#include "dwarf1/line_table.h"
#include "dwarf1/merged_units.h"
#include "tarnixcore/obj_file_loader.h"

namespace dwarf1 {
namespace {

constexpr uint32_t MAX_NESTING = 1000;      // levels of nested entries that are read
constexpr uint32_t LARGEST_SPAN = 1 << 17;  // bytes of a unit whose types are found by an array

}  // namespace

UnitFill::UnitFill(const File* file, EntryCursor* debug, Cursor* lines, Failure* failure, Allowance* allowance)
    : file_(file),
      debug_(*debug),
      lines_(*lines),
      failure_(*failure),
      allowance_(*allowance),
      heap_(failure, allowance),
      types_(&heap_, failure) {}

void UnitFill::Run(DescModule* module, L_list* ranges) {
  Begin(module);
  ReadUnit();
  if (allowance_.IsLeft()) {
    ReadLineTable(*file_, &lines_, &heap_, module, ranges);
  }
  TakeOverFoldedUnits(module, types_, &failure_);
  types_.End();
}

void UnitFill::Begin(DescModule* module) {
  failure_.SetUnit(module->name);
  module_ = module;
  build_ = static_cast<Dwarf1Build*>(BuildOf(module));
  heap_.Use(module->heap);
  types_.Begin(module, module->ext->firstEntry, std::min(file_->debug.size, LARGEST_SPAN));
  newestPointer_ = nullptr;
  trail_.Empty();
  nesting_ = 0;
  isOutOfMemory_ = false;
  debug_.SetStrict(true);
}

// Whether the walks go on. A failure alone ends none.
bool UnitFill::GoesOn() {
  if (!allowance_.IsLeft()) {
    debug_.Fail("the file asks for more than its size warrants");
  }
  return allowance_.IsLeft() && !isOutOfMemory_;
}

// From sibling to sibling. A null entry or a sibling of 0 ends the unit. The lists go into the module when all is read:
// labels first.
void UnitFill::ReadUnit() {
  LabelChain labels;
  Scope unit(Place::module);
  unit.labels = &labels;
  uint32_t sibling = module_->ext->firstEntry;
  debug_.Seek(file_->debug, sibling);
  EntryHeader entry;
  while (file_->debug.exists && sibling != 0 && GoesOn() && trail_.Visit(sibling, &debug_)) {
    debug_.Jump(sibling);
    if (!debug_.ReadHeader(&entry)) {
      break;
    }
    ReadEntry(&unit, entry, &sibling);
  }
  module_->vars = unit.vars;
  module_->procs = unit.procs;
  labels.MoveTo(module_);
  module_->loadedKinds |= SYM_LOAD_ALL;
}

// Goes over the children of an entry whose attributes were just read and whose AT_sibling is `endOffset`. The first
// child is right after the attributes, and the others where the siblings lead; a first child without a sibling is
// followed by what comes after it. A null entry, a sibling of 0, or `endOffset` ends the walk. A sibling that does not
// lead forward is a failure.
void UnitFill::WalkChildren(uint32_t endOffset, Scope* scope) {
  uint32_t position = debug_.Offset();
  if (position == endOffset) {
    return;
  }
  if (nesting_ == MAX_NESTING) {
    debug_.Fail("entries are nested deeper than %u levels", MAX_NESTING);
    return;
  }
  ++nesting_;
  constexpr uint32_t NONE = 0xFFFFFFFF;
  uint32_t sibling = NONE;
  int64_t previous = -1;
  EntryHeader entry;
  while (sibling != 0 && static_cast<int32_t>(position) < static_cast<int32_t>(endOffset) && GoesOn()) {
    const uint32_t offset = sibling != NONE ? sibling : position;
    debug_.Jump(offset);
    if (offset <= previous) {
      debug_.Fail("a sibling leads back");
      break;
    }
    if (!debug_.ReadHeader(&entry)) {
      break;
    }
    ReadEntry(scope, entry, &sibling);
    previous = offset;
    position = debug_.Offset();
  }
  --nesting_;
}

void UnitFill::ReadEntry(Scope* scope, const EntryHeader& entry, uint32_t* sibling) {
  const TagFacts& facts = FactsOf(entry.tag);
  switch (facts.roles[static_cast<uint8_t>(scope->place)]) {
    case Role::skipped:
      SkipTree(entry, sibling);
      break;
    case Role::padding:
      debug_.SkipPadding(entry);
      *sibling = debug_.Offset();
      break;
    case Role::procedure:
      scope->procsEnd.Append(ReadProcedure(entry, sibling));
      break;
    case Role::label: {
      DescProc* label = ReadSubroutine(entry, sibling);
      if (scope->labels != nullptr) {
        scope->labels->Insert(module_, label);
      }
      break;
    }
    case Role::variable:
      scope->varsEnd.Append(ReadVariable(entry, scope->range, EmptyString(), sibling));
      break;
    case Role::parameter:
      scope->paramsEnd.Append(ReadVariable(entry, scope->range, EmptyString(), sibling));
      break;
    case Role::ellipsis:
      scope->paramsEnd.Append(ReadVariable(entry, scope->range, FixedWord("..."), sibling));
      break;
    case Role::block:
      ReadBlock(scope, entry, sibling);
      break;
    case Role::type:
      ReadType(facts.type, entry, sibling);
      break;
  }
}

// Types among the children of a skipped entry are read.
void UnitFill::SkipTree(const EntryHeader& entry, uint32_t* sibling) {
  debug_.ReadAttributes(entry, AttributeSet{}, sibling, [](uint32_t, uint32_t) { return 0U; });
  Scope inside(Place::anywhere);
  WalkChildren(*sibling, &inside);
}

// A subroutine or label, without its children.
DescProc* UnitFill::ReadSubroutine(const EntryHeader& entry, uint32_t* sibling) {
  DescProc* proc = Made(NewDescProc(&heap_, build_->voidType));
  if (proc == nullptr) {
    return nullptr;
  }
  EntryValues values(build_->voidType, {0, 0});
  ReadAttributes(entry, OF_SUBROUTINE, &values, sibling);
  proc->name = values.name;
  proc->returnType = values.type;
  proc->lowPc = values.range.low;
  proc->highPc = values.range.high;
  proc->prototyped = values.isPrototyped ? 1 : 0;
  return proc;
}

DescProc* UnitFill::ReadProcedure(const EntryHeader& entry, uint32_t* sibling) {
  DescProc* proc = ReadSubroutine(entry, sibling);
  if (proc != nullptr) {
    Scope body(Place::scope);
    WalkChildren(*sibling, &body);
    proc->params = body.params;
    proc->locals = body.vars;
  }
  return proc;
}

// `word` is the name of an entry without one. A bit field is pending until the loader settles it, unless an unassigned
// form ended the entry.
DescVar* UnitFill::ReadVariable(const EntryHeader& entry, AddressRange range, char* word, uint32_t* sibling) {
  auto* var = Made(heap_.New<DescVar>());
  if (var == nullptr) {
    return nullptr;
  }
  EntryValues values(build_->undefinedType, range);
  const bool isRegular = ReadAttributes(entry, OF_VARIABLE, &values, sibling);
  var->name = values.name[0] != 0 ? values.name : word;
  var->type = values.type;
  var->bitOffset = values.bitOffset;
  var->bitSize = values.bitSize;
  var->location = values.location;
  if (isRegular && values.isBitField) {
    AddPending(&module_->ext->pendingFields, var);
  }
  return var;
}

// A block's variables join the scope around it, with the block's addresses.
void UnitFill::ReadBlock(Scope* scope, const EntryHeader& entry, uint32_t* sibling) {
  EntryValues values(nullptr);
  ReadAttributes(entry, OF_BLOCK, &values, sibling);
  const AddressRange around = scope->range;
  scope->range = values.range;
  WalkChildren(*sibling, scope);
  scope->range = around;
}

// An unassigned form leaves an array without its size, and a typedef without effect on the basic types.
void UnitFill::ReadType(const TypeRow& row, const EntryHeader& entry, uint32_t* sibling) {
  DescType* type = DefineType(row, entry.offset);
  if (type == nullptr) {
    return;
  }
  EntryValues values(row.kind == KIND_FUNCTION ? build_->voidType : build_->undefinedType);
  values.isArray = row.kind == KIND_ARRAY;
  const bool isRegular = ReadAttributes(entry, row.attributes, &values, sibling);
  Scope children(row.kind == KIND_FUNCTION ? Place::functionType : Place::aggregate);
  type->name = values.name[0] != 0 ? values.name : type->name;
  type->byteSize = isRegular || !values.isArray ? values.byteSize : 0;
  switch (row.kind) {
    case KIND_ARRAY:
      type->items.dimensions = values.dimensions;
      type->element.type = values.type;
      if (isRegular) {
        AddPending(&module_->ext->pendingArrays, type);
      }
      break;
    case KIND_ENUM:
      type->target.count = values.enumeratorCount;
      type->items.enumerators = values.enumerators;
      break;
    case KIND_TYPEDEF:
      type->target.type = values.type;
      if (isRegular && type->byteSize != 0 && values.type->kind == KIND_BASIC) {
        build_->ApplyTypedefSize(type->name, type->byteSize);
      }
      break;
    case KIND_FUNCTION:
      type->target.type = values.type;
      type->element.word = values.isPrototyped ? 1 : 0;
      WalkChildren(*sibling, &children);
      type->items.params = children.params;
      break;
    default:
      WalkChildren(*sibling, &children);
      type->target.memberFunctions = children.procs;
      type->items.members = children.vars;
      break;
  }
}

}  // namespace dwarf1
