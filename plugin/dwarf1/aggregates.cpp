#include "dwarf1/aggregates.h"

#include <algorithm>
#include <iterator>

#include "dwarf1/child_walk.h"
#include "dwarf1/entries.h"
#include "dwarf1/memory.h"
#include "dwarf1/subroutines.h"
#include "dwarf1/tags.h"
#include "dwarf1/text.h"
#include "dwarf1/types.h"
#include "dwarf1/variables.h"

namespace dwarf1 {
namespace {

struct AggregateRow {
  Dwarf1Tag tag;
  DescTypeKind kind;
  const char* name;  // when the entry has none
};

constexpr AggregateRow aggregateRows[] = {
    {TAG_structure_type, KIND_STRUCT, "struct"},
    {TAG_union_type, KIND_UNION, "union"},
    {TAG_class_type, KIND_CLASS, "class"},
};

const AggregateRow& RowOf(uint32_t tag) {
  const auto* row = std::find_if(std::begin(aggregateRows), std::end(aggregateRows) - 1,
                                 [=](const AggregateRow& candidate) { return candidate.tag == tag; });
  return *row;
}

}  // namespace

void ReadAggregateType(DescModule* module, uint32_t tag, uint32_t key, uint32_t remaining, uint32_t* nextOffset) {
  const AggregateRow& row = RowOf(tag);
  DescType* type = DefineType(module, key, row.kind, row.name);
  ReadAttributes(remaining, nextOffset, [&](uint32_t name, uint32_t form) {
    switch (name) {
      case AT_name:
        return ReadNameOr(row.name, module->heap, &type->name);
      case AT_byte_size:
        return ReadByteSize(form, &type->byteSize);
      default:
        return SkipAttributeValue(form);
    }
  });
  ListEnd<DescProc> functions(&type->target.memberFunctions);
  ListEnd<DescVar> members(&type->items.members);
  WalkChildren(*nextOffset, [&](const EntryHeader& entry, uint32_t* sibling) {
    switch (RoleOf(entry.tag, Place::aggregate)) {
      case Role::procedure:
        functions.Append(ReadSubroutineTree(module, entry.remaining, sibling));
        break;
      case Role::variable:
        members.Append(ReadVariableEntry(module, entry.remaining, AddressRange(), sibling));
        break;
      default:
        ReadEntry(module, entry, sibling);
        break;
    }
  });
}

}  // namespace dwarf1
