// NUL-terminated text of the file. All operations give the bytes that they consumed, the NUL included; text that the
// file ends sets the latch.
#pragma once

#include <cstdint>

#include "tarnixcore/heap.h"

namespace dwarf1 {

constexpr uint32_t NAME_BUFFER = 1024;  // bytes that are kept of a name, its NUL included; the rest is dropped

// Stores up to `size` - 1 characters and a NUL.
uint32_t ReadBoundedString(char* buffer, uint32_t size);

// Text of at most NAME_BUFFER - 1 characters in a heap; empty text is the shared empty string.
uint32_t ReadName(mem_desc* heap, char** name);

// The same for a record that has a word of its kind for an empty name.
uint32_t ReadNameOr(const char* word, mem_desc* heap, char** name);

uint32_t SkipString();

char* CopyToHeap(mem_desc* heap, const char* text);

}  // namespace dwarf1
