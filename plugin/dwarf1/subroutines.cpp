#include "dwarf1/subroutines.h"

#include "dwarf1/basic_types.h"
#include "dwarf1/child_walk.h"
#include "dwarf1/entries.h"
#include "dwarf1/memory.h"
#include "dwarf1/tags.h"
#include "dwarf1/text.h"
#include "dwarf1/types.h"
#include "dwarf1/variables.h"
#include "records/desc_proc.h"

namespace dwarf1 {
namespace {

struct Scope {
  ListEnd<DescVar> params;
  ListEnd<DescVar> locals;
};

void ReadScopeEntries(DescModule* module, Scope* scope, AddressRange range, uint32_t endOffset);

// A block's variables join the scope around it, with the block's addresses.
void ReadLexicalBlock(DescModule* module, Scope* scope, uint32_t remaining, uint32_t* nextOffset) {
  AddressRange range;
  ReadAttributes(remaining, nextOffset, [&](uint32_t name, uint32_t form) -> uint32_t {
    switch (name) {
      case AT_low_pc:
        range.low = ReadU32();
        return 4;
      case AT_high_pc:
        range.high = ReadU32();
        return 4;
      default:
        return SkipAttributeValue(form);
    }
  });
  ReadScopeEntries(module, scope, range, *nextOffset);
}

void ReadScopeEntries(DescModule* module, Scope* scope, AddressRange range, uint32_t endOffset) {
  WalkChildren(endOffset, [&](const EntryHeader& entry, uint32_t* sibling) {
    switch (RoleOf(entry.tag, Place::scope)) {
      case Role::parameter:
        scope->params.Append(ReadVariableEntry(module, entry.remaining, range, sibling));
        break;
      case Role::ellipsis:
        scope->params.Append(ReadEllipsisEntry(module, entry.remaining, range, sibling));
        break;
      case Role::variable:
        scope->locals.Append(ReadVariableEntry(module, entry.remaining, range, sibling));
        break;
      case Role::label:  // read for its sibling only
        ReadSubroutineEntry(module, entry.remaining, sibling);
        break;
      case Role::block:
        ReadLexicalBlock(module, scope, entry.remaining, sibling);
        break;
      default:
        ReadEntry(module, entry, sibling);
        break;
    }
  });
}

// Reads the attributes; the record's parameters stand on its `items`.
DescType* ReadSubroutineType(DescModule* module, uint32_t key, uint32_t remaining, uint32_t* nextOffset) {
  DescType* type = DefineType(module, key, KIND_FUNCTION, "function");
  type->target.type = BasicType(FT_void);
  ReadAttributes(remaining, nextOffset, [&](uint32_t name, uint32_t form) {
    switch (name) {
      case AT_name:
        return ReadNameOr("function", module->heap, &type->name);
      case AT_prototyped:
        type->element.word = 1;
        return SkipString();
      default:
        return ReadTypeAttribute(module, name, form, &type->target.type);
    }
  });
  return type;
}

}  // namespace

DescProc* ReadSubroutineEntry(DescModule* module, uint32_t remaining, uint32_t* nextOffset) {
  DescProc* proc = NewDescProc(module);
  if (proc == nullptr) {
    throw std::bad_alloc();
  }
  proc->returnType = BasicType(FT_void);
  ReadAttributes(remaining, nextOffset, [&](uint32_t name, uint32_t form) -> uint32_t {
    switch (name) {
      case AT_name:
        return ReadName(module->heap, &proc->name);
      case AT_low_pc:
        proc->lowPc = ReadU32();
        return 4;
      case AT_high_pc:
        proc->highPc = ReadU32();
        return 4;
      case AT_prototyped:
        proc->prototyped = 1;
        return SkipString();
      default:
        return ReadTypeAttribute(module, name, form, &proc->returnType);
    }
  });
  return proc;
}

DescProc* ReadSubroutineTree(DescModule* module, uint32_t remaining, uint32_t* nextOffset) {
  DescProc* proc = ReadSubroutineEntry(module, remaining, nextOffset);
  Scope scope = {ListEnd(&proc->params), ListEnd(&proc->locals)};
  ReadScopeEntries(module, &scope, AddressRange(), *nextOffset);
  return proc;
}

void ReadSubroutineTypeTree(DescModule* module, uint32_t key, uint32_t remaining, uint32_t* nextOffset) {
  DescType* type = ReadSubroutineType(module, key, remaining, nextOffset);
  ListEnd<DescVar> params(&type->items.params);
  WalkChildren(*nextOffset, [&](const EntryHeader& entry, uint32_t* sibling) {
    switch (RoleOf(entry.tag, Place::subroutineType)) {
      case Role::parameter:
        params.Append(ReadVariableEntry(module, entry.remaining, AddressRange(), sibling));
        break;
      case Role::ellipsis:
        params.Append(ReadEllipsisEntry(module, entry.remaining, AddressRange(), sibling));
        break;
      default:
        SkipEntryTree(module, entry, sibling);
        break;
    }
  });
}

}  // namespace dwarf1
