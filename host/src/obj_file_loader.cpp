// The classes that a loader meets: its own base, the symbol table and the target.
#include "tarnixcore/obj_file_loader.h"

#include "tarnixcore/host_program.h"

namespace {

Target* theTarget = nullptr;

}  // namespace

SymbolTable::SymbolTable() = default;

SymbolTable::~SymbolTable() {
  heap_ = HEAP_Release(heap_);
}

void SymbolTable::Reset(mem_desc* heap) {
  if (modules_ != nullptr) {
    ReleaseModules(modules_);
    modules_ = nullptr;
  }
  if (heap_ != heap) {
    HEAP_Release(heap_);
    heap_ = heap;
  }
}

void SymbolTable::ReleaseModules(DescModule* /*modules*/) {}

ObjFileLoader::ObjFileLoader(const char* name) : Component(name) {}

ObjFileLoader::~ObjFileLoader() = default;

int ObjFileLoader::FindModuleFromName(DescModule* /*first*/, const char* /*name*/, DescModule** /*found*/,
                                      FindKind /*kind*/) {
  return 0;
}

int ObjFileLoader::FindModuleFromAdr(DescModule* /*first*/, Address /*address*/, DescModule** /*found*/,
                                     FindKind /*kind*/) {
  return 0;
}

Target::Target() = default;

Target::~Target() = default;

int Target::TargetCapabilities(int /*code*/, const char* /*text*/) {
  return 0;
}

int Target::Control(int /*request*/) {
  return 0;
}

int Target::CheckMemory(uint32_t /*first*/, uint32_t /*last*/, const char* /*name*/, int /*memoryType*/) {
  return 1;
}

Target* GetTheTarget() {
  return theTarget;
}

void HOST_SetTarget(Target* target) {
  theTarget = target;
}
