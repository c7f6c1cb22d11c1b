#include "dwarf1/variables.h"

#include <cstring>

#include "dwarf1/memory.h"
#include "dwarf1/text.h"
#include "dwarf1/types.h"
#include "records/empty_string.h"

namespace dwarf1 {
namespace {

char ellipsisName[] = "...";

// A 2-byte length, then the expression, which is kept behind its record, as it stands with zeros behind it.
uint32_t ReadLocation(mem_desc* heap, AddressRange range, DescLocation** slot) {
  const uint32_t length = ReadU16();
  void* memory = GetMemory(heap, sizeof(DescLocation) + length + EXPRESSION_PADDING);
  uint8_t* expression = static_cast<uint8_t*>(memory) + sizeof(DescLocation);
  ReadBytes(expression, length);
  std::memset(expression + length, 0, EXPRESSION_PADDING);
  auto* location = new (memory) DescLocation{nullptr, range.low, range.high, expression};
  *slot = location;
  return length + 2;
}

void AddPendingField(DescModule* module, DescVar* field) {
  AddToHostList(&module->ext->pendingFields, module->heap, field);
}

}  // namespace

DescVar* ReadVariableEntry(DescModule* module, uint32_t remaining, AddressRange range, uint32_t* nextOffset) {
  auto* var = NewRecord<DescVar>(module->heap);
  var->name = EmptyString();
  var->type = dwarf1State.undefinedType;
  bool isBitField = false;
  const bool regular = ReadAttributes(remaining, nextOffset, [&](uint32_t name, uint32_t form) -> uint32_t {
    switch (name) {
      case AT_location:
        return ReadLocation(module->heap, range, &var->location);
      case AT_name:
        return ReadName(module->heap, &var->name);
      case AT_bit_offset:
        var->bitOffset = static_cast<uint8_t>(ReadU16());
        isBitField = true;
        return 2;
      case AT_bit_size:
        var->bitSize = static_cast<uint8_t>(ReadU32());
        return 4;
      default:
        return ReadTypeAttribute(module, name, form, &var->type);
    }
  });
  if (regular && isBitField) {
    AddPendingField(module, var);
  }
  return var;
}

DescVar* ReadEllipsisEntry(DescModule* module, uint32_t remaining, AddressRange range, uint32_t* nextOffset) {
  DescVar* var = ReadVariableEntry(module, remaining, range, nextOffset);
  if (var->name[0] == 0) {
    var->name = ellipsisName;
  }
  return var;
}

}  // namespace dwarf1
