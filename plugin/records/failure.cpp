#include "records/failure.h"

#include <cstdio>

void Failure::Clear() {
  isSet_ = isOfMemory_ = false;
  offset_ = NO_OFFSET;
  section_ = nullptr;
  unit_[0] = 0;
  text_[0] = 0;
}

void Failure::Note(const char* section, uint32_t offset, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  NoteList(section, offset, format, arguments);
  va_end(arguments);
}

void Failure::NoteList(const char* section, uint32_t offset, const char* format, va_list arguments) {
  if (isSet_) {
    return;
  }
  isSet_ = true;
  section_ = section;
  offset_ = offset;
  std::snprintf(unit_, sizeof(unit_), "%s", currentUnit_ != nullptr ? currentUnit_ : "");
  std::vsnprintf(text_, sizeof(text_), format, arguments);
}
