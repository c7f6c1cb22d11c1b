// The file table of a line program: the names of its files, and the list of those that have rows.
//
// A name stays in the file until a row needs it. By the loader's rules it is taken as the table has it; as published a
// relative name gets its directory in front, but for the compilation directory.
#pragma once

#include <cstdint>

#include "dwarf2/sections.h"
#include "elf/cursor.h"
#include "records/debug_records.h"
#include "records/growing_array.h"
#include "records/hash_index.h"
#include "records/record_heap.h"

// Where a text of the header is.
struct LineText {
  enum Place : uint8_t { inProgram, inLineStr, inStr, nowhere };
  static constexpr uint32_t UNKNOWN = UINT32_MAX;

  Place place = nowhere;
  uint32_t offset = 0;  // in the section
  uint32_t length = 0;  // UNKNOWN until it is measured
};

class LineFiles {
 public:
  // `program` is the cursor of the line program, in whose window the texts are as a rule.
  LineFiles(Failure* failure, Allowance* allowance, RecordHeap* heap, const Cursor* program)
      : failure_(failure), texts_(failure, allowance), program_(program), heap_(heap) {}

  void Use(const ByteSource* file, bool littleEndian, const Dwarf2Sections* sections) {
    texts_.Use(file, littleEndian);
    sections_ = sections;
  }

  // Begins a program: no directories, no files. The first of each has `firstNumber`: 1, or 0 from version 5 on. Names
  // are joined with directories as published.
  void Begin(uint32_t firstNumber, bool joinsDirectories);

  // In the order of the tables. Directory 0 is the compilation directory.
  void AddDirectory(const LineText& name);
  void AddFile(const LineText& name, uint32_t directory);

  // The name of a file by its number in the program. The empty text for a number that no file has, and without memory.
  char* NameOf(uint32_t number);

  // The same for a file that has a row now: it is on the list from here on, unless one of that base name is.
  char* ListedNameOf(uint32_t number);

  DescFile* Listed() const { return firstFile_; }

 private:
  struct File {
    LineText name;
    uint32_t directory;
    char* text;     // once a row has used it
    bool isListed;  // whether its base name is on the list of files
  };

  File* FileOf(uint32_t number);
  bool GoTo(LineText* text);
  bool IsAbsolute(LineText* name);
  LineText* DirectoryOf(File* file);
  bool Copy(LineText* text, char* to);
  char* TextOf(File* file);
  void List(File* file);

  Failure* failure_;
  Cursor texts_;
  const Cursor* program_;
  RecordHeap* heap_;
  const Dwarf2Sections* sections_ = nullptr;

  uint32_t firstNumber_ = 1;
  bool joinsDirectories_ = false;
  GrowingArray<LineText> directories_;
  GrowingArray<File> files_;
  HashIndex filesByName_;  // DescFile records by base name
  DescFile* firstFile_ = nullptr;
  DescFile* lastFile_ = nullptr;
};
