// Note records of the first SHT_NOTE section: the note value that tells processor variants apart, and the note text.
#pragma once

class Cursor;
struct ElfImage;

// Reads the note records into `noteValue` and `noteText`. A section without a record of type 10, or with a record that
// fails, leaves NOTE_VALUE_DEFAULT. False only when the file cannot be read for want of memory.
bool ReadNoteRecords(ElfImage* image, Cursor* cursor);
