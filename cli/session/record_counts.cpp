#include "session/record_counts.h"

#include <initializer_list>

namespace elfload {

namespace {

template <typename Record>
uint64_t CountOf(const Record* list) {
  uint64_t count = 0;
  for (; list != nullptr; list = list->next) count++;
  return count;
}

}  // namespace

void RecordCounts::Add(const DescModule* module) {
  units++;
  AddProcs(module->procs, procedures);
  AddVars(module->vars, variables);
  AddTypes(module->types);
  files += CountOf(module->files);
  for (const DescLineBlock* block = module->lineBlocks; block != nullptr; block = block->next) {
    if (block->count > 0) lineRows += static_cast<uint64_t>(block->count);
  }
  if (module->ext == nullptr) return;
  frames += CountOf(module->ext->frames);
  globalNames += CountOf(module->ext->globalNames);
  addrRanges += CountOf(module->ext->addrRanges);
  inlinedCalls += CountOf(module->ext->inlinedCalls);
  for (const DescModule* merged = module->ext->mergedModules; merged != nullptr; merged = merged->next) Add(merged);
}

RecordCounts& RecordCounts::operator+=(const RecordCounts& other) {
  for (uint64_t RecordCounts::*count :
       {&RecordCounts::units, &RecordCounts::procedures, &RecordCounts::memberFunctions, &RecordCounts::variables,
        &RecordCounts::locals, &RecordCounts::parameters, &RecordCounts::types, &RecordCounts::members,
        &RecordCounts::enumerators, &RecordCounts::locations, &RecordCounts::files, &RecordCounts::lineRows,
        &RecordCounts::frames, &RecordCounts::globalNames, &RecordCounts::addrRanges, &RecordCounts::inlinedCalls}) {
    this->*count += other.*count;
  }
  return *this;
}

void RecordCounts::AddProcs(const DescProc* procs, uint64_t& count) {
  for (const DescProc* proc = procs; proc != nullptr; proc = proc->next) {
    count++;
    AddVars(proc->locals, locals);
    AddVars(proc->params, parameters);
    locations += CountOf(proc->returnAddress) + CountOf(proc->frameBase);
  }
}

void RecordCounts::AddVars(const DescVar* vars, uint64_t& count) {
  for (const DescVar* var = vars; var != nullptr; var = var->next) {
    count++;
    locations += CountOf(var->location);
  }
}

void RecordCounts::AddTypes(const DescType* list) {
  for (const DescType* type = list; type != nullptr; type = type->next) {
    types++;
    switch (type->kind) {
      case KIND_ENUM:
        enumerators += CountOf(type->items.enumerators);
        break;
      case KIND_STRUCT:
      case KIND_UNION:
      case KIND_CLASS:
        AddProcs(type->target.memberFunctions, memberFunctions);
        AddVars(type->items.members, members);
        break;
      case KIND_FUNCTION:
        AddVars(type->items.params, parameters);
        break;
      default:
        break;
    }
  }
}

}  // namespace elfload
