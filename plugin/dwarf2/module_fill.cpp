// The fill of one module: its line program first, then the direct children of its unit.
#include "dwarf2/dwarf2_reader.h"
#include "dwarf2/entries/entries.h"
#include "dwarf2/line_program.h"
#include "elf/source_date.h"
#include "records/desc_proc.h"
#include "tarnixcore/obj_file_loader.h"
#include "tarnixcore/text.h"

namespace {

constexpr uint32_t NO_LINE = 0xFFFFFFFF;
constexpr int LINES_AS_PUBLISHED = 1;

// Whether the unit itself says that it has code at address 0.
bool HoldsAddressZero(const DescModule* module) {
  if (module->hasRange != 0 && module->lowPc == 0 && module->highPc != 0) {
    return true;
  }
  for (const DescAddrRange* range = module->ext->addrRanges; range != nullptr; range = range->next) {
    if (range->low == 0 && range->high != NO_LINE) {
      return true;
    }
  }
  return false;
}

// The one-row block of a module without line rows, so that `lineBlocks` is never null after a fill.
DescLineBlock* NewDefaultLineBlock(mem_desc* heap) {
  auto* block = NewEntryRecord<DescLineBlock>(heap);
  if (block == nullptr) {
    return nullptr;
  }
  block->fileName = EmptyString();
  auto* rows = static_cast<uint32_t*>(HEAP_Get(heap, 3 * sizeof(uint32_t)));
  if (rows == nullptr) {
    Fail("no memory for the default line block");
    return block;
  }
  rows[0] = rows[1] = rows[2] = NO_LINE;
  block->count = 1;
  block->addresses = &rows[0];
  block->lines = &rows[1];
  block->columns = &rows[2];
  return block;
}

void FillLines(ElfImage* image, DescModule* module, L_list* ranges) {
  LineState& state = dwarf2State.line;
  BeginLineProgram(module, ranges);
  if (TE_WhichByKey("LINEPROGRAM", "LOADER|DWARF2", 0) == LINES_AS_PUBLISHED) {
    state.actsAsPublished = true;
    state.keepsAddressZero = HoldsAddressZero(module);
  }
  if (dwarf2State.sections.line != nullptr) {
    SeekTo(image, dwarf2State.sections.line, module->ext->lineOffset);
    RunLineProgram(image);
    SpendOnRecords(dwarf2State.position - module->ext->lineOffset);
    module->files = state.firstFile;
    if (module->files != nullptr) {
      CheckSourceDate(image, module->files->baseName);
    }
    module->lineBlocks = state.firstBlock;
  }
  if (module->lineBlocks == nullptr) {
    module->lineBlocks = NewDefaultLineBlock(module->heap);
  }
  state.codeRanges = nullptr;
}

DescProc* ReadLabel(ElfImage* image, DescModule* module, const AbbrevEntry* abbrev) {
  DescProc* label = NewDescProc(module);
  if (label == nullptr) {
    Fail("no memory for a label");
    return nullptr;
  }
  label->returnType = dwarf2State.undefinedType;
  for (const AbbrevAttribute& pair : StepsOf(abbrev)) {
    switch (pair.attribute) {
      case DW_AT_name:
        label->name = ReadStringForm(image, pair.form, module->heap, 1);
        break;
      case DW_AT_low_pc:
        label->lowPc = ReadAddressForm(image, pair.form, dwarf2State.addressSize);
        break;
      case DW_AT_high_pc:
        label->highPc = ReadAddressForm(image, pair.form, dwarf2State.addressSize);
        break;
      case DW_AT_segment:
        label->segment = static_cast<uint8_t>(ReadConstantForm(image, pair.form));
        break;
      default:
        SkipStep(image, pair.form);
        break;
    }
  }
  return label;
}

// Walks the unit's direct children, up to the null entry that closes them. Children of a label follow as further
// entries of this level.
void FillEntries(ElfImage* image, DescModule* module) {
  LabelChain labels;
  ListTail<DescProc> procs(&module->procs);
  ListTail<DescVar> vars(&module->vars);
  while (dwarf2State.failed == 0) {
    const uint32_t entryOffset = dwarf2State.position;
    const uint32_t code = ReadUleb(image);
    if (code == 0) {
      break;
    }
    const AbbrevEntry* abbrev = FindAbbreviation(code);
    switch (abbrev->tag) {
      case DW_TAG_label:
        labels.Insert(module, ReadLabel(image, module, abbrev));
        break;
      case DW_TAG_subprogram:
        procs.Append(ReadDwarf2Subprogram(image, module, abbrev));
        break;
      case DW_TAG_variable:
        vars.Append(ReadDwarf2Variable(image, module, abbrev));
        break;
      default:
        ReadDwarf2Entry(image, module, abbrev, entryOffset);
        break;
    }
  }
  labels.MoveTo(module);
  dwarf2State.work->SpendOnRecords(dwarf2State.position - module->ext->firstEntry);
}

}  // namespace

int FillDwarf2Module(ElfImage* image, DescModule* module, L_list* ranges) {
  ClearFailure();
  LoadDwarf2Sections(image);
  module->loadedKinds |= SYM_LOAD_ALL;
  FailWithoutAllowance();
  if (dwarf2State.failed != 0) {
    return 0;
  }
  dwarf2State.addressSize = module->ext->addressSize;
  FillLines(image, module, ranges);

  if (dwarf2State.sections.info == nullptr) {
    Fail("no .debug_info");
    return 0;
  }
  SeekTo(image, dwarf2State.sections.info, module->ext->firstEntry);
  dwarf2State.abbrevs = module->ext->abbrevs;
  // A producer of the reduced line program counts references from the start of the section.
  dwarf2State.unitBase = IsReducedVariant() ? 0 : module->ext->unitOffset;
  dwarf2State.nesting = 0;
  dwarf2State.recentTypes.Clear();
  dwarf2State.recentTexts.Clear();
  dwarf2State.recentHeap = module->heap;
  dwarf2State.typesByKey.Empty();
  dwarf2State.indexedModule = nullptr;
  FillEntries(image, module);
  dwarf2State.recentHeap = nullptr;
  dwarf2State.typesByKey.Empty();
  dwarf2State.indexedModule = nullptr;
  return dwarf2State.failed == 0 ? 1 : 0;
}
