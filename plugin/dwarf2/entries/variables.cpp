// Variables, parameters, structure members and base classes: one record type, made by one handler.
#include "dwarf2/entries/entries.h"
#include "tarnixcore/list.h"

namespace {

// What the attributes of an entry say beside the record.
struct VariableNotes {
  uint32_t specification = 0;  // offset of the entry to chase, or 0
  bool isBitField = false;     // DW_AT_bit_offset was met, whatever its value and form
};

void ReadVariableAttribute(ElfImage* image, DescModule* module, const AbbrevAttribute& pair, DescVar* variable,
                           VariableNotes* notes) {
  switch (pair.attribute) {
    case DW_AT_location:
    case DW_AT_data_member_location:
      variable->location = ReadLocationAttribute(image, pair.form, module->heap);
      break;
    case DW_AT_name:
      variable->name = ReadStringForm(image, pair.form, module->heap, 1);
      break;
    case DW_AT_bit_offset:
      variable->bitOffset = static_cast<uint8_t>(ReadConstantForm(image, pair.form));
      notes->isBitField = true;
      break;
    case DW_AT_bit_size:
      variable->bitSize = static_cast<uint8_t>(ReadConstantForm(image, pair.form));
      break;
    case DW_AT_segment:
      variable->segment = static_cast<uint8_t>(ReadConstantForm(image, pair.form));
      break;
    case DW_AT_specification:
      notes->specification = ReadReferenceForm(image, pair.form);
      break;
    case DW_AT_type:
      variable->type = ReadTypeReference(image, module, pair.form);
      break;
    default:
      SkipStep(image, pair.form);
      break;
  }
}

// Extend settles bit fields when the whole module has been read.
void AddPendingField(DescModule* module, DescVar* variable) {
  L_list*& pending = module->ext->pendingFields;
  if (pending == nullptr) {
    pending = L_Create(module->heap);
  }
  if (L_InsertData(pending, L_AT_HEAD, L_Nop, variable) == 0) {
    Fail("no memory for a pending bit field");
  }
}

}  // namespace

DescVar* ReadDwarf2Variable(ElfImage* image, DescModule* module, const AbbrevEntry* abbrev) {
  auto* variable = NewEntryRecord<DescVar>(module->heap);
  if (variable == nullptr) {
    return nullptr;
  }
  variable->name = abbrev->tag == DW_TAG_inheritance ? FixedWord("baseclass") : EmptyString();
  variable->type = dwarf2State.undefinedType;
  VariableNotes notes;
  SpecificationChase chase;
  for (const AbbrevEntry* entry = abbrev; entry != nullptr; entry = chase.Jump(image, notes.specification)) {
    notes.specification = 0;
    for (const AbbrevAttribute& pair : StepsOf(entry)) {
      ReadVariableAttribute(image, module, pair, variable, &notes);
    }
  }
  chase.Return(image);
  if (notes.isBitField) {
    AddPendingField(module, variable);
  }
  return variable;
}
