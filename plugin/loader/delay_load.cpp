// Delay load: fills a module when the host first needs it, and settles what needs the whole module.
#include "loader/elf_loader.h"
#include "loader/line_info_procs.h"
#include "loader/loader_state.h"
#include "records/desc_module.h"
#include "records/type_size.h"

namespace {

constexpr uint32_t BITS_PER_BYTE = 8;

void SettleArrays(DescModuleExt* ext, Allowance* allowance) {
  for (void* data = L_First(ext->pendingArrays); data != nullptr; data = L_Next(ext->pendingArrays)) {
    SettleArray(static_cast<DescType*>(data), allowance);
  }
  L_FreeList(&ext->pendingArrays, L_Nop);
}

// Turns a count from the high end of the storage unit into one from its low end, in 8 bits.
void RenumberBits(DescVar* field, Allowance* allowance) {
  if (field->byteSize == 0) {
    field->byteSize = TypeSize(field->type, allowance);
  }
  field->bitOffset =
      static_cast<uint8_t>(static_cast<uint32_t>(field->byteSize) * BITS_PER_BYTE - field->bitSize - field->bitOffset);
}

void SettleBitFields(DescModuleExt* ext, Allowance* allowance) {
  if (ext->bitNumbering > 1) {
    for (void* data = L_First(ext->pendingFields); data != nullptr; data = L_Next(ext->pendingFields)) {
      RenumberBits(static_cast<DescVar*>(data), allowance);
    }
  }
  L_FreeList(&ext->pendingFields, L_Nop);
}

void SettleSizes(DescVar* variables, Allowance* allowance) {
  for (DescVar* variable = variables; variable != nullptr; variable = variable->next) {
    variable->byteSize = TypeSize(variable->type, allowance);
  }
}

}  // namespace

int ElfLoader::FillModule(DescModule* module, L_list* ranges) {
  if (image == nullptr) {
    state_->failure.Note(nullptr, Failure::NO_OFFSET, "no file is open");
    return 0;
  }
  switch (debugFormat) {
    case DEBUG_FORMAT_DWARF1:
      return state_->dwarf1.FillModule(module, ranges);
    case DEBUG_FORMAT_DWARF2:
      return state_->dwarf2.FillModule(module, ranges);
    default:
      state_->failure.Note(nullptr, Failure::NO_OFFSET, "the file has no debug information");
      return 0;
  }
}

// What follows a fill that succeeded. Work that the file does not warrant fails it after all.
void ElfLoader::SettleModule(DescModule* module, L_list* ranges) {
  Allowance* allowance = &state_->allowance;
  AddLineInfoProcs(module, ranges, BuildOf(module)->coversOnlyRows, allowance);
  SettleArrays(module->ext, allowance);
  SettleBitFields(module->ext, allowance);
  SettleSizes(module->vars, allowance);
  for (DescProc* proc = module->procs; proc != nullptr; proc = proc->next) {
    SettleSizes(proc->locals, allowance);
  }
  if (!allowance->IsLeft()) {
    state_->failure.SetUnit(module->name);
    state_->failure.Note(nullptr, Failure::NO_OFFSET, "types or line ranges are gone through over and over");
    state_->failure.SetUnit(nullptr);
  }
}

int ElfLoader::Extend(SymbolTable* /*table*/, ItemInfo* item, SYM_DelayLoadKind kinds) {
  return Extend(GetModule(item), kinds);
}

int ElfLoader::Extend(DescModule* module, SYM_DelayLoadKind kinds) {
  if (module == nullptr || (kinds & SYM_LOAD_ALL & ~module->loadedKinds) == 0) {
    return 0;
  }
  state_->failure.Clear();
  L_list* ranges = L_Create(nullptr);  // without memory no line range is covered
  const bool isFilled = FillModule(module, ranges) != 0;
  if (isFilled) {
    SettleModule(module, ranges);
  }
  L_FreeList(&ranges, L_Nop);
  return isFilled && !state_->failure ? 1 : ReportError(true);
}
