#include "dwarf1/unit_scan.h"

#include <cstring>

#include "dwarf/unit_facts.h"
#include "tarnixcore/files.h"

namespace dwarf1 {
namespace {

constexpr uint32_t SCAN_WINDOW = 0x4000;  // bytes that are read at a time while units are small
constexpr uint32_t PADDING_SIZE = 12;     // of an entry between units, whatever its length says

// What a unit's entry says in text, and whether it has a range.
struct UnitValues {
  char name[EntryCursor::NAME_SIZE];
  char directory[EntryCursor::NAME_SIZE];
  char producer[256];  // longer than each that matters
  bool hasLow;
  bool hasHigh;
};

class UnitReader {
 public:
  UnitReader(EntryCursor* debug, RecordHeap* tableHeap) : debug_(*debug), tableHeap_(*tableHeap) {}

  void Read(const EntryHeader& entry, DescModule* module, uint32_t* sibling);

 private:
  uint32_t ReadValue(uint32_t name, uint32_t form, DescModule* module);
  uint32_t ReadLanguage(uint32_t form, uint32_t* language);
  void SetSourceFile(DescModule* module);
  char* CopyText(const char* text) {
    return text[0] != 0 ? tableHeap_.CopyText(text, std::strlen(text)) : EmptyString();
  }

  EntryCursor& debug_;
  RecordHeap& tableHeap_;
  UnitValues values_ = {};
};

void UnitReader::Read(const EntryHeader& entry, DescModule* module, uint32_t* sibling) {
  values_.name[0] = values_.directory[0] = values_.producer[0] = 0;
  values_.hasLow = values_.hasHigh = false;
  module->ext->unitOffset = entry.offset;
  module->ext->firstEntry = entry.offset + EntryCursor::HEADER_SIZE + entry.remaining;
  const bool isRegular = debug_.ReadAttributes(
      entry, OF_UNIT, sibling, [this, module](uint32_t name, uint32_t form) { return ReadValue(name, form, module); });
  if (isRegular) {
    module->hasRange = values_.hasLow && values_.hasHigh ? 1 : 0;
    SetSourceFile(module);
  }
}

uint32_t UnitReader::ReadValue(uint32_t name, uint32_t form, DescModule* module) {
  uint32_t consumed = 4;
  switch (name) {
    case AT_name:
      return debug_.ReadText(values_.name, sizeof(values_.name));
    case AT_comp_dir:
      return debug_.ReadText(values_.directory, sizeof(values_.directory));
    case AT_producer:
      consumed = debug_.ReadText(values_.producer, sizeof(values_.producer));
      if (NumbersBitsFromLowEnd(values_.producer)) {
        module->ext->bitNumbering = BITS_FROM_LOW_END;
      }
      return consumed;
    case AT_language:
      return ReadLanguage(form, &module->language);
    case AT_low_pc:
      module->lowPc = debug_.U32();
      values_.hasLow = true;
      return consumed;
    case AT_high_pc:
      module->highPc = debug_.U32();
      values_.hasHigh = true;
      return consumed;
    default:  // AT_stmt_list
      module->ext->lineOffset = debug_.U32();
      return consumed;
  }
}

uint32_t UnitReader::ReadLanguage(uint32_t form, uint32_t* language) {
  uint32_t code = 0;
  const uint32_t consumed = debug_.ReadData(form, &code);
  if (LanguageOf(code) != LANGUAGE_UNKNOWN) {
    *language = LanguageOf(code);
  }
  return consumed;
}

// The name may bring directories along: the file name goes to `name`, all before it to `directory`.
void UnitReader::SetSourceFile(DescModule* module) {
  char path[FE_NAME_SIZE];
  char directory[FE_NAME_SIZE];
  char base[FE_NAME_SIZE];
  char extension[FE_NAME_SIZE];  // no path has a longer one, wherever it is cut
  FE_BuildFullName(path, sizeof(path), values_.name, values_.directory);
  FE_SplitFileName(path, directory, base, extension);
  FE_BuildFileName(path, nullptr, base, extension);
  module->name = CopyText(path);
  module->directory = CopyText(directory);
}

}  // namespace

DescModule* ScanUnits(EntryCursor* debug, const SectionPlace& section, RecordHeap* tableHeap, Dwarf1Build* build) {
  UnitReader reader(debug, tableHeap);
  DescModule* modules = nullptr;
  ListTail<DescModule> list(&modules);
  uint32_t sibling = 0;  // of the last unit; padding does not move it
  int64_t previous = -1;
  EntryHeader entry;
  debug->SetStrict(false);
  debug->Seek(section, 0, SCAN_WINDOW);
  while (debug->ReadHeader(&entry) && previous < static_cast<int32_t>(sibling) && !debug->failure()) {
    if (entry.tag == TAG_padding) {
      entry.remaining = PADDING_SIZE - EntryCursor::HEADER_SIZE;
      debug->SkipPadding(entry);
      continue;
    }
    if (entry.tag != TAG_compile_unit) {
      debug->Fail("an entry with tag 0x%X is between the units", entry.tag);
      break;
    }
    DescModule* module = NewDescModule(tableHeap, build, tableHeap->New<ReaderModuleExt>());
    if (module == nullptr) {
      break;
    }
    list.Append(module);
    previous = static_cast<int32_t>(sibling);
    reader.Read(entry, module, &sibling);
    if (sibling >= section.size) {
      break;
    }
    debug->Jump(sibling);
  }
  return modules;
}

}  // namespace dwarf1
