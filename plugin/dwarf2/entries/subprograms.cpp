// Subprograms: one procedure record of an entry and its direct children. Scopes inside it are not modelled.
#include "dwarf2/entries/entries.h"
#include "records/desc_proc.h"

namespace {

uint32_t CallKindOf(uint32_t callingConvention, uint32_t before) {
  switch (callingConvention & 0xFF) {
    case DW_CC_normal:
      return CALL_NORMAL;
    case DW_CC_nocall:
      return CALL_NOCALL;
    case DW_CC_lo_user:
      return CALL_VENDOR;
    default:
      return before;
  }
}

// Gives the offset of a DW_AT_specification to chase, or `specification` as it was.
uint32_t ReadProcAttribute(ElfImage* image, DescModule* module, const AbbrevAttribute& pair, DescProc* proc,
                           uint32_t specification) {
  switch (pair.attribute) {
    case DW_AT_name:
      proc->name = ReadStringForm(image, pair.form, module->heap, 1);
      break;
    case DW_AT_low_pc:
      proc->lowPc = ReadAddressForm(image, pair.form, dwarf2State.addressSize);
      break;
    case DW_AT_high_pc:  // an address: the offset of later editions is consumed and gives 0
      proc->highPc = ReadAddressForm(image, pair.form, dwarf2State.addressSize);
      break;
    case DW_AT_prototyped:
      proc->prototyped = ReadFlagForm(image, pair.form);
      break;
    case DW_AT_return_addr:
      proc->returnAddress = ReadLocationAttribute(image, pair.form, module->heap);
      break;
    case DW_AT_calling_convention:
      proc->callKind = CallKindOf(ReadConstantForm(image, pair.form), proc->callKind);
      break;
    case DW_AT_frame_base:
      proc->frameBase = ReadLocationAttribute(image, pair.form, module->heap);
      break;
    case DW_AT_segment:
      proc->segment = static_cast<uint8_t>(ReadConstantForm(image, pair.form));
      break;
    case DW_AT_specification:
      return ReadReferenceForm(image, pair.form);
    case DW_AT_type:
      proc->returnType = ReadTypeReference(image, module, pair.form);
      break;
    default:
      SkipStep(image, pair.form);
      break;
  }
  return specification;
}

void ReadProcChildren(ElfImage* image, DescModule* module, const AbbrevEntry* abbrev, DescProc* proc) {
  ListTail<DescVar> params(&proc->params);
  ListTail<DescVar> locals(&proc->locals);
  ListTail<DescCodeMark> codeMarks(&proc->codeMarks);
  ForEachChild(image, abbrev, [&](const AbbrevEntry* child, uint32_t entryOffset) {
    switch (child->tag) {
      case DW_TAG_formal_parameter:
        params.Append(ReadDwarf2Variable(image, module, child));
        break;
      case DW_TAG_variable:
        locals.Append(ReadDwarf2Variable(image, module, child));
        break;
      case TAG_VENDOR_CODE_MARK:
        codeMarks.Append(ReadCodeMark(image, module, child));
        break;
      default:  // types land on the module's list, all else is skipped
        ReadDwarf2Entry(image, module, child, entryOffset);
        break;
    }
  });
}

}  // namespace

DescProc* ReadDwarf2Subprogram(ElfImage* image, DescModule* module, const AbbrevEntry* abbrev) {
  DescProc* proc = NewDescProc(module);
  if (proc == nullptr) {
    Fail("no memory for a procedure");
    return nullptr;
  }
  proc->returnType = dwarf2State.voidType;
  uint32_t specification = 0;
  SpecificationChase chase;
  for (const AbbrevEntry* entry = abbrev; entry != nullptr; entry = chase.Jump(image, specification)) {
    specification = 0;
    for (const AbbrevAttribute& pair : StepsOf(entry)) {
      specification = ReadProcAttribute(image, module, pair, proc, specification);
    }
  }
  chase.Return(image);
  ReadProcChildren(image, module, abbrev, proc);
  return proc;
}

DescCodeMark* ReadCodeMark(ElfImage* image, DescModule* module, const AbbrevEntry* abbrev) {
  auto* mark = NewEntryRecord<DescCodeMark>(module->heap);
  if (mark == nullptr) {
    return nullptr;
  }
  for (const AbbrevAttribute& pair : StepsOf(abbrev)) {
    if (pair.attribute == DW_AT_low_pc) {
      mark->address = ReadAddressForm(image, pair.form, dwarf2State.addressSize);
    } else {
      SkipStep(image, pair.form);
    }
  }
  return mark;
}
