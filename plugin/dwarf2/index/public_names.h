// Names of units: .debug_pubnames, and as published .debug_gnu_pubnames.
#pragma once

#include "dwarf2/index/index_set.h"
#include "dwarf2/index/name_index.h"

class PublicNames {
 public:
  PublicNames(Cursor* cursor, const ByteSource* file, const IndexedModules& units)
      : cursor_(cursor), file_(file), units_(units) {}

  // By the loader's rules. False when a set ended the reading of all indexes.
  bool ReadInOrder(const SectionPlace& section);

  // As published: the names of units that no other source names.
  void ReadPublished(const SectionPlace& section, NameSource source);

 private:
  bool SeekNames(const SectionPlace& section);
  bool ReadSetInOrder(uint32_t sectionSize);
  void ReadSet(const IndexSet& set, DescModule* module, NameSource source);
  char* CopyName();

  // A name in the block of the section where it is, else a copy of it.
  char* ReadName() {
    cursor_->Ask();
    uint32_t length = 0;
    const uint8_t* bytes = cursor_->TextInWindow(&length);
    if (bytes == nullptr || !cursor_->IsInWhole(bytes)) {
      return CopyName();
    }
    cursor_->SetNext(bytes + length + 1);
    return reinterpret_cast<char*>(const_cast<uint8_t*>(bytes));  // the block is the table heap's
  }

  Cursor* cursor_;
  const ByteSource* file_;
  const IndexedModules& units_;
};
