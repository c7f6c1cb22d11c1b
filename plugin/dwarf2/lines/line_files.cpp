#include "dwarf2/lines/line_files.h"

#include <algorithm>

#include "dwarf/base_name.h"

namespace {

bool IsSeparator(char c) {
  return c == '/' || c == '\\';
}

}  // namespace

void LineFiles::Begin(uint32_t firstNumber, bool joinsDirectories) {
  firstNumber_ = firstNumber;
  joinsDirectories_ = joinsDirectories;
  directories_.Empty();
  files_.Empty();
  filesByName_.Empty();
  firstFile_ = lastFile_ = nullptr;
}

void LineFiles::AddDirectory(const LineText& name) {
  if (joinsDirectories_ && !directories_.Push(name)) {
    failure_->NoteNoMemory();
  }
}

void LineFiles::AddFile(const LineText& name, uint32_t directory) {
  if (!files_.Push({name, directory, nullptr, false})) {
    failure_->NoteNoMemory();
  }
}

// Puts the cursor of texts at a text, and measures it. False, with the failure noted, for one that is not there whole.
bool LineFiles::GoTo(LineText* text) {
  if (text->place == LineText::inProgram) {
    texts_.LookInto(*program_, text->offset);
    return true;
  }
  if (text->place == LineText::nowhere) {
    return false;
  }
  const SectionPlace& section = text->place == LineText::inStr ? sections_->str : sections_->lineStr;
  texts_.Seek(section, text->offset);
  if (text->length != LineText::UNKNOWN || *failure_) {
    return !*failure_;
  }
  texts_.Ask();
  bool ended = false;
  const uint32_t length = texts_.TextLength(&ended);
  if (!ended || text->offset >= section.size || length >= section.size - text->offset) {
    texts_.Fail("a text without end");
    return false;
  }
  text->length = length;
  return texts_.Charge(length);
}

// Copies a text. The file has less only when it changes meanwhile.
bool LineFiles::Copy(LineText* text, char* to) {
  if (!GoTo(text)) {
    return false;
  }
  const uint32_t got = texts_.Read(to, text->length);
  std::memset(to + got, 0, text->length - got);
  return true;
}

// A name from a root on, or from a drive.
bool LineFiles::IsAbsolute(LineText* name) {
  char start[2] = {};
  if (GoTo(name)) {
    texts_.Read(start, std::min<uint32_t>(name->length, sizeof(start)));
  }
  return IsSeparator(start[0]) || start[1] == ':';
}

// The directory that goes in front of a file's name, or null.
LineText* LineFiles::DirectoryOf(File* file) {
  const uint32_t index = file->directory - firstNumber_;
  if (file->directory == 0 || index >= directories_.Count() || IsAbsolute(&file->name)) {
    return nullptr;
  }
  LineText* directory = &directories_[index];
  return GoTo(directory) && directory->length != 0 ? directory : nullptr;
}

char* LineFiles::TextOf(File* file) {
  if (file->text != nullptr) {
    return file->text;
  }
  LineText* directory = DirectoryOf(file);
  if (!GoTo(&file->name)) {
    return EmptyString();
  }
  size_t inFront = 0;
  if (directory != nullptr) {
    inFront = directory->length;
    ++inFront;  // the separator
  }
  char* text = heap_->NewText(inFront + file->name.length);
  if (text == nullptr) {
    return EmptyString();
  }
  char* name = text;
  if (directory != nullptr) {
    if (!Copy(directory, text)) {
      return EmptyString();
    }
    name += directory->length;
    if (!IsSeparator(name[-1])) {
      *name++ = '/';
    }
  }
  if (!Copy(&file->name, name)) {
    return EmptyString();
  }
  name[file->name.length] = 0;
  return file->text = text;
}

// Lists a source file when its first block begins, unless a file of that base name is listed already.
void LineFiles::List(File* file) {
  file->isListed = true;
  char* baseName = BaseNameOf(file->text);
  const uint32_t hash = HashText(baseName);
  const auto hasName = [baseName](const DescFile* other) { return std::strcmp(other->baseName, baseName) == 0; };
  if (*baseName == 0 || filesByName_.Find<DescFile>(hash, hasName) != nullptr) {
    return;
  }
  auto* record = heap_->New<DescFile>();
  if (record == nullptr) {
    return;
  }
  if (!filesByName_.Insert(hash, record)) {
    failure_->NoteNoMemory();
  }
  record->baseName = baseName;
  record->fullName = file->text;
  (firstFile_ == nullptr ? firstFile_ : lastFile_->next) = record;
  lastFile_ = record;
}

LineFiles::File* LineFiles::FileOf(uint32_t number) {
  const uint32_t index = number - firstNumber_;
  return number >= firstNumber_ && index < files_.Count() ? &files_[index] : nullptr;
}

char* LineFiles::NameOf(uint32_t number) {
  File* file = FileOf(number);
  return file != nullptr ? TextOf(file) : EmptyString();
}

char* LineFiles::ListedNameOf(uint32_t number) {
  char* text = NameOf(number);
  File* file = FileOf(number);
  if (file != nullptr && !file->isListed && file->text != nullptr) {
    List(file);
  }
  return text;
}
