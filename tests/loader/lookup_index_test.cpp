// Look-ups by the index beside the module list against the walk of the list: the same answers, the same fills.
#include <gtest/gtest.h>

#include <cstring>

#include "support/dwarf2_builder.h"
#include "support/host_fixture.h"
#include "support/random.h"

namespace {

class LookupIndexes : public HostTest {};

bool Holds(const ElfLoader& loader, const DescModule* module, uint32_t address, FindKind kind) {
  if (kind == FIND_ALL || kind == FIND_CODE) {
    for (const DescProc* proc = module->procs; proc != nullptr; proc = proc->next) {
      if (proc->lowPc <= address && address < proc->highPc) return true;
    }
  }
  for (const DescVar* var = module->vars; var != nullptr && (kind == FIND_ALL || kind == FIND_DATA); var = var->next) {
    const uint8_t* bytes = var->location == nullptr ? nullptr : var->location->expression;
    if (bytes != nullptr && *bytes == DW_OP_addr) {
      uint32_t at = 0;
      for (int i = 0; i < 4; ++i) {
        at = loader.image->littleEndian != 0 ? at | uint32_t{bytes[i + 1]} << 8 * i : at << 8 | bytes[i + 1];
      }
      if (address - at < static_cast<uint32_t>(var->byteSize)) return true;
    }
  }
  return false;
}

bool Holds(const DescModule* module, const char* name, FindKind kind) {
  const auto named = [name](const auto* record) {
    for (; record != nullptr && std::strcmp(record->name, name) != 0;) record = record->next;
    return record != nullptr;
  };
  return (kind <= FIND_CODE && named(module->procs)) || (kind != FIND_CODE && kind <= FIND_DATA && named(module->vars));
}

// The walks as they are described.
DescModule* WalkByName(ElfLoader& loader, DescModule* module, const char* name, FindKind kind) {
  for (; module != nullptr; module = module->next) {
    const DescGlobalName* names = module->ext->globalNames;
    if (names != nullptr) {
      for (; names != nullptr && std::strcmp(names->name, name) != 0;) names = names->next;
      if (names == nullptr) continue;
    }
    loader.Extend(module, SYM_LOAD_ALL);
    if (names != nullptr || Holds(module, name, kind)) return module;
  }
  return nullptr;
}
DescModule* WalkByAddress(ElfLoader& loader, DescModule* module, uint32_t address, FindKind kind) {
  for (; module != nullptr; module = module->next) {
    const DescAddrRange* range = module->ext->addrRanges;
    const bool byOwnRange = module->hasRange != 0 && (kind == FIND_ALL || kind == FIND_CODE);
    if (byOwnRange || range != nullptr) {
      for (; range != nullptr && (address < range->low || range->high < address);) range = range->next;
      if (byOwnRange ? address < module->lowPc || module->highPc <= address : range == nullptr) continue;
      loader.Extend(module, SYM_LOAD_ALL);
      return module;
    }
    loader.Extend(module, SYM_LOAD_ALL);
    if (Holds(loader, module, address, kind)) return module;
  }
  return nullptr;
}

Texts State(const DescModule* list, const DescModule* found) {
  return Listed(list, [found](const DescModule& module) {
    return std::to_string(module.loadedKinds) + (&module == found ? " found" : "");
  });
}

TEST_F(LookupIndexes, AnswerAsTheWalkDoes) {
  Random random(7);
  const auto below = [&random](uint32_t end) { return random.below(end); };
  for (int round = 0; round < 12; ++round) {
    // Units of every mixture: own range or none, names and ranges in the indexes or none; few names and addresses, so
    // that several units hold each.
    ElfFile file(round % 2 == 0 ? ByteOrder::big : ByteOrder::little);
    Bytes info, abbrevs, names, ranges;
    for (int i = 0; i < 30; ++i) {
      const std::string label = "unit " + std::to_string(i);
      const auto name = [&] { return Name("n" + std::to_string(below(25))); };
      Unit unit({.label = label});
      unit.parent(DW_TAG_compile_unit, below(3) == 0 ? Attrs{Low(below(64)), High(64 + below(64))} : Attrs{});
      unit.label("int" + label).child(DW_TAG_base_type, {Size(4)});
      const auto at = [&] {  // in memory, or on the stack
        const Bytes expression = Bytes().u8(below(4) == 0 ? +DW_OP_fbreg : +DW_OP_addr).u32(below(128));
        return Attr(DW_AT_location, DW_FORM_block1, expression);
      };
      for (uint32_t records = below(4); records > 0; --records) {
        unit.parent(DW_TAG_subprogram, {name(), Low(below(120)), High(below(128))});
        unit.child(DW_TAG_variable, {name(), at()}).child(DW_TAG_formal_parameter, {name()}).end();
        unit.child(DW_TAG_variable, {name(), Type("int" + label), at()}).child(DW_TAG_label, {name(), Low(below(128))});
      }
      if (below(8) == 0) {
        unit.entry(99);  // a fill that fails counts like any other
      }
      info.append(unit.end());
      abbrevs.append(unit.abbrevs());
      if (below(3) == 0) names.append(PubNames(label).name(1, "n" + std::to_string(below(25))).name(1, "n3").end());
      if (below(3) == 0) ranges.append(ARanges(label).range(below(120), below(16)).range(1 + below(120), 4).end());
    }
    file.section(".debug_info", info).section(".debug_abbrev", abbrevs);
    file.section(".debug_pubnames", names).section(".debug_aranges", ranges);
    RecordTable walkedTable;
    ElfLoader walker("walker");
    ASSERT_EQ(walker.Open(file.write().c_str()), 1);
    ASSERT_EQ(walker.Build(&walkedTable), 1);
    DescModule* first = Load(file);
    for (int question = 0; question < 60; ++question) {
      const auto kind = static_cast<FindKind>(below(4));
      DescModule* const untouched = first;
      DescModule* found = untouched;
      DescModule* expected = nullptr;
      int result = 0;
      if (below(2) == 0) {
        const std::string name = "n" + std::to_string(below(30));
        result = loader.FindModuleFromName(first, name.c_str(), &found, kind);
        expected = WalkByName(walker, walkedTable.Modules(), name.c_str(), kind);
      } else {
        const uint32_t address = below(160);
        result = loader.FindModuleFromAdr(first, {address, 0}, &found, kind);
        expected = WalkByAddress(walker, walkedTable.Modules(), address, kind);
      }
      ASSERT_TRUE(result == 1 || found == untouched) << "the out argument is left alone";
      found = result == 1 ? found : nullptr;
      ASSERT_EQ(State(first, found), State(walkedTable.Modules(), expected)) << "round " << round << " " << question;
    }
  }
  TakeMessages();
}

TEST_F(LookupIndexes, StartWhereTheyAreTold) {
  const auto unit = [](const Attrs& attrs) { return Unit().parent(DW_TAG_compile_unit, attrs).end(); };
  DescModule* first = Load(Dwarf2File(ByteOrder::big, unit({Low(0x100), High(0x200)}), unit({})));
  DescModule* found = nullptr;
  for (DescModule* start : {static_cast<DescModule*>(nullptr), first->next}) {
    EXPECT_EQ(loader.FindModuleFromName(start, "start", &found, FIND_ALL), 0);
    EXPECT_EQ(loader.FindModuleFromAdr(start, {0x100, 0}, &found, FIND_ALL), 0);
  }
  EXPECT_EQ(loader.FindModuleFromAdr(first, {0x1FF, 0}, &found, FIND_DATA), 0) << "the unit's range holds code";
  EXPECT_EQ(loader.FindModuleFromAdr(first, {0x1FF, 0}, &found, FIND_CODE), 1);
  EXPECT_EQ(found, first);
}

}  // namespace
