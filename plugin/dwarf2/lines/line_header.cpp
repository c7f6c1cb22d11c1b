#include "dwarf2/lines/line_header.h"

#include "dwarf/leb128.h"
#include "dwarf2/dwarf2_constants.h"

namespace {

constexpr uint32_t LENGTH_64 = 0xFFFFFFFF;  // unit_length of the 64-bit format, before the length itself
constexpr uint32_t COST_OF_NAME = 4;        // in bytes: of an entry of a table, which may have one byte
constexpr uint16_t FIRST_VERSION = 2;
constexpr uint16_t LAST_VERSION = 5;

}  // namespace

bool LineHeaderReader::Read(const UnitForms& unit, LineHeader* header) {
  const bool isPublished = unit.rules->runsLinesAsPublished;
  header->addressSize = unit.addressSize;
  header->opcodeBase = 0;
  if (!isPublished) {
    ReadLoaderStart(header);
  } else if (!ReadPublishedStart(header)) {
    return false;
  }
  files_->Begin(header->version < LAST_VERSION ? 1 : 0, isPublished);
  if (!ReadMachine(isPublished, header)) {
    return false;
  }
  if (!isPublished) {
    ReadNames(UINT32_MAX);
    return true;
  }
  if (header->version < LAST_VERSION) {
    ReadNames(header->opcodes);
  } else {
    UnitForms forms = unit;
    forms.version = header->version;
    forms.offsetSize = header->offsetSize;
    forms.addressSize = header->addressSize;
    ReadTable(forms, header->opcodes, false);
    ReadTable(forms, header->opcodes, true);
  }
  const uint32_t offset = cursor_->Offset();
  if (offset > header->opcodes) {
    return FailAt(header->opcodes, "the tables of a line program are longer than its header_length says");
  }
  cursor_->Skip(header->opcodes - offset);
  return !*failure_;
}

bool LineHeaderReader::FailAt(uint32_t offset, const char* text) {
  failure_->Note(cursor_->Section().name, offset, "%s", text);
  return false;
}

// The fields in front of those of the machine:
//   total_length 4, version 2, prologue_length 4
// version and prologue_length are not looked at: the opcodes begin after the tables.
void LineHeaderReader::ReadLoaderStart(LineHeader* header) {
  const uint32_t totalLength = cursor_->U32();
  header->end = cursor_->Offset() + totalLength;
  header->version = FIRST_VERSION;
  header->offsetSize = 4;
  cursor_->Skip(2 + 4);
}

// The same as published, where offsets have 8 bytes in the 64-bit format:
//   unit_length 4 or 4 + 8, version 2, address_size 1 and segment_selector_size 1 from version 5 on,
//   header_length 4 or 8
bool LineHeaderReader::ReadPublishedStart(LineHeader* header) {
  const uint32_t size = cursor_->Section().size;
  const uint32_t start = cursor_->Offset();
  if (start >= size) {
    return FailAt(start, "the section has no line program at that offset");
  }
  uint32_t length = cursor_->U32();
  header->offsetSize = length == LENGTH_64 ? 8 : 4;
  if (length == LENGTH_64) {
    length = FormValues::ReadOffset(cursor_, 8);
  }
  const uint32_t versionOffset = cursor_->Offset();
  if (versionOffset > size || length > size - versionOffset) {
    return FailAt(start, "a line program goes past the end of the section");
  }
  header->end = versionOffset + length;
  const uint32_t version = cursor_->U16();
  if (version < FIRST_VERSION || version > LAST_VERSION) {
    failure_->Note(cursor_->Section().name, versionOffset, "a line program of version %u is not known",
                   static_cast<unsigned>(version));
    return false;
  }
  header->version = static_cast<uint16_t>(version);
  if (version >= LAST_VERSION) {
    header->addressSize = cursor_->U8();
    cursor_->Skip(1);  // no opcode has a segment selector
  }
  const uint32_t lengthOffset = cursor_->Offset();
  const uint32_t headerLength = FormValues::ReadOffset(cursor_, header->offsetSize);
  const uint32_t counted = cursor_->Offset();
  if (counted > header->end || headerLength > header->end - counted) {
    return FailAt(lengthOffset, "header_length leads past the end of the line program");
  }
  header->opcodes = counted + headerLength;
  return !*failure_;
}

// What the opcodes depend on:
//   minimum_instruction_length 1, maximum_operations_per_instruction 1 from version 4 on, default_is_stmt 1,
//   line_base 1, line_range 1, opcode_base 1, standard_opcode_lengths
bool LineHeaderReader::ReadMachine(bool isPublished, LineHeader* header) {
  header->minimumInstructionLength = cursor_->U8();
  header->maximumOperations = header->version >= 4 ? cursor_->U8() : 1;
  header->defaultIsStmt = cursor_->U8();
  header->lineBase = static_cast<int8_t>(cursor_->U8());
  header->lineRange = cursor_->U8();
  header->opcodeBase = cursor_->U8();
  if (header->lineRange == 0) {
    return FailAt(cursor_->Offset() - (isPublished ? 2 : 0), "line_range is 0");
  }
  // The reduced variant has one byte more than DWARF 2, stored from index 0 and not looked at again.
  const bool isReduced = !isPublished && IsReducedVariant(header->opcodeBase);
  for (uint32_t i = isReduced ? 0 : 1; i < header->opcodeBase; ++i) {
    header->standardOpcodeLengths[i] = cursor_->U8();
  }
  return true;
}

// Directories and files before version 5: each table ends with the empty name, or at `end`.
void LineHeaderReader::ReadNames(uint32_t end) {
  LineText directory = {};
  while (cursor_->Offset() < end && !*failure_ && (directory = ReadText()).length != 0) {
    files_->AddDirectory(directory);
  }
  while (cursor_->Offset() < end && !*failure_ && ReadFile()) {
  }
}

LineText LineHeaderReader::ReadText() {
  const uint32_t offset = cursor_->Offset();
  SkipText(cursor_);
  return {LineText::inProgram, offset, cursor_->Offset() - offset - (*failure_ ? 0 : 1)};
}

bool LineHeaderReader::ReadFile() {
  const LineText name = ReadText();
  if (name.length == 0) {
    return false;
  }
  const uint32_t directory = ReadUleb(cursor_);
  ReadUleb(cursor_);
  ReadUleb(cursor_);
  files_->AddFile(name, directory);
  return true;
}

// A table of version 5: the number of pairs in its format, 1 byte, each pair a content and a form; the number of
// entries; the entries.
void LineHeaderReader::ReadTable(const UnitForms& unit, uint32_t end, bool isOfFiles) {
  format_.Empty();
  for (uint32_t left = cursor_->U8(); left > 0; --left) {
    const uint32_t content = ReadUleb(cursor_);
    if (!format_.Push({content, ReadUleb(cursor_)})) {
      failure_->NoteNoMemory();
    }
  }
  for (uint32_t left = ReadUleb(cursor_); left > 0 && !*failure_; --left) {
    const uint32_t offset = cursor_->Offset();
    if (offset >= end) {
      FailAt(offset, "the tables of a line program are longer than its header_length says");
      return;
    }
    ReadEntry(unit, isOfFiles);
    cursor_->Charge(COST_OF_NAME);
    if (cursor_->Offset() == offset) {
      cursor_->Fail("a table of a line program has entries of no bytes");
    }
  }
}

void LineHeaderReader::ReadEntry(const UnitForms& unit, bool isOfFiles) {
  LineText name = {};
  uint32_t directory = 0;
  for (const FormatPair& pair : format_) {
    const AttributeValue value = values_.Read(cursor_, pair.form, 0, unit);
    if (pair.content == DW_LNCT_path) {
      name = TextOf(value);
    } else if (pair.content == DW_LNCT_directory_index && value.IsConstant()) {
      directory = value.number;
    }
  }
  if (isOfFiles) {
    files_->AddFile(name, directory);
  } else {
    files_->AddDirectory(name);
  }
}

// Where a name of version 5 is. Its cursor is after it.
LineText LineHeaderReader::TextOf(const AttributeValue& value) const {
  switch (value.valueClass) {
    case ValueClass::inlineText:
      return {LineText::inProgram, value.place, cursor_->Offset() - value.place - (*failure_ ? 0 : 1)};
    case ValueClass::text:
      return {LineText::inStr, value.number, LineText::UNKNOWN};
    case ValueClass::lineText:
      return {LineText::inLineStr, value.number, LineText::UNKNOWN};
    default:
      return {};
  }
}
