#include "host_run.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "json/record_json.h"
#include "loader/code_download.h"
#include "loader/elf_loader.h"
#include "session/session.h"
#include "support/environment.h"
#include "support/temp_folder.h"
#include "target/memory_target.h"
#include "tarnixcore/host_program.h"
#include "tarnixcore/text.h"

namespace {

// What records may take: bytes for each byte of the file, and for any file. A reader's allowance of work bounds them.
constexpr size_t HEAP_BYTES_PER_BYTE = 256;
constexpr size_t HEAP_BYTES = 32 << 20;
constexpr uint32_t SECTION_LIMIT = 0x100000;  // bytes; a host has room for no more

unsigned messages = 0;  // since the last build

[[noreturn]] void Fail(const char* what) {
  std::fprintf(stderr, "host run: %s\n", what);
  std::abort();
}

void SetHandlers() {
  HostHandlers handlers;
  handlers.message = [](void*, const char*) { ++messages; };
  handlers.messageBox = [](void*, const char*, const char*, unsigned) { return 1; };
  handlers.versionInfo = [](void*, const char*, unsigned long, const char*) {};
  HOST_SetHandlers(handlers);
}

int Open(ElfLoader& loader, const RawBytes& file, FileFrom from) {
  if (from == FileFrom::memory) {
    return loader.OpenMemory("hostile.elf", file.data(), file.size());
  }
  return loader.Open(TempFolder::OfProcess().Write("hostile.elf", file).c_str());
}

void Find(ElfLoader& loader, DescModule* first, const char* name, uint32_t address) {
  DescModule* found = nullptr;
  for (const FindKind kind : {FindKind{FIND_ALL}, FindKind{FIND_CODE}, FindKind{FIND_DATA}, FindKind{9}}) {
    loader.FindModuleFromName(first, name, &found, kind);
    loader.FindModuleFromAdr(first, {address, 0}, &found, kind);
  }
}

// Names and addresses that are in the file.
void FindWhatIsInTheFile(ElfLoader& loader, DescModule* first, const RawBytes& file) {
  for (size_t part = 1; part <= 4; ++part) {
    const size_t at = file.size() * part / 4;
    const size_t size = std::min<size_t>(at, 8);
    const std::string name(file.begin() + static_cast<std::ptrdiff_t>(at - size),
                           file.begin() + static_cast<std::ptrdiff_t>(at));
    uint32_t address = 0;
    for (const char byte : name.substr(0, 4)) {
      address = address << 8 | static_cast<uint8_t>(byte);
    }
    Find(loader, first, name.c_str(), address);
  }
  for (DescModule* module = first; module != nullptr; module = module->next) {
    const DescGlobalName* name = module->ext->globalNames;
    Find(loader, first, name != nullptr ? name->name : module->name, module->highPc - 1);
  }
}

void AskForSections(ElfLoader& loader) {
  for (const char* name : {".debug_info", ".debug", ".text", ""}) {
    Argument argument = {const_cast<char*>(name), 0, nullptr};
    if (loader.Execute(REQUEST_SECTION_BY_NAME, &argument) == 1 && argument.size <= SECTION_LIMIT) {
      std::vector<char> contents(argument.size);
      argument.buffer = contents.data();
      loader.Execute(REQUEST_SECTION_BY_NAME, &argument);
    }
  }
}

void WriteRecords(ElfLoader& loader, SymbolTable& table, elfload::Output& out) {
  elfload::JsonWriter json(out);
  elfload::RecordJson records(json, {.dwarf1 = loader.debugFormat == DEBUG_FORMAT_DWARF1,
                                     .littleEndian = elfload::ReadState(loader).littleEndian,
                                     .published = TE_WhichByKey("DWARFRULES", "LOADER|PUBLISHED", 0) == 1});
  json.BeginArray();
  for (DescModule* module = table.Modules(); module != nullptr; module = module->next) {
    ItemInfo item(module);
    records.WriteModule(module, loader.Extend(&table, &item, SYM_LOAD_ALL));
    if (module->loadedKinds != SYM_LOAD_ALL) {
      Fail("a filled unit does not say so");
    }
  }
  elfload::WriteSharedTypes(json, records.SharedTypes());
  json.EndArray();
}

size_t HeapBytes(const SymbolTable& table) {
  size_t bytes = table.Heap() != nullptr ? HEAP_BytesUsed(table.Heap()) : 0;
  for (const DescModule* module = table.Modules(); module != nullptr; module = module->next) {
    bytes += module->heap != nullptr ? HEAP_BytesUsed(module->heap) : 0;
  }
  return bytes;
}

void LoadIntoMemory(ElfLoader& loader) {
  elfload::MemoryTarget target;
  loader.LoadCode(&target, 0, LOAD_VERIFY_ALL | LOAD_NO_PROGRESS);
}

// The records of a sound file.
std::string RecordsOf(ElfLoader& loader, const RawBytes& file) {
  elfload::ModuleTable table;
  if (loader.OpenMemory("sound.elf", file.data(), file.size()) == 0 || loader.Build(&table) == 0) {
    Fail("a sound file is refused");
  }
  std::string text = RecordText(loader, table);
  loader.Close();
  return text;
}

struct SoundFile {
  RawBytes bytes;
  std::string records;  // as they are when nothing went before
};

const SoundFile& Sound(uint32_t number) {
  static const std::vector<SoundFile> files = [] {
    std::vector<SoundFile> made;
    for (const SoundRun& run : soundRuns) {
      const EnvironmentValue rules("DWARFRULES", run.rules);
      made.push_back({MakeSoundFile(run.format, run.order), ""});
      ElfLoader loader("ElfLoader");
      messages = 0;
      made.back().records = RecordsOf(loader, made.back().bytes);
      if (messages != 0) {
        Fail("a sound file is not read whole");
      }
    }
    return made;
  }();
  return files[number % SOUND_FILES];
}

void ExpectSoundWith(ElfLoader& loader, uint32_t number) {
  const EnvironmentValue rules("DWARFRULES", soundRuns[number % SOUND_FILES].rules);
  const SoundFile& sound = Sound(number);
  messages = 0;
  if (RecordsOf(loader, sound.bytes) != sound.records || messages != 0) {
    Fail("a sound file reads otherwise than alone");
  }
}

// By the rules of the environment.
RunFigures RunOnce(ElfLoader& loader, const RawBytes& file, FileFrom from) {
  static elfload::Output nowhere(nullptr);
  RunFigures figures;
  elfload::ModuleTable table;
  figures.opened = Open(loader, file, from) != 0;
  char processor[32];
  unsigned long entry = 0;
  loader.GetInfo(processor, sizeof(processor), &entry);
  AskForSections(loader);
  messages = 0;
  if (loader.Build(&table) != 0) {
    FindWhatIsInTheFile(loader, table.Modules(), file);
    WriteRecords(loader, table, nowhere);
  }
  if (messages > 1) {
    Fail("the user gets more than one message");
  }
  figures.heapBytes = HeapBytes(table);
  if (figures.heapBytes > HEAP_BYTES_PER_BYTE * file.size() + HEAP_BYTES) {
    Fail("the records take more memory than the file warrants");
  }
  LoadIntoMemory(loader);
  loader.Close();
  Find(loader, table.Modules(), "main", 0x100);
  return figures;
}

}  // namespace

std::string RecordText(ElfLoader& loader, SymbolTable& table) {
  static std::string text;
  static elfload::Output out(text);
  text.clear();
  WriteRecords(loader, table, out);
  out.Flush();
  return text;
}

void ExpectSound(uint32_t number) {
  ElfLoader loader("ElfLoader");
  ExpectSoundWith(loader, number);
}

RunFigures RunAsHost(const RawBytes& file, FileFrom from) {
  SetHandlers();
  const auto number = static_cast<uint32_t>(file.size());
  Sound(number);  // made before anything hostile is read

  const size_t heaps = HEAP_LiveCount();
  RunFigures figures;
  ElfLoader loader("ElfLoader");
  for (const char* rules : {"LOADER", "PUBLISHED"}) {
    const EnvironmentValue value("DWARFRULES", rules);
    const RunFigures once = RunOnce(loader, file, from);
    figures.opened = once.opened;
    figures.heapBytes = std::max(figures.heapBytes, once.heapBytes);
    ExpectSoundWith(loader, number);
  }
  if (HEAP_LiveCount() != heaps) {
    Fail("heaps are left over");
  }
  return figures;
}
