#include "dwarf2/index/frames.h"

#include <algorithm>

#include "dwarf2/index/frame_records.h"
#include "dwarf2/index/sorted_frames.h"

namespace {

// Reads a section into memory and goes to its start. False when there is nothing to read.
bool SeekFrames(Cursor* cursor, const FrameSource& source, const SectionPlace& section, RecordHeap* heap) {
  if (!section.exists || section.size == 0 || cursor->failure()) {
    return false;
  }
  auto* whole = static_cast<uint8_t*>(heap->Get(Cursor::WholeSize(source.image->file, section)));
  if (whole == nullptr) {
    return false;
  }
  cursor->SeekWhole(section, whole);
  return true;
}

// Of a section that is being read, as far as the file has it.
uint32_t SizeInFile(const Cursor& cursor) {
  return static_cast<uint32_t>(std::min<uint64_t>(cursor.Section().size, cursor.BytesLeft()));
}

// Addresses are the target's, so .eh_frame is read with those of sections.
void ReadEhFrame(Cursor* cursor, const FrameSource& source, RecordHeap* heap, FrameRules rules, SortedFrames* frames) {
  const ElfSectionHeader* header = ELF_FindSection(source.image, source.sections->ehFrame.name);
  if (header == nullptr || header->sh_type == SHT_NOBITS ||
      !SeekFrames(cursor, source, source.sections->ehFrame, heap)) {
    return;
  }
  FrameCover cover;
  if (!cover.Make(frames->First(&cursor->failure()))) {
    cursor->failure().NoteNoMemory();
    return;
  }
  const ElfSectionHeader* data = ELF_FindSection(source.image, ".got");
  rules.bases = {.section = header->sh_addr, .data = data != nullptr ? data->sh_addr : 0, .hasData = data != nullptr};
  rules.isEhFrame = true;
  rules.cover = &cover;
  FrameReader(cursor, heap, rules, frames).ReadPublished(SizeInFile(*cursor));
}

}  // namespace

Dwarf2Fde* ReadDwarf2Frames(Cursor* cursor, const FrameSource& source, RecordHeap* tableHeap) {
  SortedFrames frames;
  FrameRules rules = {
      .asPublished = source.rules->readsNewIndexes,
      .isEhFrame = false,
      .addressSize = source.addressSize,
      .bases = {},
      .deadCode = source.rules->dropsDeadCode ? source.deadCode : nullptr,
      .cover = nullptr,
  };
  if (SeekFrames(cursor, source, source.sections->frame, tableHeap)) {
    FrameReader reader(cursor, tableHeap, rules, &frames);
    if (rules.asPublished) {
      reader.ReadPublished(SizeInFile(*cursor));
    } else {
      reader.ReadInOrder(source.sections->frame.size);
    }
  }
  if (rules.asPublished) {
    const SeparateFailure scope(&cursor->failure());
    ReadEhFrame(cursor, source, tableHeap, rules, &frames);
  }
  return frames.First(&cursor->failure());
}
