// Pointers of .eh_frame, written as the augmentation of their CIE says.
#pragma once

#include <cstdint>

#include "elf/cursor.h"

// What pointers are counted from.
struct FramePointerBases {
  uint32_t section;  // address of the section: pointers may be counted from their own place
  uint32_t data;     // address of .got
  bool hasData;
};

constexpr uint8_t FRAME_POINTER_PLAIN = 0;  // an address as it is

// A pointer at the cursor, which moves past it. False for an encoding that has no meaning in a file on its own.
bool ReadFramePointer(Cursor* cursor, uint8_t encoding, uint8_t addressSize, const FramePointerBases& bases,
                      uint32_t* address);

// A number in the format of an encoding, counted from nothing. False for an unassigned format.
bool ReadFrameNumber(Cursor* cursor, uint8_t encoding, uint8_t addressSize, uint32_t* number);
