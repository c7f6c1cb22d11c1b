// The component that a host drives: it opens an absolute ELF file, builds the list of modules, fills a module when it
// is first needed, finds the module that holds a name or an address, and loads code into the target.
//
//   auto* loader = static_cast<ObjFileLoader*>(GetComponent());
//   loader->Open("main.elf") && loader->Build(&table);
//   ItemInfo item(table.Modules());
//   loader->Extend(&table, &item, SYM_LOAD_ALL);
//
// Operations return 1 for success and 0 for failure, and throw nothing. The operations of one loader must not overlap;
// several loaders may work at the same time, each in a thread of its own.
#pragma once

#include <cstddef>
#include <memory>

#include "tarnixcore/obj_file_loader.h"

struct DescModule;
struct ElfImage;
struct L_list;
struct LoaderState;

enum DebugFormat : uint32_t { DEBUG_FORMAT_NONE = 0, DEBUG_FORMAT_DWARF1 = 1, DEBUG_FORMAT_DWARF2 = 2 };

constexpr uint32_t ELF_LOADER_VERSION = 0x601001D;  // 6.1.29: a byte, a byte, 16 bits
constexpr uint32_t COMPONENT_INTERFACE_VERSION = 0x60001;
constexpr int ELF_LOADER_TYPE = 4;
constexpr int REQUEST_SECTION_BY_NAME = 1001;

class TARNIX_EXPORT ElfLoader : public ObjFileLoader {
 public:
  explicit ElfLoader(const char* name);  // throws std::bad_alloc
  ElfLoader(const ElfLoader&) = delete;
  ElfLoader& operator=(const ElfLoader&) = delete;
  ~ElfLoader() override;

  int Type() override;

  // Request 1001 hands out a section by name: `size` is set, 0 for a missing section, and `buffer` filled unless it is
  // null; 0 with no open image. Request 1002 hands out the last failure (loader/loader_failure.h), request 1003 what a
  // unit says of itself (loader/loader_unit.h). 0 for any other.
  int Execute(int request, Argument* argument) override;

  // Runs a line of the command table; its one command is VER.
  int Execute(char* commandLine) override;

  // Closes what is open, opens `fileName` and decides the debug format by the sections of the file.
  int Open(const char* fileName) override;

  // The same for a file that is in memory already. The bytes must stay as they are until Close or the next Open.
  // `name` serves as the name of the file; no directory is recorded, and no source file is compared with it.
  int OpenMemory(const char* name, const void* bytes, size_t size);

  // The name of the processor and the entry address. 0, with the entry set, for a processor that the loader does not
  // know; 0, with both left alone, for an image without a program header table.
  int GetInfo(char* processorName, int size, unsigned long* entry) override;

  // Checks, writes and verifies the program segments and sets the start address. `flags` is a set of LoadCodeFlag.
  int LoadCode(Target* target, unsigned char reserved, unsigned long flags) override;

  // Hands a new heap and the list of modules to `table`. The modules are not filled.
  int Build(SymbolTable* table) override;

  int Suspend() override;

  // Fills a module. 1 when a fill ran and succeeded; 0 also when nothing was left to load.
  int Extend(SymbolTable* table, ItemInfo* item, SYM_DelayLoadKind kinds) override;
  int Extend(DescModule* module, SYM_DelayLoadKind kinds);

  // The first module from `first` on that holds the name or the address, filled. 0 with `found` left alone when there
  // is none.
  int FindModuleFromName(DescModule* first, const char* name, DescModule** found, FindKind kind) override;
  int FindModuleFromAdr(DescModule* first, Address address, DescModule** found, FindKind kind) override;

  int Close() override;

  // Read by the host, written by the loader only.
  uint32_t debugFormat = DEBUG_FORMAT_NONE;  // set by Open
  uint32_t errorReported = 0;                // 1 once this build's warning was shown
  char* absFileName = nullptr;               // as the host named it in the last successful Open
  ElfImage* image = nullptr;                 // null when no file is open

 private:
  friend struct LoaderTestAccess;

  int TakeImage(const char* fileName);
  int HandOutSection(Argument* argument);
  int HandOutFailure(Argument* argument);
  int HandOutUnit(Argument* argument) const;
  int ReadModules(mem_desc* tableHeap, DescModule** modules);
  void SetObjectFile(DescModule* modules);
  int FillModule(DescModule* module, L_list* ranges);
  void SettleModule(DescModule* module, L_list* ranges);
  int Fail();
  int ReportError(bool hasDebugInformation);

  template <typename Question>
  DescModule* FindModule(DescModule* first, const Question& question);

  std::unique_ptr<LoaderState> state_;
};
