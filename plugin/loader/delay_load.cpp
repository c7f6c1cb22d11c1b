// Delay load: fills a module when the host first needs it, and settles what only the whole module tells.
#include "dwarf1/dwarf1_reader.h"
#include "dwarf2/dwarf2_reader.h"
#include "elf/elf_image.h"
#include "loader/elf_loader.h"
#include "loader/line_info_procs.h"
#include "loader/shared_types.h"
#include "loader/type_size.h"
#include "records/debug_records.h"

namespace {

constexpr uint32_t BITS_PER_BYTE = 8;

void SettleArrays(DescModuleExt* ext) {
  if (ext->pendingArrays == nullptr) {
    return;
  }
  for (void* data = L_First(ext->pendingArrays); data != nullptr; data = L_Next(ext->pendingArrays)) {
    SettleArray(static_cast<DescType*>(data));
  }
  L_FreeList(&ext->pendingArrays, L_Nop);
}

// Turns a count from the high end of the storage unit into one from its low end, in 8 bits.
void RenumberBits(DescVar* field) {
  if (field->byteSize == 0) {
    field->byteSize = TypeSize(field->type);
  }
  field->bitOffset =
      static_cast<uint8_t>(static_cast<uint32_t>(field->byteSize) * BITS_PER_BYTE - field->bitSize - field->bitOffset);
}

void SettleBitFields(DescModuleExt* ext) {
  if (ext->pendingFields == nullptr) {
    return;
  }
  if (ext->bitNumbering > 1) {
    for (void* data = L_First(ext->pendingFields); data != nullptr; data = L_Next(ext->pendingFields)) {
      RenumberBits(static_cast<DescVar*>(data));
    }
  }
  L_FreeList(&ext->pendingFields, L_Nop);
}

void SettleSizes(DescVar* variables) {
  for (DescVar* variable = variables; variable != nullptr; variable = variable->next) {
    variable->byteSize = TypeSize(variable->type);
  }
}

}  // namespace

int ElfLoader::FillModule(DescModule* module, L_list* ranges) {
  if (image == nullptr || ranges == nullptr || sharedTypes_ == nullptr) {
    return 0;
  }
  sharedTypes_->PutBack();
  switch (debugFormat) {
    case DEBUG_FORMAT_DWARF1:
      return FillDwarf1Module(image, module, ranges);
    case DEBUG_FORMAT_DWARF2:
      return FillDwarf2Module(image, module, ranges);
    default:
      return 0;
  }
}

int ElfLoader::Extend(SymbolTable* /*table*/, ItemInfo* item, SYM_DelayLoadKind kinds) {
  return Extend(GetModule(item), kinds);
}

int ElfLoader::Extend(DescModule* module, SYM_DelayLoadKind kinds) {
  if (module == nullptr || (kinds & ~module->loadedKinds) == 0) {
    return 0;
  }
  L_list* ranges = L_Create(nullptr);
  if (FillModule(module, ranges) == 0) {
    L_FreeList(&ranges, L_Nop);
    ReportError();
    return 0;
  }
  const bool isCovered = AddLineInfoProcs(module, ranges, &image->file->Work());
  SettleArrays(module->ext);
  SettleBitFields(module->ext);
  SettleSizes(module->vars);
  for (DescProc* proc = module->procs; proc != nullptr; proc = proc->next) {
    SettleSizes(proc->locals);
  }
  L_FreeList(&ranges, L_Nop);
  if (!isCovered) {
    ReportError();
    return 0;
  }
  return 1;
}
