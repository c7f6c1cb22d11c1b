// Small sound files that hold one of everything: what the fuzz targets put hostile sections into, what is cut off and
// falsified, and what must still read well after a hostile file.
#pragma once

#include "support/bytes.h"

enum class SoundFormat { dwarf1, dwarf2, later };  // the last: units of DWARF 4 and 5, for the published rules alone

RawBytes MakeSoundFile(SoundFormat format, ByteOrder order);

// The file with that section's contents in place of its own; the section is there. The new ones are at the end.
RawBytes WithSection(RawBytes file, ByteOrder order, const char* section, const uint8_t* bytes, size_t size);
