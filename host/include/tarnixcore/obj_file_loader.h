// The abstract loader of an object file format, and the host's classes that it works on.
#pragma once

#include "tarnixcore/component.h"
#include "tarnixcore/export.h"
#include "tarnixcore/heap.h"
#include "tarnixcore/target.h"

struct DescModule;

// What to load of a module: a bit set. Loaders fill everything at once.
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

  // Drops the old contents and takes over `heap`.
  void Reset(mem_desc* heap);
  void SetModules(DescModule* modules) { modules_ = modules; }
  DescModule* Modules() const { return modules_; }
  mem_desc* Heap() const { return heap_; }

 protected:
  // Called by Reset before the table heap goes: a host program that knows the records releases each module's heap.
  virtual void ReleaseModules(DescModule* modules);

 private:
  mem_desc* heap_ = nullptr;
  DescModule* modules_ = nullptr;
};

// What the user interface holds of a module.
class TARNIX_API ItemInfo {
 public:
  explicit ItemInfo(DescModule* module) : module_(module) {}
  DescModule* Module() const { return module_; }

 private:
  DescModule* module_;
};

// Virtual operations stand in slot order, behind those of Component.
class TARNIX_API ObjFileLoader : public Component {
 public:
  explicit ObjFileLoader(const char* name);
  ~ObjFileLoader() override;
  virtual int Open(const char* fileName) = 0;
  virtual int GetInfo(char* processorName, int size, unsigned long* entry) = 0;
  virtual int LoadCode(Target* target, unsigned char reserved, unsigned long flags) = 0;
  virtual int Build(SymbolTable* table) = 0;
  virtual int Suspend() = 0;
  virtual int Extend(SymbolTable* table, ItemInfo* item, SYM_DelayLoadKind kinds) = 0;
  virtual int FindModuleFromName(DescModule* first, const char* name, DescModule** found, FindKind kind);
  virtual int FindModuleFromAdr(DescModule* first, Address address, DescModule** found, FindKind kind);
  virtual int Close() = 0;

 protected:
  void SetHeap(SymbolTable* table, mem_desc* heap) { table->Reset(heap); }
  void SetModules(SymbolTable* table, DescModule* modules) { table->SetModules(modules); }
  DescModule* GetModule(ItemInfo* item) { return item->Module(); }
};
