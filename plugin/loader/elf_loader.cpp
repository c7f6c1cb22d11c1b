// The component's shell: opening, module list, processor, commands, closing.
#include "loader/elf_loader.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "dwarf1/dwarf1_reader.h"
#include "dwarf2/dwarf2_reader.h"
#include "elf/section_access.h"
#include "loader/processors.h"
#include "loader/shared_types.h"
#include "loader/unique_names.h"
#include "records/debug_records.h"
#include "records/empty_string.h"
#include "tarnixcore/files.h"
#include "tarnixcore/messages.h"
#include "tarnixcore/text.h"

namespace {

constexpr int BUILD_NUMBER = 3249;
constexpr int TARGET_NOTE_TEXT = 29;  // TargetCapabilities: the note text of the absolute file

constexpr char NO_DEBUG_INFORMATION[] = "!Warning: No debug information";
constexpr char ERROR_IN_OBJECT_FILE[] = "!Warning: Error in object file (debug information)";

int ShowVersion(Component* /*component*/, char* /*arguments*/) {
  char text[32];
  std::snprintf(text, sizeof(text), " Build %d", BUILD_NUMBER);
  DisplayVersionInfo("ElfLoader", ELF_LOADER_VERSION, text);
  return 1;
}

constexpr Disp_CmdTableH commandTable[] = {
    {"VER", ShowVersion, "-", ""},
    {nullptr, nullptr, nullptr, nullptr},
};

// A file that has both formats is read as DWARF 2. A section of size 0 counts as there.
uint32_t DecideDebugFormat(const ElfImage* image) {
  if (ELF_FindSection(image, ".debug_info") != nullptr) {
    return DEBUG_FORMAT_DWARF2;
  }
  return ELF_FindSection(image, ".debug") != nullptr ? DEBUG_FORMAT_DWARF1 : DEBUG_FORMAT_NONE;
}

char* CopyText(const char* text) {
  const size_t size = std::strlen(text) + 1;
  auto* copy = static_cast<char*>(std::malloc(size));
  if (copy != nullptr) {
    std::memcpy(copy, text, size);
  }
  return copy;
}

}  // namespace

ElfLoader::ElfLoader(const char* name) : ObjFileLoader(name) {}

ElfLoader::~ElfLoader() {
  DropLookupIndex();
  if (image != nullptr) {
    ELF_Close(image);
  }
  std::free(absFileName);
  std::free(sharedTypes_);
}

int ElfLoader::Type() {
  return ELF_LOADER_TYPE;
}

int ElfLoader::Execute(char* commandLine) {
  return ExecCommandTableH(this, commandLine, commandTable);
}

int ElfLoader::Execute(int request, Argument* argument) {
  if (request != REQUEST_SECTION_BY_NAME || image == nullptr) {
    return 0;
  }
  argument->size = ELF_SectionSize(image, argument->name);
  if (argument->size == 0 || argument->buffer == nullptr) {
    return 1;
  }
  if (ELF_SeekSection(image, 0, argument->name) == 0) {
    return 0;
  }
  uint32_t countRead = 0;
  return ELF_ReadBlock(image, argument->buffer, argument->size, &countRead);
}

int ElfLoader::Open(const char* fileName) {
  Close();
  char fullPath[FE_NAME_SIZE] = {};
  image = ELF_Open(fileName, fullPath, sizeof(fullPath));
  char directory[FE_NAME_SIZE] = {};
  char baseName[FE_NAME_SIZE] = {};
  char extension[FE_EXTENSION_SIZE] = {};
  FE_SplitFileName(fullPath, directory, baseName, extension);
  SetAbsFileDir(directory);
  if (image == nullptr) {
    return 0;
  }
  char* name = CopyText(fileName);
  if (name == nullptr) {
    Close();
    return 0;
  }
  debugFormat = DecideDebugFormat(image);
  std::free(absFileName);
  absFileName = name;
  return 1;
}

int ElfLoader::GetInfo(char* processorName, int size, unsigned long* entry) {
  uint32_t machine = 0;
  uint32_t programHeaderCount = 0;
  uint32_t entryAddress = 0;
  if (image == nullptr || ELF_GetMachine(image, &machine, &programHeaderCount, &entryAddress) == 0) {
    return 0;
  }
  *entry = entryAddress;
  uint32_t noteValue = 0;
  ELF_NoteValue(image, &noteValue);
  if (processorName != nullptr) {
    TU_strncpy(processorName, FindProcessor(machine, noteValue).name, size);
  }
  Target* target = GetTheTarget();
  if (target != nullptr) {
    char* noteText = nullptr;
    ELF_NoteText(image, &noteText);
    target->TargetCapabilities(TARGET_NOTE_TEXT, noteText);
  }
  return processorName != nullptr && processorName[0] != 0 ? 1 : 0;
}

int ElfLoader::ReadModules(mem_desc* tableHeap, DescModule** modules) {
  if (sharedTypes_ == nullptr) {
    sharedTypes_ = static_cast<SharedTypes*>(std::malloc(sizeof(SharedTypes)));
  }
  if (image == nullptr || tableHeap == nullptr || sharedTypes_ == nullptr) {
    return 0;
  }
  switch (debugFormat) {
    case DEBUG_FORMAT_DWARF1: {
      // An image without a program header table tells no machine, which stands for an unknown one.
      uint32_t machine = 0;
      uint32_t programHeaderCount = 0;
      uint32_t entry = 0;
      ELF_GetMachine(image, &machine, &programHeaderCount, &entry);
      return ReadDwarf1Modules(image, tableHeap, modules, FindProcessor(machine, NOTE_VALUE_DEFAULT).intSize);
    }
    case DEBUG_FORMAT_DWARF2:
      return ReadDwarf2Modules(image, tableHeap, modules);
    default:
      return 0;
  }
}

int ElfLoader::Build(SymbolTable* table) {
  errorReported = 0;
  lookups_ = 0;
  DropLookupIndex();
  mem_desc* tableHeap = HEAP_Create(0, 0, 0);
  SetHeap(table, tableHeap);
  DescModule* modules = nullptr;
  if (ReadModules(tableHeap, &modules) == 0) {
    return FailBuild(modules);
  }
  sharedTypes_->Keep();
  if (!SetObjectFile(modules) || !MakeUnique(modules)) {
    return FailBuild(modules);
  }
  SetModules(table, modules);
  return 1;
}

// Every module shows the file by the name that the host gave, not by its full path.
bool ElfLoader::SetObjectFile(DescModule* modules) {
  bool isWhole = true;
  const size_t size = std::strlen(absFileName) + 1;
  for (DescModule* module = modules; module != nullptr; module = module->next) {
    if (module->objectFile != nullptr && (module->objectFile[0] != 0 || module->heap == nullptr)) {
      continue;
    }
    auto* name = module->heap != nullptr ? static_cast<char*>(HEAP_Get(module->heap, size)) : nullptr;
    if (name != nullptr) {
      std::memcpy(name, absFileName, size);
    }
    module->objectFile = name != nullptr ? name : EmptyString();
    isWhole = isWhole && name != nullptr;
  }
  return isWhole;
}

// The module heaps go; the table keeps its new heap and no modules.
int ElfLoader::FailBuild(DescModule* modules) {
  for (DescModule* module = modules; module != nullptr; module = module->next) {
    if (module->heap != nullptr) {
      module->heap = HEAP_Release(module->heap);
    }
  }
  errorReported = 1;
  DB_Message(debugFormat == DEBUG_FORMAT_NONE ? NO_DEBUG_INFORMATION : ERROR_IN_OBJECT_FILE);
  return 0;
}

void ElfLoader::ReportError() {
  if (errorReported == 0) {
    errorReported = 1;
    DB_Message(ERROR_IN_OBJECT_FILE);
  }
}

int ElfLoader::Suspend() {
  return 1;
}

int ElfLoader::Close() {
  if (image != nullptr) {
    ELF_Close(image);
    image = nullptr;
  }
  return 1;
}
