// The abstract loader of an object file format, and the host's classes that it works on.
#pragma once

#include "tarnixcore/component.h"
#include "tarnixcore/export.h"
#include "tarnixcore/heap.h"
#include "tarnixcore/target.h"

struct DescModule;

// What to load of a module: a set of bits. Loaders fill everything at once.
using SYM_DelayLoadKind = uint32_t;
enum : SYM_DelayLoadKind {
  SYM_LOAD_SYMBOLS = 1,
  SYM_LOAD_TYPES = 2,
  SYM_LOAD_LINES = 4,
  SYM_LOAD_ALL = 7,
};

// What a finder looks at. Any other value looks at the indexes only.
using FindKind = int;
enum : FindKind { FIND_ALL = 0, FIND_CODE = 1, FIND_DATA = 2 };

// Owns the debug records of one file: the table heap and the list of modules.
class TARNIX_API SymbolTable {
 public:
  SymbolTable();
  SymbolTable(const SymbolTable&) = delete;
  SymbolTable& operator=(const SymbolTable&) = delete;
  virtual ~SymbolTable();  // releases the heap; a derived class that owns more calls Reset(nullptr) in its own

  // Drops the modules, releases the heap and takes over `heap`, which may be null.
  void Reset(mem_desc* heap);
  // The first of the modules, which are in the table's heap; null for none.
  void SetModules(DescModule* modules) { modules_ = modules; }
  DescModule* Modules() const { return modules_; }
  mem_desc* Heap() const { return heap_; }

 protected:
  // Reset calls it, unless there are no modules, before it releases the table heap. A host program that knows the
  // records releases the heap of each module here.
  virtual void ReleaseModules(DescModule* modules);

 private:
  mem_desc* heap_ = nullptr;
  DescModule* modules_ = nullptr;
};

// A module in the user interface.
class TARNIX_API ItemInfo {
 public:
  explicit ItemInfo(DescModule* module) : module_(module) {}
  DescModule* Module() const { return module_; }

 private:
  DescModule* module_;
};

// The order of the virtual operations is the order of their slots, after those of Component. They return 1 when done
// and 0 when not, unless said otherwise, and throw nothing.
class TARNIX_API ObjFileLoader : public Component {
 public:
  explicit ObjFileLoader(const char* name);
  ~ObjFileLoader() override;
  // Closes the open file and opens `fileName`, which is searched for as FE_ABSOLUTE_FILES.
  virtual int Open(const char* fileName) = 0;
  // The name of the processor, cut to `size` characters, and the entry address.
  virtual int GetInfo(char* processorName, int size, unsigned long* entry) = 0;
  // Writes the program into the target. `reserved` is 0, `flags` a set of bits that the loader defines.
  virtual int LoadCode(Target* target, unsigned char reserved, unsigned long flags) = 0;
  // Hands `table` a new heap and the modules of the file, not filled yet.
  virtual int Build(SymbolTable* table) = 0;
  virtual int Suspend() = 0;
  // Fills the item's module. 0 also when there is nothing left to load.
  virtual int Extend(SymbolTable* table, ItemInfo* item, SYM_DelayLoadKind kinds) = 0;
  // Stores in `found` the first module, from `first` on, that has the name or the address. 0, with `found` unchanged,
  // when there is none; so these two do.
  virtual int FindModuleFromName(DescModule* first, const char* name, DescModule** found, FindKind kind);
  virtual int FindModuleFromAdr(DescModule* first, Address address, DescModule** found, FindKind kind);
  // Closes the file. The records stay in their heaps.
  virtual int Close() = 0;

 protected:
  void SetHeap(SymbolTable* table, mem_desc* heap) { table->Reset(heap); }
  void SetModules(SymbolTable* table, DescModule* modules) { table->SetModules(modules); }
  DescModule* GetModule(ItemInfo* item) { return item->Module(); }
};
