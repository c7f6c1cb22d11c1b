#include "dwarf1/text.h"

#include <algorithm>
#include <cstring>

#include "dwarf1/memory.h"
#include "records/empty_string.h"

namespace dwarf1 {
namespace {

char* CopyText(mem_desc* heap, const void* text, uint32_t length) {
  if (length == 0) {
    return EmptyString();
  }
  auto* copy = static_cast<char*>(GetMemory(heap, (length + 4) & ~3U));
  std::memcpy(copy, text, length);
  copy[length] = 0;
  return copy;
}

// Gives the NUL among the next `count` bytes, or null.
const void* FindNul(const ElfStream* file, uint32_t count) {
  return count == 0 ? nullptr : std::memchr(file->Peek(), 0, count);
}

uint32_t ReadLongName(mem_desc* heap, char** name) {
  char buffer[NAME_BUFFER];
  const uint32_t consumed = ReadBoundedString(buffer, sizeof(buffer));
  *name = CopyToHeap(heap, buffer);
  return consumed;
}

}  // namespace

uint32_t ReadBoundedString(char* buffer, uint32_t size) {
  ElfStream* file = dwarf1State.image->file;
  uint32_t stored = 0;
  uint32_t consumed = 0;
  for (bool ended = false; !ended;) {
    const uint32_t inBlock = file->BytesInBlock();
    if (inBlock == 0) {  // the next byte brings the next block
      if (IsEndOfFile()) {
        Fail("string without end");
        break;
      }
      const uint8_t byte = file->Byte();
      ended = byte == 0;
      if (!ended && stored + 1 < size) {
        buffer[stored++] = static_cast<char>(byte);
      }
      ++consumed;
      continue;
    }
    const void* nul = FindNul(file, inBlock);
    ended = nul != nullptr;
    const auto length = ended ? static_cast<uint32_t>(static_cast<const uint8_t*>(nul) - file->Peek()) : inBlock;
    const uint32_t kept = std::min(length, size - 1 - stored);
    std::memcpy(buffer + stored, file->Peek(), kept);
    stored += kept;
    consumed += length + (ended ? 1 : 0);
    file->Take(length + (ended ? 1 : 0));
  }
  buffer[stored] = 0;
  dwarf1State.position += consumed;
  return consumed;
}

uint32_t ReadName(mem_desc* heap, char** name) {
  ElfStream* file = dwarf1State.image->file;
  const void* nul = FindNul(file, std::min(file->BytesInBlock(), NAME_BUFFER));
  if (nul == nullptr) {
    return ReadLongName(heap, name);
  }
  const auto length = static_cast<uint32_t>(static_cast<const uint8_t*>(nul) - file->Peek());
  *name = CopyText(heap, file->Peek(), length);
  file->Take(length + 1);
  dwarf1State.position += length + 1;
  return length + 1;
}

uint32_t ReadNameOr(const char* word, mem_desc* heap, char** name) {
  const uint32_t consumed = ReadName(heap, name);
  if ((*name)[0] == 0) {
    *name = const_cast<char*>(word);  // a record's name is only read
  }
  return consumed;
}

uint32_t SkipString() {
  char nothing[1];
  return ReadBoundedString(nothing, sizeof(nothing));
}

char* CopyToHeap(mem_desc* heap, const char* text) {
  return CopyText(heap, text, static_cast<uint32_t>(std::strlen(text)));
}

}  // namespace dwarf1
