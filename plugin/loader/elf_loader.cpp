// The component's shell: opening, module list, processor, commands, closing.
#include "loader/elf_loader.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "elf/sections.h"
#include "loader/loader_failure.h"
#include "loader/loader_state.h"
#include "loader/loader_unit.h"
#include "loader/processors.h"
#include "loader/unique_names.h"
#include "records/desc_module.h"
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

// A file that has both formats is read as DWARF 2. A section of size 0 counts as well.
uint32_t DecideDebugFormat(const ElfImage* image) {
  if (ELF_FindSection(image, ".debug_info") != nullptr) {
    return DEBUG_FORMAT_DWARF2;
  }
  return ELF_FindSection(image, ".debug") != nullptr ? DEBUG_FORMAT_DWARF1 : DEBUG_FORMAT_NONE;
}

// The size of the type int in bytes. An image without a program header table names no machine.
int32_t IntSizeOf(const ElfImage* image) {
  uint32_t machine = 0;
  uint32_t programHeaderCount = 0;
  uint32_t entry = 0;
  ELF_GetMachine(image, &machine, &programHeaderCount, &entry);
  return FindProcessor(machine, NOTE_VALUE_DEFAULT).intSize;
}

// The host's choice for this build.
const Dwarf2Rules& ChosenRules() {
  constexpr int PUBLISHED = 1;
  return TE_WhichByKey("DWARFRULES", "LOADER|PUBLISHED", 0) == PUBLISHED ? publishedRules : loaderRules;
}

static_assert(uint32_t{UNIT_COMPILE} == static_cast<uint32_t>(UnitKind::compile) &&
              uint32_t{UNIT_PARTIAL} == static_cast<uint32_t>(UnitKind::partial) &&
              uint32_t{UNIT_TYPE} == static_cast<uint32_t>(UnitKind::type) &&
              uint32_t{UNIT_SKELETON} == static_cast<uint32_t>(UnitKind::skeleton));

char* CopyText(const char* text) {
  const size_t size = std::strlen(text) + 1;
  auto* copy = static_cast<char*>(std::malloc(size));
  if (copy != nullptr) {
    std::memcpy(copy, text, size);
  }
  return copy;
}

}  // namespace

ElfLoader::ElfLoader(const char* name) : ObjFileLoader(name), state_(std::make_unique<LoaderState>()) {}

ElfLoader::~ElfLoader() {
  ElfLoader::Close();
  std::free(absFileName);
}

int ElfLoader::Type() {
  return ELF_LOADER_TYPE;
}

int ElfLoader::Execute(char* commandLine) {
  return ExecCommandTableH(this, commandLine, commandTable);
}

int ElfLoader::Execute(int request, Argument* argument) {
  switch (request) {
    case REQUEST_SECTION_BY_NAME:
      return HandOutSection(argument);
    case REQUEST_LAST_FAILURE:
      return HandOutFailure(argument);
    case REQUEST_UNIT:
      return HandOutUnit(argument);
    default:
      return 0;
  }
}

// Bytes that the file does not have leave the buffer as it was.
int ElfLoader::HandOutSection(Argument* argument) {
  if (image == nullptr) {
    return 0;
  }
  const ElfSectionHeader* section = ELF_FindSection(image, argument->name);
  argument->size = section != nullptr ? section->sh_size : 0;
  if (argument->size != 0 && argument->buffer != nullptr) {
    image->file->ReadAt(section->sh_offset, argument->buffer, argument->size);
  }
  return 1;
}

int ElfLoader::HandOutFailure(Argument* argument) {
  const Failure& failure = state_->lastFailure;
  const uint32_t room = argument->size;
  argument->size = sizeof(LoaderFailure);
  if (!failure) {
    return 0;
  }
  LoaderFailure reason = {};
  TU_strncpy(reason.text, failure.Text(), sizeof(reason.text));
  TU_strncpy(reason.unit, failure.Unit(), sizeof(reason.unit));
  TU_strncpy(reason.section, failure.Section(), sizeof(reason.section));
  static_assert(LOADER_FAILURE_NO_OFFSET == Failure::NO_OFFSET);
  reason.offset = failure.Offset();
  if (argument->buffer != nullptr) {
    std::memcpy(argument->buffer, &reason, std::min<size_t>(room, sizeof(reason)));
  }
  return 1;
}

int ElfLoader::HandOutUnit(Argument* argument) const {
  LoaderUnit facts = {};
  if (debugFormat != DEBUG_FORMAT_DWARF2 || argument->buffer == nullptr || argument->size < sizeof(facts)) {
    return 0;
  }
  std::memcpy(&facts, argument->buffer, sizeof(facts));
  if (facts.anyModule == nullptr) {
    return 0;
  }
  const UnitDirectory& units = Dwarf2BuildOf(facts.anyModule)->units;
  if (facts.number >= units.Count()) {
    return 0;
  }
  const UnitPlace& unit = units[facts.number];
  facts.kind = static_cast<uint32_t>(unit.kind);
  facts.module = unit.module;
  facts.producer = unit.producer != nullptr ? unit.producer : EmptyString();
  facts.version = unit.version;
  facts.language = unit.language;
  facts.addressSize = unit.addressSize;
  facts.offsetSize = unit.offsetSize;
  facts.offset = unit.start;
  std::memcpy(argument->buffer, &facts, sizeof(facts));
  return 1;
}

int ElfLoader::Open(const char* fileName) {
  Close();
  char fullPath[FE_NAME_SIZE] = {};
  image = ELF_Open(fileName, fullPath, sizeof(fullPath), &state_->failure);
  char directory[FE_NAME_SIZE] = {};
  char baseName[FE_NAME_SIZE] = {};
  char extension[FE_EXTENSION_SIZE] = {};
  FE_SplitFileName(fullPath, directory, baseName, extension);
  SetAbsFileDir(directory);
  return TakeImage(fileName);
}

int ElfLoader::OpenMemory(const char* name, const void* bytes, size_t size) {
  Close();
  std::unique_ptr<ByteSource> source = ByteSource::FromMemory(bytes, size);
  if (source != nullptr) {
    image = ELF_OpenSource(std::move(source), &state_->failure);
  } else {
    state_->failure.NoteNoMemory();
  }
  return TakeImage(name);
}

// The end of both ways to open a file. `image` is null when the file was refused.
int ElfLoader::TakeImage(const char* fileName) {
  state_->lastFailure.Clear();
  char* name = image != nullptr ? CopyText(fileName) : nullptr;
  if (name == nullptr) {
    state_->failure.NoteNoMemory();  // unless there is a reason already
    Fail();
    Close();
    return 0;
  }
  debugFormat = DecideDebugFormat(image);
  state_->dwarf1.Open(debugFormat == DEBUG_FORMAT_DWARF1 ? image : nullptr);
  state_->dwarf2.Open(debugFormat == DEBUG_FORMAT_DWARF2 ? image : nullptr);
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
  if (processorName != nullptr) {
    TU_strncpy(processorName, FindProcessor(machine, image->noteValue).name, size);
  }
  Target* target = GetTheTarget();
  if (target != nullptr) {
    target->TargetCapabilities(TARGET_NOTE_TEXT, image->noteText);
  }
  return processorName != nullptr && processorName[0] != 0 ? 1 : 0;
}

int ElfLoader::ReadModules(mem_desc* tableHeap, DescModule** modules) {
  if (tableHeap == nullptr) {
    state_->failure.NoteNoMemory();
    return 0;
  }
  if (image == nullptr) {
    state_->failure.Note(nullptr, Failure::NO_OFFSET, "no file is open");
    return 0;
  }
  switch (debugFormat) {
    case DEBUG_FORMAT_DWARF1:
      return state_->dwarf1.ReadModules(tableHeap, modules, IntSizeOf(image));
    case DEBUG_FORMAT_DWARF2:
      return state_->dwarf2.ReadModules(tableHeap, modules, ChosenRules());
    default:
      state_->failure.Note(nullptr, Failure::NO_OFFSET, "the file has no debug information");
      return 0;
  }
}

int ElfLoader::Build(SymbolTable* table) {
  errorReported = 0;
  state_->names.Reset(nullptr);
  state_->failure.Clear();
  state_->lastFailure.Clear();
  mem_desc* tableHeap = HEAP_Create(0, 0, 0);
  SetHeap(table, tableHeap);
  DescModule* modules = nullptr;
  if (ReadModules(tableHeap, &modules) == 0) {
    ReleaseModuleHeaps(modules);  // the table keeps its new heap and no modules
    return ReportError(debugFormat != DEBUG_FORMAT_NONE);
  }
  if (state_->failure) {  // a part of the file could not be read; the rest is good
    ReportError(true);
  }
  SetObjectFile(modules);
  MakeUnique(modules, &state_->allowance);
  SetModules(table, modules);
  state_->names.Reset(modules);
  return 1;
}

// Every module has the file by the name that the host used, not by its full path. Without memory the name is empty.
void ElfLoader::SetObjectFile(DescModule* modules) {
  const size_t size = std::strlen(absFileName) + 1;
  for (DescModule* module = modules; module != nullptr; module = module->next) {
    if (module->objectFile != nullptr && (module->objectFile[0] != 0 || module->heap == nullptr)) {
      continue;
    }
    void* copy = module->heap != nullptr ? HEAP_Get(module->heap, size) : nullptr;
    module->objectFile = copy != nullptr ? static_cast<char*>(std::memcpy(copy, absFileName, size)) : EmptyString();
  }
}

// Keeps the reason of the operation for a host that asks for it.
int ElfLoader::Fail() {
  state_->lastFailure = state_->failure;
  return 0;
}

// Fails, and warns the user once for each build.
int ElfLoader::ReportError(bool hasDebugInformation) {
  if (errorReported == 0) {
    errorReported = 1;
    DB_Message(hasDebugInformation ? ERROR_IN_OBJECT_FILE : NO_DEBUG_INFORMATION);
  }
  return Fail();
}

int ElfLoader::Suspend() {
  return 1;
}

int ElfLoader::Close() {
  state_->failure.Clear();
  state_->dwarf1.Open(nullptr);
  state_->dwarf2.Open(nullptr);
  if (image != nullptr) {
    ELF_Close(image);
    image = nullptr;
  }
  return 1;
}
