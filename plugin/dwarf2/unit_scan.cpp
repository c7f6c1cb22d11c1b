#include "dwarf2/unit_scan.h"

#include <algorithm>

#include "dwarf/leb128.h"
#include "dwarf/unit_facts.h"
#include "dwarf2/forms.h"
#include "dwarf2/unit_names.h"

namespace {

constexpr uint32_t UNIT_WINDOW = 256;  // bytes: a header and a first entry as a rule
constexpr uint32_t TEXT_WINDOW = 128;

}  // namespace

UnitScan::UnitScan(Failure* failure, Allowance* allowance)
    : failure_(failure),
      info_(failure, allowance),
      abbrev_(failure, allowance),
      str_(failure, allowance),
      moduleHeap_(failure, allowance) {}

void UnitScan::Use(const ByteSource* file, bool littleEndian, const Dwarf2Sections* sections) {
  sections_ = sections;
  for (Cursor* cursor : {&info_, &abbrev_, &str_}) {
    cursor->Use(file, littleEndian);
  }
}

bool UnitScan::Run(RecordHeap* tableHeap, Dwarf2Build* build, DescModule** modules) {
  tableHeap_ = tableHeap;
  build_ = build;
  hasTable_ = false;
  for (UnitText* text : {&name_, &directory_, &producer_}) {
    text->isKept = false;
  }
  DescModule** tail = modules;
  info_.Seek(sections_->info, 0, UNIT_WINDOW);
  uint32_t length = info_.U32();
  while (info_.Offset() < sections_->info.size && !*failure_) {
    const uint32_t unitStart = info_.Offset();
    const uint32_t unitEnd = unitStart + length;
    DescModule* module = ReadUnit(length);
    if (module == nullptr) {
      info_.Fail("there is no compile unit with children");
      ReleaseModuleHeaps(*modules);
      return false;
    }
    *tail = module;
    tail = &module->next;
    if (unitEnd < unitStart) {
      info_.Fail("unit_length 0x%X leads backwards", static_cast<unsigned>(length));
      break;
    }
    info_.Seek(sections_->info, unitEnd, UNIT_WINDOW);
    length = info_.U32();
  }
  return true;
}

// A unit, after its unit_length (4 bytes, itself not counted):
//   +0  2  version              any value is taken
//   +2  4  debug_abbrev_offset  in .debug_abbrev
//   +6  1  address_size         bytes
// Null when the scan cannot go on.
DescModule* UnitScan::ReadUnit(uint32_t unitLength) {
  const uint32_t unitStart = info_.Offset();
  auto* ext = tableHeap_->New<Dwarf2ModuleExt>();
  DescModule* module = NewDescModule(tableHeap_, build_, ext);
  if (module == nullptr) {
    return nullptr;
  }
  module->heap = HEAP_Create(0, 0, 0);
  if (module->heap == nullptr) {
    failure_->NoteNoMemory();
    return nullptr;
  }
  moduleHeap_.Use(module->heap);
  ext->unitOffset = unitStart - 4;
  ext->hasLines = true;  // a unit that names none is read by the first
  ext->unitEnd = unitLength > UINT32_MAX - unitStart ? UINT32_MAX : unitStart + unitLength;
  ext->unitEnd = std::max(std::min(ext->unitEnd, sections_->info.size), unitStart);
  info_.Skip(2);
  ext->abbrevOffset = info_.U32();
  ext->addressSize = info_.U8();
  if (!hasTable_ || tableOffset_ != ext->abbrevOffset) {
    hasTable_ = abbrevs_.Read(&abbrev_, sections_->abbrev, ext->abbrevOffset, *build_->rules);
    tableOffset_ = ext->abbrevOffset;
  }
  if (hasTable_ && ReadEntry(module) && info_.Charge(info_.Offset() - unitStart)) {
    return module;
  }
  module->heap = HEAP_Release(module->heap);
  return nullptr;
}

// Reads the unit's first entry. False when it is no compile unit with children.
bool UnitScan::ReadEntry(DescModule* module) {
  const uint32_t entryOffset = info_.Offset();
  const AbbrevEntry* entry = abbrevs_.Find(ReadUleb(&info_), &info_, entryOffset);
  if (entry->hasChildren == 0 || entry->tag != DW_TAG_compile_unit) {
    return false;
  }
  name_.isPresent = directory_.isPresent = false;
  hasLowPc_ = hasHighPc_ = false;
  for (uint32_t i = 0; i < entry->attributeCount; ++i) {
    ReadAttribute(module, abbrevs_.Attributes(entry)[i]);
  }
  if (hasLowPc_ && hasHighPc_ && (module->lowPc != 0 || module->highPc != 0)) {
    module->hasRange = 1;
  }
  module->ext->firstEntry = info_.Offset();
  SetUnitNames(&moduleHeap_, module, directory_.isPresent ? directory_.text : "", name_.isPresent ? name_.text : "");
  return true;
}

void UnitScan::ReadAttribute(DescModule* module, const AbbrevAttribute& pair) {
  const uint8_t addressSize = module->ext->addressSize;
  switch (pair.attribute) {
    case DW_AT_name:
      ReadText(pair.form, addressSize, &name_);
      break;
    case DW_AT_stmt_list:
      module->ext->lineOffset = ReadConstantForm(&info_, pair.form, addressSize);
      break;
    case DW_AT_low_pc:
      module->lowPc = ReadAddressForm(&info_, pair.form, addressSize);
      hasLowPc_ = true;
      break;
    case DW_AT_high_pc:
      module->highPc = ReadAddressForm(&info_, pair.form, addressSize);
      hasHighPc_ = true;
      break;
    case DW_AT_language:
      module->language = LanguageOf(ReadConstantForm(&info_, pair.form, addressSize));
      break;
    case DW_AT_comp_dir:
      ReadText(pair.form, addressSize, &directory_);
      break;
    case DW_AT_producer:
      ReadText(pair.form, addressSize, &producer_);
      if (NumbersBitsFromLowEnd(producer_.text)) {
        module->ext->bitNumbering = BITS_FROM_LOW_END;
      }
      break;
    default:
      SkipForm(&info_, pair.form, addressSize);
      break;
  }
}

// A text, cut to the buffer. A form that is no text's is passed over, and the text is empty.
void UnitScan::ReadText(uint32_t form, uint8_t addressSize, UnitText* text) {
  text->isPresent = true;
  if (form == DW_FORM_strp) {
    ReadTextAt(info_.U32(), text);
    return;
  }
  text->isKept = false;
  if (form == DW_FORM_string) {
    CopyText(&info_, text);
  } else {
    SkipForm(&info_, form, addressSize);
    text->text[0] = 0;
  }
}

void UnitScan::ReadTextAt(uint32_t offset, UnitText* text) {
  if (text->isKept && text->offset == offset && !*failure_) {
    return;
  }
  str_.Seek(sections_->str, offset, TEXT_WINDOW);
  CopyText(&str_, text);
  str_.Charge(str_.Offset() - offset);
  text->offset = offset;
  text->isKept = !*failure_;
}

void UnitScan::CopyText(Cursor* cursor, UnitText* text) {
  if (*failure_) {
    cursor->Skip(1);  // one byte is taken, and the text is empty
    text->text[0] = 0;
    return;
  }
  cursor->Ask();
  bool ended = false;
  const uint32_t length = cursor->TextLength(&ended);
  const uint32_t kept = std::min(length, FE_NAME_SIZE - 1U);
  const uint32_t got = cursor->Read(text->text, kept);
  std::memset(text->text + got, 0, FE_NAME_SIZE - got);
  cursor->Skip(length - kept);
  if (ended) {
    cursor->Skip(1);
  } else {
    cursor->Fail("a text without end");
  }
}
