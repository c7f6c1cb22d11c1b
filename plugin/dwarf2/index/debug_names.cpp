#include "dwarf2/index/debug_names.h"

#include <algorithm>

#include "dwarf/leb128.h"
#include "dwarf2/form_values.h"
#include "dwarf2/index/index_set.h"
#include "records/growing_array.h"

namespace {

constexpr uint32_t INDEX_VERSION = 5;
constexpr uint32_t NO_UNIT = 0xFFFFFFFF;

enum IndexAttribute : uint32_t {
  DW_IDX_compile_unit = 1,  // number in the set's list of units
  DW_IDX_type_unit = 2,
  DW_IDX_die_offset = 3,  // from the start of the unit
};

// Forms that indexes use: numbers and offsets that are in the entry itself.
bool IsIndexForm(uint32_t form) {
  switch (form) {
    case DW_FORM_data1:
    case DW_FORM_data2:
    case DW_FORM_data4:
    case DW_FORM_data8:
    case DW_FORM_udata:
    case DW_FORM_flag:
    case DW_FORM_flag_present:
    case DW_FORM_ref1:
    case DW_FORM_ref2:
    case DW_FORM_ref4:
    case DW_FORM_ref_udata:
      return true;
    default:
      return false;
  }
}

class DebugNames {
 public:
  DebugNames(const IndexSource& source, const IndexedModules& units);

  void Read();

 private:
  struct Abbrev {
    uint32_t code;
    uint32_t tag;
    uint32_t firstAttribute;
    uint32_t attributeCount;
  };
  struct Attribute {
    uint32_t index;
    uint32_t form;
  };

  // What an entry of the pool says.
  struct Entry {
    uint32_t tag;
    uint32_t unit;    // number in the set's list
    uint32_t offset;  // in the unit
    bool isInTypeUnit;
  };

  bool ReadSet(const IndexSet& set);
  bool PlaceTables(const IndexSet& set);
  bool ReadUnits(const IndexSet& set);
  bool ReadAbbrevs();
  bool ReadAttributes(Abbrev* abbrev);
  bool ReadNames(const IndexSet& set);
  bool ReadSeries(const IndexSet& set, uint32_t text, uint32_t place);
  bool ReadEntry(uint32_t code, const UnitForms& forms, Entry* entry);
  const Abbrev* FindAbbrev(uint32_t code);
  bool TakeName(const Entry& entry, uint32_t text);
  bool NoMemory();

  const IndexSource& source_;
  const IndexedModules& units_;
  Cursor head_;
  Cursor texts_;
  Cursor series_;
  Cursor pool_;
  FormValues values_;

  // Of the set in hand.
  GrowingArray<DescModule*> modules_;  // null for a unit that is not known, or that another index names
  GrowingArray<Abbrev> abbrevs_;       // ascending by code
  GrowingArray<Attribute> attributes_;
  uint32_t unitCount_ = 0;
  uint32_t nameCount_ = 0;
  uint32_t unitPlace_ = 0;  // places in the section
  uint32_t textPlace_ = 0;
  uint32_t seriesPlace_ = 0;
  uint32_t abbrevPlace_ = 0;
  uint32_t poolPlace_ = 0;
};

DebugNames::DebugNames(const IndexSource& source, const IndexedModules& units)
    : source_(source),
      units_(units),
      head_(source.failure, source.allowance),
      texts_(source.failure, source.allowance),
      series_(source.failure, source.allowance),
      pool_(source.failure, source.allowance),
      values_(source.failure, source.allowance) {
  const bool littleEndian = ELF_IsLittleEndian(source.image);
  for (Cursor* cursor : {&head_, &texts_, &series_, &pool_}) {
    cursor->Use(source.image->file, littleEndian);
  }
}

bool DebugNames::NoMemory() {
  source_.failure->NoteNoMemory();
  return false;
}

void DebugNames::Read() {
  const SectionPlace& section = source_.sections->names;
  StringSection* strings = &units_.build->strings;
  if (!strings->IsMade()) {
    strings->Make(units_.build->tableHeap, source_.image->file, source_.sections->str);
  }
  head_.Seek(section, 0);
  IndexSets sets(&head_);
  uint32_t spoilt = NO_UNIT;
  for (IndexSet set = {}; !*source_.failure && sets.Next(&set);) {
    if (set.version != INDEX_VERSION || (ReadSet(set) && !*source_.failure)) {
      continue;
    }
    spoilt = std::min(spoilt, set.start);
    for (DescModule* module : modules_) {  // not all of its names are there
      if (module != nullptr) {
        Dwarf2ExtOf(module)->listsData = true;
      }
    }
  }
  if (spoilt != NO_UNIT) {
    source_.failure->Note(section.name, spoilt, "the set of names cannot be read to its end");
  }
  sets.Finish();
}

bool DebugNames::ReadSet(const IndexSet& set) {
  modules_.Empty();
  return PlaceTables(set) && ReadUnits(set) && ReadAbbrevs() && ReadNames(set);
}

// The header after the version: padding 2, then of 4 bytes each comp_unit_count, local_type_unit_count,
// foreign_type_unit_count, bucket_count, name_count, abbrev_table_size and augmentation_string_size; the augmentation,
// of a multiple of 4 bytes. After it are the tables: offsets of units and of local type units, signatures of 8 bytes,
// buckets of 4, hashes of 4 for each name unless there are no buckets, offsets of texts and of series for each name,
// abbreviations, and the pool of entries.
bool DebugNames::PlaceTables(const IndexSet& set) {
  head_.Skip(2);
  unitCount_ = head_.U32();
  const uint64_t localTypes = head_.U32();
  const uint64_t foreignTypes = head_.U32();
  const uint64_t buckets = head_.U32();
  nameCount_ = head_.U32();
  const uint64_t abbrevSize = head_.U32();
  const uint64_t augmentation = (uint64_t{head_.U32()} + 3) & ~uint64_t{3};
  const uint64_t units = head_.Offset() + augmentation;
  const uint64_t texts = units + (unitCount_ + localTypes) * set.offsetSize + foreignTypes * 8 + buckets * 4 +
                         (buckets != 0 ? uint64_t{nameCount_} * 4 : 0);
  const uint64_t series = texts + uint64_t{nameCount_} * set.offsetSize;
  const uint64_t abbrevs = series + uint64_t{nameCount_} * set.offsetSize;
  if (abbrevs + abbrevSize > set.end) {
    return false;
  }
  unitPlace_ = static_cast<uint32_t>(units);
  textPlace_ = static_cast<uint32_t>(texts);
  seriesPlace_ = static_cast<uint32_t>(series);
  abbrevPlace_ = static_cast<uint32_t>(abbrevs);
  poolPlace_ = static_cast<uint32_t>(abbrevs + abbrevSize);
  return true;
}

bool DebugNames::ReadUnits(const IndexSet& set) {
  head_.Seek(unitPlace_);
  for (uint32_t i = 0; i < unitCount_; ++i) {
    DescModule* module = units_.byUnit.Find(ReadIndexOffset(&head_, set));
    if (module != nullptr) {
      NameSource* source = &Dwarf2ExtOf(module)->nameSource;
      const bool isOurs = *source == NameSource::none || *source == NameSource::debugNames;
      *source = isOurs ? NameSource::debugNames : *source;
      module = isOurs ? module : nullptr;
    }
    if (!modules_.Push(module)) {
      return NoMemory();
    }
  }
  return true;
}

// Declarations: a code, a tag, pairs of an attribute and a form up to 0, 0 (all ULEB128). A code of 0 ends them.
bool DebugNames::ReadAbbrevs() {
  abbrevs_.Empty();
  attributes_.Empty();
  head_.Seek(abbrevPlace_);
  while (head_.Offset() < poolPlace_) {
    Abbrev abbrev = {};
    abbrev.code = ReadUleb(&head_);
    if (abbrev.code == 0) {
      break;
    }
    abbrev.tag = ReadUleb(&head_);
    if (!ReadAttributes(&abbrev)) {
      return false;
    }
    if (!abbrevs_.Push(abbrev)) {
      return NoMemory();
    }
  }
  std::sort(abbrevs_.begin(), abbrevs_.end(), [](const Abbrev& a, const Abbrev& b) { return a.code < b.code; });
  return true;
}

// False for a form whose size is not known.
bool DebugNames::ReadAttributes(Abbrev* abbrev) {
  abbrev->firstAttribute = attributes_.Count();
  while (head_.Offset() < poolPlace_) {
    const Attribute attribute = {ReadUleb(&head_), ReadUleb(&head_)};
    if (attribute.index == 0 && attribute.form == 0) {
      return true;
    }
    if (!IsIndexForm(attribute.form)) {
      return false;
    }
    if (!attributes_.Push(attribute)) {
      return NoMemory();
    }
    ++abbrev->attributeCount;
  }
  return false;
}

const DebugNames::Abbrev* DebugNames::FindAbbrev(uint32_t code) {
  const Abbrev* found = std::lower_bound(abbrevs_.begin(), abbrevs_.end(), code,
                                         [](const Abbrev& abbrev, uint32_t wanted) { return abbrev.code < wanted; });
  return found != abbrevs_.end() && found->code == code ? found : nullptr;
}

bool DebugNames::ReadNames(const IndexSet& set) {
  texts_.Seek(source_.sections->names, textPlace_);
  series_.Seek(source_.sections->names, seriesPlace_);
  bool isWhole = true;
  for (uint32_t i = 0; i < nameCount_ && !*source_.failure; ++i) {
    const uint32_t text = ReadIndexOffset(&texts_, set);
    const uint32_t place = ReadIndexOffset(&series_, set);
    isWhole = (place < set.end - poolPlace_ && ReadSeries(set, text, poolPlace_ + place)) && isWhole;
  }
  return isWhole;
}

// The entries of a name, up to a code of 0. Names may share them, so each reading is charged.
bool DebugNames::ReadSeries(const IndexSet& set, uint32_t text, uint32_t place) {
  const UnitForms forms = {.addressSize = 4,
                           .unitBase = 0,
                           .version = INDEX_VERSION,
                           .offsetSize = set.offsetSize,
                           .rules = &publishedRules};
  pool_.Seek(source_.sections->names, place);
  bool isWhole = false;
  while (pool_.Offset() < set.end && !*source_.failure) {
    const uint32_t code = ReadUleb(&pool_);
    if (code == 0) {
      isWhole = true;
      break;
    }
    Entry entry = {};
    if (!ReadEntry(code, forms, &entry) || !TakeName(entry, text)) {
      break;
    }
  }
  return pool_.Charge(pool_.Offset() - place) && isWhole;
}

bool DebugNames::ReadEntry(uint32_t code, const UnitForms& forms, Entry* entry) {
  const Abbrev* abbrev = FindAbbrev(code);
  if (abbrev == nullptr) {
    return false;
  }
  *entry = {.tag = abbrev->tag, .unit = unitCount_ == 1 ? 0 : NO_UNIT, .offset = 0, .isInTypeUnit = false};
  for (uint32_t i = 0; i < abbrev->attributeCount; ++i) {
    const Attribute& attribute = attributes_[abbrev->firstAttribute + i];
    const AttributeValue value = values_.Read(&pool_, attribute.form, 0, forms);
    switch (attribute.index) {
      case DW_IDX_compile_unit:
        entry->unit = value.number;
        break;
      case DW_IDX_type_unit:
        entry->isInTypeUnit = true;
        break;
      case DW_IDX_die_offset:
        entry->offset = value.number;
        break;
      default:
        break;
    }
  }
  return true;
}

// Adds the name of a procedure or a variable. C++ units list the names for linkers beside the plain ones; records do
// not have them. False for a text that is not there.
bool DebugNames::TakeName(const Entry& entry, uint32_t text) {
  const bool isNamed = entry.tag == DW_TAG_subprogram || entry.tag == DW_TAG_variable;
  if (!isNamed || entry.isInTypeUnit || entry.unit >= modules_.Count() || modules_[entry.unit] == nullptr) {
    return true;
  }
  DescModule* module = modules_[entry.unit];
  Dwarf2ExtOf(module)->listsData = Dwarf2ExtOf(module)->listsData || entry.tag == DW_TAG_variable;
  char* name = units_.build->strings.At(text, source_.image->file, source_.failure);
  if (name == nullptr) {
    if (units_.build->strings.LacksMemory()) {
      source_.failure->NoteNoMemory();
    }
    return false;
  }
  if (module->language == LANGUAGE_CXX && name[0] == '_' && name[1] == 'Z') {
    return true;
  }
  const NameOfEntry& qualified = source_.nameOfEntry;
  if (qualified.ask != nullptr) {
    name = qualified.ask(qualified.context, module, module->ext->unitOffset + entry.offset);
  }
  if (name != nullptr) {
    AddGlobalName(units_.heap, module, name);
  }
  return true;
}

}  // namespace

void ReadDebugNames(const IndexSource& source, const IndexedModules& units) {
  if (source.sections->names.exists && source.sections->names.size != 0 && !*source.failure) {
    DebugNames(source, units).Read();
  }
}
