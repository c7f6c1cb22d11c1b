// The finders: which module holds a name or an address, filling as few modules as the indexes allow.
#include <algorithm>
#include <cstring>
#include <new>

#include "loader/elf_loader.h"
#include "loader/lookup_index.h"
#include "records/debug_records.h"

namespace {

// Look-ups that are answered by walking the list, before an index is made: one question is answered sooner without.
constexpr uint32_t WALKED_LOOKUPS = 3;

bool IsIndexed(const DescGlobalName* names, const char* name) {
  for (; names != nullptr; names = names->next) {
    if (std::strcmp(names->name, name) == 0) {
      return true;
    }
  }
  return false;
}

template <typename Record>
bool IsNamed(const Record* records, const char* name) {
  for (; records != nullptr; records = records->next) {
    if (std::strcmp(records->name, name) == 0) {
      return true;
    }
  }
  return false;
}

bool IsInRanges(const DescAddrRange* ranges, uint32_t address) {
  for (; ranges != nullptr; ranges = ranges->next) {
    if (ranges->low <= address && address <= ranges->high) {
      return true;
    }
  }
  return false;
}

bool IsInProcs(const DescProc* procs, uint32_t address) {
  for (; procs != nullptr; procs = procs->next) {
    if (procs->lowPc <= address && address < procs->highPc) {
      return true;
    }
  }
  return false;
}

bool IsInVars(const ElfImage* image, const DescVar* vars, uint32_t address) {
  for (; vars != nullptr; vars = vars->next) {
    FixedPlace place = {0, 0};
    if (FixedPlaceOf(image, vars, &place) && place.start <= address && address - place.start < place.size) {
      return true;
    }
  }
  return false;
}

// What is looked for, and how a module tells whether it holds it.
struct NameQuestion {
  const char* name;
  FindKind kind;

  Decider DeciderOf(const DescModule* module) const { return NameDecider(module); }
  bool ByIndex(const DescModule* module) const { return IsIndexed(module->ext->globalNames, name); }
  bool ByRecords(const DescModule* module, const ElfImage* /*image*/) const {
    return (LooksAtCode(kind) && IsNamed(module->procs, name)) || (LooksAtData(kind) && IsNamed(module->vars, name));
  }
  bool IsIndexable() const { return true; }
  uint32_t FindIn(const LookupIndex& index, uint32_t from) const { return index.FindName(name, from, kind); }
};

struct AddressQuestion {
  uint32_t address;
  FindKind kind;

  Decider DeciderOf(const DescModule* module) const { return AddressDecider(module, kind); }
  bool ByIndex(const DescModule* module) const {
    return DeciderOf(module) == Decider::ownRange ? module->lowPc <= address && address < module->highPc
                                                  : IsInRanges(module->ext->addrRanges, address);
  }
  bool ByRecords(const DescModule* module, const ElfImage* image) const {
    return (LooksAtCode(kind) && IsInProcs(module->procs, address)) ||
           (LooksAtData(kind) && IsInVars(image, module->vars, address));
  }
  bool IsIndexable() const { return LookupIndex::Knows(address); }
  uint32_t FindIn(const LookupIndex& index, uint32_t from) const { return index.FindAddress(address, from, kind); }
};

}  // namespace

// A module with an index or a range is decided without a fill; one without is filled, and its records searched.
template <typename Question>
DescModule* ElfLoader::WalkModules(DescModule* first, const Question& question) {
  for (DescModule* module = first; module != nullptr; module = module->next) {
    const bool byRecords = question.DeciderOf(module) == Decider::records;
    if (!byRecords && !question.ByIndex(module)) {
      continue;
    }
    Extend(module, SYM_LOAD_ALL);
    if (!byRecords || question.ByRecords(module, image)) {
      return module;
    }
  }
  return nullptr;
}

// The walk's answer by the index: modules in front of the best indexed one that the walk would fill are filled, in
// order, and entered. Without memory the index goes, and the walk answers.
template <typename Question>
DescModule* ElfLoader::SearchIndex(uint32_t from, DescModule* first, const Question& question) {
  uint32_t best = question.FindIn(*lookupIndex_, from);
  for (uint32_t place = from; place < std::min(best, lookupIndex_->Count()); ++place) {
    DescModule* module = lookupIndex_->At(place);
    if (lookupIndex_->HasRecords(place) || question.DeciderOf(module) != Decider::records) {
      continue;
    }
    Extend(module, SYM_LOAD_ALL);
    if (!lookupIndex_->EnterRecords(place, image)) {
      DropLookupIndex();
      return WalkModules(first, question);
    }
    best = question.ByRecords(module, image) ? place : best;
  }
  if (best == LookupIndex::NONE) {
    return nullptr;
  }
  Extend(lookupIndex_->At(best), SYM_LOAD_ALL);
  return lookupIndex_->At(best);
}

template <typename Question>
DescModule* ElfLoader::FindModule(DescModule* first, const Question& question) {
  if (first == nullptr || image == nullptr) {
    return nullptr;
  }
  if (++lookups_ <= WALKED_LOOKUPS || !question.IsIndexable()) {
    return WalkModules(first, question);
  }
  if (lookupIndex_ != nullptr && lookupIndex_->PlaceOf(first) == LookupIndex::NONE) {
    DropLookupIndex();
  }
  if (lookupIndex_ == nullptr) {
    lookupIndex_ = new (std::nothrow) LookupIndex;
    if (lookupIndex_ == nullptr || !lookupIndex_->Take(first)) {
      DropLookupIndex();
      return WalkModules(first, question);
    }
  }
  return SearchIndex(lookupIndex_->PlaceOf(first), first, question);
}

void ElfLoader::DropLookupIndex() {
  delete lookupIndex_;
  lookupIndex_ = nullptr;
}

int ElfLoader::FindModuleFromName(DescModule* first, const char* name, DescModule** found, FindKind kind) {
  DescModule* module = FindModule(first, NameQuestion{name, kind});
  if (module == nullptr) {
    return 0;
  }
  *found = module;
  return 1;
}

int ElfLoader::FindModuleFromAdr(DescModule* first, Address address, DescModule** found, FindKind kind) {
  DescModule* module = FindModule(first, AddressQuestion{address.offset, kind});
  if (module == nullptr) {
    return 0;
  }
  *found = module;
  return 1;
}
