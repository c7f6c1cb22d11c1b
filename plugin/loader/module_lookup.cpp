// The finders: which module holds a name or an address, filling as few modules as the indexes allow.
//
// Both walk the list of modules. One whose unit gave its range, or that the file's indexes cover, is decided without a
// fill; any other is filled, and its records are searched. Where the build's rules seek data past code, ranges of code
// alone decide only about code.
#include <cstring>

#include "dwarf/static_address.h"
#include "elf/sections.h"
#include "loader/elf_loader.h"
#include "loader/loader_state.h"
#include "records/debug_records.h"
#include "records/desc_module.h"

namespace {

constexpr uint8_t DEFAULT_ADDRESS_SIZE = 4;  // bytes

bool LooksAtCode(FindKind kind) {
  return kind == FIND_ALL || kind == FIND_CODE;
}
bool LooksAtData(FindKind kind) {
  return kind == FIND_ALL || kind == FIND_DATA;
}

template <typename Record, typename Matches>
bool HasAny(const Record* records, Matches matches) {
  for (; records != nullptr; records = records->next) {
    if (matches(*records)) {
      return true;
    }
  }
  return false;
}

// What is looked for: which modules need no fill to answer, and the answer before and after the fill.
struct NameQuestion {
  NameIndex::Name indexed;
  const char* name;
  FindKind kind;

  bool IsIndexed(const DescModule* module) const { return module->ext->globalNames != nullptr; }
  bool IndexHolds(const DescModule* module) const { return indexed.IsIn(module); }
  bool RecordsHold(const DescModule* module) const {
    const auto isNamed = [this](const auto& record) { return std::strcmp(record.name, name) == 0; };
    return (LooksAtCode(kind) && HasAny(module->procs, isNamed)) ||
           (LooksAtData(kind) && HasAny(module->vars, isNamed));
  }
};

// An index of addresses is ranges. Many have ranges of code alone, so where the build's rules say so, one that does not
// have the address says nothing of data, unless another module's ranges have it: then it is that module's.
struct AddressQuestion {
  uint32_t address;
  FindKind kind;
  bool littleEndian;
  LookupRules rules;
  const DeadCode* deadCode;
  bool mayBeDataPastCode;  // data is looked for too, and no range has the address

  bool HasOwnRange(const DescModule* module) const { return module->hasRange != 0 && LooksAtCode(kind); }
  bool IsIndexed(const DescModule* module) const {
    const bool hasRanges = HasOwnRange(module) || module->ext->addrRanges != nullptr;
    return hasRanges && (!mayBeDataPastCode || IsDataIndexed(module));
  }
  bool IndexHolds(const DescModule* module) const {
    if (HasOwnRange(module)) {
      const bool isOwn = module->lowPc <= address && address < module->highPc;
      if (isOwn || !rules.seeksDataPastCode) {
        return isOwn;
      }
    }
    return HasAny(module->ext->addrRanges,
                  [this](const DescAddrRange& range) { return range.low <= address && address <= range.high; });
  }
  bool RecordsHold(const DescModule* module) const {
    const auto hasCode = [this](const DescProc& proc) { return proc.lowPc <= address && address < proc.highPc; };
    const auto hasData = [this, module](const DescVar& variable) { return Holds(module, variable); };
    return (LooksAtCode(kind) && HasAny(module->procs, hasCode)) ||
           (LooksAtData(kind) && HasAny(module->vars, hasData));
  }

  // A variable that is not at a fixed address, or has no size, is nowhere.
  bool Holds(const DescModule* module, const DescVar& variable) const {
    const uint8_t size = rules.readsAddressesBySize ? module->ext->addressSize : DEFAULT_ADDRESS_SIZE;
    uint32_t start = 0;
    return variable.byteSize > 0 && StaticAddressOf(variable.location, littleEndian, size, &start) &&
           start <= address && address - start < static_cast<uint32_t>(variable.byteSize) &&
           !(rules.dropsDeadCode && deadCode->IsMark(start, size));
  }
};

}  // namespace

template <typename Question>
DescModule* ElfLoader::FindModule(DescModule* first, const Question& question) {
  for (DescModule* module = first; module != nullptr; module = module->next) {
    const bool isIndexed = question.IsIndexed(module);
    if (isIndexed && !question.IndexHolds(module)) {
      continue;
    }
    Extend(module, SYM_LOAD_ALL);
    if (isIndexed || question.RecordsHold(module)) {
      return module;
    }
  }
  return nullptr;
}

int ElfLoader::FindModuleFromName(DescModule* first, const char* name, DescModule** found, FindKind kind) {
  if (first == nullptr || image == nullptr) {
    return 0;
  }
  DescModule* module = FindModule(first, NameQuestion{state_->names.LookUp(name, first), name, kind});
  *found = module != nullptr ? module : *found;
  return module != nullptr ? 1 : 0;
}

int ElfLoader::FindModuleFromAdr(DescModule* first, Address address, DescModule** found, FindKind kind) {
  if (first == nullptr || image == nullptr) {
    return 0;
  }
  AddressQuestion question = {
      address.offset, kind, ELF_IsLittleEndian(image), BuildOf(first)->lookups, &state_->dwarf2.GetDeadCode(), false};
  if (question.rules.seeksDataPastCode && LooksAtData(kind)) {
    question.mayBeDataPastCode = !HasAny(first, [&](const DescModule& each) { return question.IndexHolds(&each); });
  }
  DescModule* module = FindModule(first, question);
  *found = module != nullptr ? module : *found;
  return module != nullptr ? 1 : 0;
}
