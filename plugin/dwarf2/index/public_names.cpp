#include "dwarf2/index/public_names.h"

#include <cstring>

namespace {

constexpr uint32_t INDEX_VERSION = 2;

// The byte before a name of .debug_gnu_pubnames: what is named, and whether only its unit sees it.
enum GnuNameKind : uint8_t { GNU_TYPE = 1, GNU_VARIABLE = 2, GNU_FUNCTION = 3 };
constexpr uint32_t GNU_KIND_SHIFT = 4;
constexpr uint32_t GNU_KIND_MASK = 7;

}  // namespace

char* PublicNames::CopyName() {
  bool ended = false;
  const uint32_t length = cursor_->TextLength(&ended);
  char* name = units_.heap->NewText(length);
  if (name == nullptr) {
    return EmptyString();
  }
  const uint32_t got = cursor_->Read(name, length);
  std::memset(name + got, 0, length - got);
  if (ended) {
    cursor_->Skip(1);
  } else {
    cursor_->Fail("a text without end");
  }
  return name;
}

// Reads a section into memory and goes to its start. False when there is nothing to read.
bool PublicNames::SeekNames(const SectionPlace& section) {
  if (!section.exists || section.size == 0) {
    return false;
  }
  auto* whole = static_cast<uint8_t*>(units_.heap->Get(Cursor::WholeSize(file_, section)));
  if (whole == nullptr) {
    return false;
  }
  cursor_->SeekWhole(section, whole);
  return true;
}

// A set of names: unit_length 4, version 2, debug_info_offset 4, debug_info_length 4, then pairs of an offset (4) and a
// NUL-terminated name, up to an offset of 0. False when the reading of both sections ends here.
bool PublicNames::ReadSetInOrder(uint32_t sectionSize) {
  const uint32_t length = cursor_->U32();
  const uint32_t last = cursor_->Offset() + length - 1;
  const uint32_t version = cursor_->U16();
  const uint32_t unitOffset = cursor_->U32();
  cursor_->Skip(4);
  DescModule* module = units_.byUnit.Find(unitOffset);
  if (version != INDEX_VERSION || module == nullptr) {
    return false;
  }
  uint32_t offset = cursor_->U32();
  while (offset != 0 && cursor_->Offset() < last && !cursor_->failure()) {
    AddGlobalName(units_.heap, module, ReadName());
    offset = cursor_->U32();
  }
  // A set whose names ended early is left by its own length. One that takes the rest of the address space is the last.
  if (!cursor_->failure() && cursor_->Offset() <= last) {
    cursor_->Seek(last == UINT32_MAX ? sectionSize : last + 1);
  }
  return true;
}

bool PublicNames::ReadInOrder(const SectionPlace& section) {
  if (!SeekNames(section)) {
    return true;
  }
  while (!cursor_->failure() && cursor_->Offset() < section.size) {
    if (!ReadSetInOrder(section.size)) {
      return false;
    }
  }
  return true;
}

// The same set in either format, its offsets of 4 or 8 bytes. Before a name of .debug_gnu_pubnames is a byte with its
// kind; types and namespaces are no names that the finders ask for.
void PublicNames::ReadSet(const IndexSet& set, DescModule* module, NameSource source) {
  Dwarf2ModuleExt* ext = Dwarf2ExtOf(module);
  ext->nameSource = source;
  const uint32_t head = set.offsetSize + (source == NameSource::gnuPubnames ? 1 : 0);
  while (!cursor_->failure() && cursor_->Offset() + head < set.end) {
    if (ReadIndexOffset(cursor_, set) == 0) {
      return;
    }
    const uint32_t kind =
        source == NameSource::gnuPubnames ? cursor_->U8() >> GNU_KIND_SHIFT & GNU_KIND_MASK : uint32_t{GNU_VARIABLE};
    char* name = ReadName();
    if (cursor_->Offset() > set.end) {
      cursor_->Fail("a name leads outside its set");
    } else if (kind != GNU_TYPE) {
      AddGlobalName(units_.heap, module, name);
      ext->listsData = ext->listsData || kind != GNU_FUNCTION;
    }
  }
}

void PublicNames::ReadPublished(const SectionPlace& section, NameSource source) {
  if (cursor_->failure() || !SeekNames(section)) {
    return;
  }
  IndexSets sets(cursor_);
  for (IndexSet set = {}; !cursor_->failure() && sets.Next(&set);) {
    DescModule* module = units_.byUnit.Find(ReadIndexOffset(cursor_, set));
    cursor_->Skip(set.offsetSize);  // debug_info_length
    if (set.version != INDEX_VERSION || module == nullptr || cursor_->Offset() > set.end) {
      continue;
    }
    const NameSource before = Dwarf2ExtOf(module)->nameSource;
    if (before == NameSource::none || before == source) {
      ReadSet(set, module, source);
    }
  }
  sets.Finish();
}
