// The fill of a module: the walk along the unit's entries, its line table, and the units that were folded into it.
#include <algorithm>
#include <set>
#include <vector>

#include "dwarf1/attributes.h"
#include "dwarf1/dwarf1_reader.h"
#include "dwarf1/entries.h"
#include "dwarf1/line_table.h"
#include "dwarf1/memory.h"
#include "dwarf1/merged_units.h"
#include "dwarf1/subroutines.h"
#include "dwarf1/tags.h"
#include "dwarf1/types.h"
#include "dwarf1/variables.h"
#include "records/debug_records.h"
#include "records/desc_proc.h"
#include "tarnixcore/obj_file_loader.h"

namespace dwarf1 {
namespace {

// The chains of a unit. They go into the module when the walk is over.
struct UnitLists {
  LabelChain labels;
  DescProc* procs = nullptr;
  DescVar* vars = nullptr;
};

// The offsets that the walk has been at, so that siblings in a circle end it. Siblings lead forward as a rule, which
// keeps the offsets sorted by themselves.
class Trail {
 public:
  // False for an offset that was visited before.
  bool Visit(uint32_t offset) {
    if (forward_.empty() || offset > forward_.back()) {
      forward_.push_back(offset);
      return true;
    }
    return !std::binary_search(forward_.begin(), forward_.end(), offset) && backward_.insert(offset).second;
  }

 private:
  std::vector<uint32_t> forward_;
  std::set<uint32_t> backward_;
};

void ReadModuleEntry(DescModule* module, const EntryHeader& entry, UnitLists* lists, ListEnd<DescProc>* procs,
                     ListEnd<DescVar>* vars, uint32_t* nextOffset) {
  switch (RoleOf(entry.tag, Place::module)) {
    case Role::procedure:
      procs->Append(ReadSubroutineTree(module, entry.remaining, nextOffset));
      break;
    case Role::variable:
      vars->Append(ReadVariableEntry(module, entry.remaining, AddressRange(), nextOffset));
      break;
    case Role::label:
      lists->labels.Insert(module, ReadSubroutineEntry(module, entry.remaining, nextOffset));
      break;
    default:
      ReadEntry(module, entry, nextOffset);
      break;
  }
}

// From sibling to sibling. A null entry or a sibling of 0 ends the unit.
void ReadUnitEntries(DescModule* module, UnitLists* lists) {
  if (dwarf1State.debug == nullptr) {
    Fail("no .debug");
    return;
  }
  ListEnd<DescProc> procs(&lists->procs);
  ListEnd<DescVar> vars(&lists->vars);
  Trail trail;
  for (uint32_t nextOffset = module->ext->firstEntry; nextOffset != 0 && IsWorkLeft();) {
    if (!trail.Visit(nextOffset)) {
      Fail("entry without a sibling, or siblings in a circle");
      return;
    }
    SeekDebug(nextOffset);
    EntryHeader entry;
    if (!ReadEntryHeader(&entry)) {
      return;
    }
    ReadModuleEntry(module, entry, lists, &procs, &vars, &nextOffset);
  }
}

void StoreLists(DescModule* module, UnitLists& lists) {
  module->vars = lists.vars;
  module->procs = lists.procs;
  lists.labels.MoveTo(module);
  module->loadedKinds |= SYM_LOAD_ALL;
}

// Fills one unit, and first those folded into it. What the folded ones latched shows in the result alone.
int FillUnit(DescModule* module, L_list* ranges) {
  int result = 1;
  for (DescModule* folded = module->ext->mergedModules; folded != nullptr; folded = folded->next) {
    result &= FillUnit(folded, ranges);
  }
  ClearFailure();
  ForgetTypes();
  UnitLists lists;
  RunStep([&] { ReadUnitEntries(module, &lists); });
  StoreLists(module, lists);
  RunStep([&] { ReadLineTable(module, ranges); });
  RunStep([&] { TakeOverFoldedUnits(module); });
  return dwarf1State.failed == 0 ? result : 0;
}

}  // namespace
}  // namespace dwarf1

int FillDwarf1Module(ElfImage* image, DescModule* module, L_list* ranges) {
  dwarf1::UseImage(image);
  const int result = dwarf1::FillUnit(module, ranges);
  dwarf1::ForgetTypes();
  return result;
}
