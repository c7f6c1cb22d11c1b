#include "dwarf2/unit_names.h"

#include "tarnixcore/files.h"

void SetUnitNames(RecordHeap* moduleHeap, DescModule* module, const char* directory, const char* name) {
  char fullPath[FE_NAME_SIZE] = {};
  char directoryPart[FE_NAME_SIZE] = {};
  char baseName[FE_NAME_SIZE] = {};
  char extension[FE_EXTENSION_SIZE] = {};
  char fileName[FE_NAME_SIZE] = {};
  FE_BuildFileName(fullPath, directory, name, nullptr);
  FE_SplitFileName(fullPath, directoryPart, baseName, extension);
  FE_BuildFileName(fileName, nullptr, baseName, extension);
  module->name = moduleHeap->CopyText(fileName, std::strlen(fileName));
  module->directory = moduleHeap->CopyText(directoryPart, std::strlen(directoryPart));
}
