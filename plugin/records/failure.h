// The first failure of an operation: what is wrong, in which unit, where in the file.
//
//   Failure failure;
//   failure.Clear();
//   failure.Note(".debug_info", offset, "form 0x%X is unassigned", form);  // the first reason is kept
//   if (failure) return 0;
//
// A failure stops nothing by itself: the loops of the readers test it, and the entry operation reports once at its end.
// What was read before it is kept.
#pragma once

#include <cstdarg>
#include <cstdint>

#if defined(__GNUC__)
#define ELFLOADER_PRINTF(text, arguments) __attribute__((format(printf, text, arguments)))
#else
#define ELFLOADER_PRINTF(text, arguments)
#endif

class Failure {
 public:
  static constexpr uint32_t NO_OFFSET = 0xFFFFFFFF;

  explicit operator bool() const { return isSet_; }

  void Clear();

  // The name of the unit that is being read; null between units. Kept by a failure that is noted from now on. The text
  // must live until the next call.
  void SetUnit(const char* name) { currentUnit_ = name; }

  // Sets the failure if it is the first since Clear. `section` is a text of static life or null; `offset` is counted
  // from the start of the section.
  void Note(const char* section, uint32_t offset, const char* format, ...) ELFLOADER_PRINTF(4, 5);

  void NoteList(const char* section, uint32_t offset, const char* format, va_list arguments);

  // What every failed allocation of a reader notes.
  void NoteNoMemory(const char* section = nullptr, uint32_t offset = NO_OFFSET,
                    const char* what = "no memory for the records") {
    isOfMemory_ = isOfMemory_ || !isSet_;
    Note(section, offset, "%s", what);
  }
  bool IsOfMemory() const { return isOfMemory_; }  // whether the failure is that there was no memory

  // Moves the failure, if there is one, to `first` unless that has one already, so that the operation can go on with
  // its other parts. A failure of memory stays.
  void SetAside(Failure* first) {
    if (!isSet_ || isOfMemory_) {
      return;
    }
    if (!*first) {
      *first = *this;
    }
    Clear();
  }

  const char* Text() const { return text_; }
  const char* Unit() const { return unit_; }        // empty when no unit was being read
  const char* Section() const { return section_; }  // null for none
  uint32_t Offset() const { return offset_; }       // NO_OFFSET for none

 private:
  bool isSet_ = false;
  bool isOfMemory_ = false;
  uint32_t offset_ = NO_OFFSET;
  const char* section_ = nullptr;
  const char* currentUnit_ = nullptr;
  char unit_[128] = {};
  char text_[128] = {};
};

// What is read during its life begins without a failure, so that one before it stops nothing. The first of all is kept,
// but for one of memory, which is never lost.
class SeparateFailure {
 public:
  explicit SeparateFailure(Failure* failure) : failure_(failure), before_(*failure) { failure->Clear(); }
  SeparateFailure(const SeparateFailure&) = delete;
  SeparateFailure& operator=(const SeparateFailure&) = delete;
  ~SeparateFailure() {
    if (before_ && !failure_->IsOfMemory()) {
      *failure_ = before_;
    }
  }

 private:
  Failure* failure_;
  Failure before_;
};
