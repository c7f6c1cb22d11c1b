#include "dwarf2/abbreviations.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "dwarf2/forms.h"

const AbbrevEntry missingAbbreviation = {
    .next = nullptr,
    .code = 0,
    .tag = TAG_MISSING_ABBREVIATION,
    .hasChildren = 0,
    .attributeCount = 0,
    .attributes = nullptr,
    .stepCount = 0,
    .fixedSize = 0,
    .steps = nullptr,
};

namespace {

template <typename Record>
Record* NewArray(mem_desc* heap, uint32_t count) {
  constexpr size_t RECORD_SIZE = sizeof(Record);  // NOLINT(bugprone-sizeof-expression): arrays of pointers are meant
  auto* records = static_cast<Record*>(HEAP_Get(heap, count * RECORD_SIZE));
  if (records == nullptr) {
    Fail("no memory for abbreviations");
    return nullptr;
  }
  std::memset(static_cast<void*>(records), 0, count * RECORD_SIZE);
  return records;
}

// Attributes that a handler of entries takes; all others are consumed and leave no trace.
constexpr uint32_t takenAttributes[] = {
    DW_AT_location,
    DW_AT_name,
    DW_AT_byte_size,
    DW_AT_bit_offset,
    DW_AT_bit_size,
    DW_AT_low_pc,
    DW_AT_high_pc,
    DW_AT_const_value,
    DW_AT_lower_bound,
    DW_AT_prototyped,
    DW_AT_return_addr,
    DW_AT_stride_size,
    DW_AT_upper_bound,
    DW_AT_address_class,
    DW_AT_calling_convention,
    DW_AT_data_member_location,
    DW_AT_encoding,
    DW_AT_frame_base,
    DW_AT_segment,
    DW_AT_specification,
    DW_AT_type,
};

bool IsTaken(uint32_t attribute) {
  return std::find(std::begin(takenAttributes), std::end(takenAttributes), attribute) != std::end(takenAttributes);
}

// Merges runs of attributes that are only skipped, so that walking an entry costs a step for each that is not.
bool MakeSteps(mem_desc* heap, AbbrevEntry* entry) {
  AbbrevAttribute steps[MAX_ABBREV_PAIRS];
  uint32_t count = 0;
  entry->fixedSize = 0;
  for (int32_t i = 0; i < entry->attributeCount; ++i) {
    const AbbrevAttribute& pair = entry->attributes[i];
    const int32_t size = FixedFormSize(pair.form);
    entry->fixedSize =
        size == NO_FIXED_SIZE || entry->fixedSize == NO_FIXED_SIZE ? NO_FIXED_SIZE : entry->fixedSize + size;
    if (size == NO_FIXED_SIZE || IsTaken(pair.attribute)) {
      steps[count++] = {pair.attribute, pair.form < FORM_SKIPPED_RUN ? pair.form : 0};
    } else if (count != 0 && steps[count - 1].form >= FORM_SKIPPED_RUN) {
      steps[count - 1].form += static_cast<uint32_t>(size);
    } else {
      steps[count++] = {0, FORM_SKIPPED_RUN + static_cast<uint32_t>(size)};
    }
  }
  entry->stepCount = static_cast<int32_t>(count);
  entry->steps = entry->attributes;
  if (static_cast<int32_t>(count) != entry->attributeCount ||
      !std::equal(steps, steps + count, entry->attributes,
                  [](const AbbrevAttribute& a, const AbbrevAttribute& b) { return a.form == b.form; })) {
    entry->steps = NewArray<AbbrevAttribute>(heap, count);
    if (entry->steps == nullptr) {
      return false;
    }
    std::copy_n(steps, count, entry->steps);
  }
  return true;
}

// Reads pairs through the one whose attribute or form is 0 (the published rule is that both are).
bool ReadAttributePairs(ElfImage* image, mem_desc* heap, AbbrevEntry* entry) {
  AbbrevAttribute pairs[MAX_ABBREV_PAIRS];
  uint32_t count = 0;
  do {
    if (count == MAX_ABBREV_PAIRS) {
      Fail("abbreviation %u has too many attributes", static_cast<unsigned>(entry->code));
      return false;
    }
    pairs[count].attribute = ReadUleb(image);
    pairs[count].form = ReadUleb(image);
    ++count;
  } while (pairs[count - 1].attribute != 0 && pairs[count - 1].form != 0);
  entry->attributes = NewArray<AbbrevAttribute>(heap, count);
  if (dwarf2State.failed != 0) {
    return false;
  }
  std::copy_n(pairs, count, entry->attributes);
  entry->attributeCount = static_cast<int32_t>(count) - 1;
  return MakeSteps(heap, entry);
}

bool ReadDeclaration(ElfImage* image, mem_desc* heap, AbbrevTable* table, uint32_t code) {
  auto* entry = NewArray<AbbrevEntry>(heap, 1);
  if (entry == nullptr) {
    return false;
  }
  entry->code = code;
  entry->tag = ReadUleb(image);
  entry->hasChildren = ReadU8(image) == DW_CHILDREN_yes ? 1 : 0;
  AbbrevEntry** bucket = &table->buckets[code % ABBREV_BUCKETS];
  entry->next = *bucket;
  *bucket = entry;
  return ReadAttributePairs(image, heap, entry);
}

// Makes the array for small codes: as large as the declarations are many, a little room for gaps left.
bool MakeDenseTable(mem_desc* heap, AbbrevTable* table, uint32_t declarations, uint32_t maxCode) {
  const uint32_t limit = declarations + declarations / 2 + 16;
  const uint32_t count = std::min(maxCode, limit) + 1;
  table->dense = NewArray<AbbrevEntry*>(heap, count);
  if (table->dense == nullptr) {
    return false;
  }
  table->denseCount = count;
  for (AbbrevEntry* bucket : table->buckets) {
    for (AbbrevEntry* entry = bucket; entry != nullptr; entry = entry->next) {
      if (entry->code < count && table->dense[entry->code] == nullptr) {
        table->dense[entry->code] = entry;
      }
    }
  }
  return true;
}

}  // namespace

AbbrevTable* ReadAbbreviations(ElfImage* image, mem_desc* heap, uint32_t offset) {
  auto* table = NewArray<AbbrevTable>(heap, 1);
  if (table == nullptr) {
    return nullptr;
  }
  SeekTo(image, dwarf2State.sections.abbrev, offset);
  uint32_t declarations = 0;
  uint32_t maxCode = 0;
  while (dwarf2State.failed == 0) {
    const uint32_t code = ReadUleb(image);  // over-long reads as 0, and ends the list as 0 does
    if (code == 0) {
      break;
    }
    if (!ReadDeclaration(image, heap, table, code)) {
      return nullptr;
    }
    ++declarations;
    maxCode = std::max(maxCode, code);
  }
  SpendOnRecords(dwarf2State.position - offset);
  if (dwarf2State.failed != 0 || !MakeDenseTable(heap, table, declarations, maxCode)) {
    return nullptr;
  }
  return table;
}

const AbbrevEntry* FindAbbreviationInBuckets(uint32_t code) {
  if (dwarf2State.abbrevs != nullptr) {
    for (const AbbrevEntry* entry = dwarf2State.abbrevs->buckets[code % ABBREV_BUCKETS]; entry != nullptr;
         entry = entry->next) {
      if (entry->code == code) {
        return entry;
      }
      SpendOnRecords(1);
    }
  }
  Fail("no abbreviation %u", static_cast<unsigned>(code));
  return &missingAbbreviation;
}
