#include "dwarf2/index/name_index.h"

#include "dwarf2/index/address_ranges.h"
#include "dwarf2/index/debug_names.h"
#include "dwarf2/index/public_names.h"

namespace {

bool TakeModules(DescModule* modules, ModulesByUnit* byUnit, Failure* failure) {
  for (DescModule* module = modules; module != nullptr; module = module->next) {
    if (!byUnit->Add(module->ext->unitOffset, module)) {
      failure->NoteNoMemory();
      return false;
    }
  }
  return true;
}

// A unit whose names are all of code has no data, wherever its code is.
void SettleDataIndexes(DescModule* modules) {
  for (DescModule* module = modules; module != nullptr; module = module->next) {
    Dwarf2ModuleExt* ext = Dwarf2ExtOf(module);
    const bool namesHaveKinds = ext->nameSource == NameSource::gnuPubnames || ext->nameSource == NameSource::debugNames;
    ext->isDataIndexed = ext->isDataIndexed || (namesHaveKinds && !ext->listsData);
  }
}

}  // namespace

void ReadDwarf2NameIndexes(Cursor* cursor, const IndexSource& source, DescModule* modules, RecordHeap* tableHeap) {
  IndexedModules units = {{}, modules != nullptr ? Dwarf2BuildOf(modules) : nullptr, tableHeap};
  const bool readsAll = units.build != nullptr && units.build->rules->readsNewIndexes;
  if (modules == nullptr || (cursor->failure() && !readsAll) || !TakeModules(modules, &units.byUnit, source.failure)) {
    return;
  }
  const Dwarf2Sections& sections = *source.sections;
  PublicNames names(cursor, source.image->file, units);
  if (!readsAll) {
    if (names.ReadInOrder(sections.pubnames)) {
      ReadRangesInOrder(cursor, sections.aranges, units);
    }
    return;
  }
  const auto apart = [&source](auto read) {
    const SeparateFailure scope(source.failure);
    read();
  };
  apart([&] { names.ReadPublished(sections.pubnames, NameSource::pubnames); });
  apart([&] { names.ReadPublished(sections.gnuPubnames, NameSource::gnuPubnames); });
  apart([&] { ReadDebugNames(source, units); });
  apart([&] { ReadPublishedRanges(cursor, source, units); });
  SettleDataIndexes(modules);
}
