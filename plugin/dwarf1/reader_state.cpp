#include "dwarf1/reader_state.h"

#include <cstring>

Dwarf1ReaderState dwarf1State;

namespace dwarf1 {

void UseImage(ElfImage* image) {
  dwarf1State.image = image;
  dwarf1State.debug = ELF_FindSection(image, ".debug");
  dwarf1State.nesting = 0;
}

void ClearFailure() {
  dwarf1State.failed = 0;
  dwarf1State.failure = nullptr;
  dwarf1State.failurePosition = 0;
}

void Fail(const char* reason) {
  if (dwarf1State.failed == 0) {
    dwarf1State.failed = 1;
    dwarf1State.failure = reason;
    dwarf1State.failurePosition = dwarf1State.position;
  }
}

void ReadBytes(uint8_t* buffer, uint32_t count) {
  ElfStream* file = dwarf1State.image->file;
  dwarf1State.position += count;
  if (count <= file->BytesInBlock()) {
    std::memcpy(buffer, file->Peek(), count);
    file->Take(count);
    return;
  }
  if (file->BytesLeft() < count) {
    std::memset(buffer, 0, count);
    Fail("block without end");
  }
  uint32_t countRead = 0;
  if (ELF_ReadBlock(dwarf1State.image, buffer, count, &countRead) == 0) {
    Fail("read");
  }
}

void SkipBytes(uint32_t count) {
  const auto distance = static_cast<int32_t>(count);
  if (distance <= 0) {
    return;
  }
  if (ELF_Skip(dwarf1State.image, distance) == 0) {
    Fail("skip");
  }
  dwarf1State.position += count;
}

}  // namespace dwarf1
