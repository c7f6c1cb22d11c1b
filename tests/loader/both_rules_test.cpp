// One loader and both sets of rules, in turns and on two tables at once: each has what a loader of its own gives.
#include <gtest/gtest.h>

#include <memory>

#include "support/describe.h"
#include "support/dwarf2_builder.h"
#include "support/environment.h"
#include "support/host_fixture.h"

namespace {

const char* const bothRules[] = {"LOADER", "PUBLISHED"};

class BothRules : public HostTest {
 protected:
  // Files of DWARF 1, 2 and 5, and one with a compressed section.
  static std::vector<std::string> Paths() {
    const Unit unit = Unit({.version = 2})
                          .parent(DW_TAG_compile_unit, {Name("a.c"), {DW_AT_comp_dir, DW_FORM_strp, 0}})
                          .child(DW_TAG_variable, {Name("a"), {DW_AT_location, DW_FORM_data4, 0}})
                          .child(DW_TAG_variable, {{DW_AT_name, DW_FORM_strp, 3}})
                          .end();
    return {ELFLOAD_DWARF1_SAMPLE, ELFLOAD_SAMPLE, ELFLOAD_DWARF5_SAMPLE,
            Dwarf2File(ByteOrder::big, unit)
                .section(".debug_loc", LocationList().range(0x10, 0x20, {0x50}).end())
                .section(".debug_str", Bytes().text("/project"))
                .set(&ElfSectionHeader::sh_flags, 0x800)
                .write("compressed.elf")};
  }

  int Build(ElfLoader& by, SymbolTable& into, const char* rules) {
    const EnvironmentValue value("DWARFRULES", rules);
    return by.Build(&into);
  }

  // All of a module once it is filled.
  Texts Fill(ElfLoader& by, DescModule* module) {
    const int result = by.Extend(module, SYM_LOAD_ALL);
    Texts texts = ModuleTexts(module);
    for (const Texts& more :
         {Described(module->lineBlocks), Described(module->files), Names(module->ext->globalNames)}) {
      texts.insert(texts.end(), more.begin(), more.end());
    }
    texts.push_back(module->name + std::string(module->directory) + std::to_string(result));
    return texts;
  }
  std::vector<Texts> Read(ElfLoader& by, const std::string& path, const char* rules) {
    RecordTable records;
    EXPECT_EQ(by.Open(path.c_str()), 1);
    std::vector<Texts> all = {{std::to_string(Build(by, records, rules))}};
    for (DescModule* module = records.Modules(); module != nullptr; module = module->next) {
      all.push_back(Fill(by, module));
    }
    all.push_back(TakeMessages());
    return all;
  }
  static std::unique_ptr<ElfLoader> NewLoader() {
    auto made = std::make_unique<ElfLoader>("ElfLoader");
    LoaderTestAccess::SetOpcodeBase(*made, 10);
    return made;
  }
};

TEST_F(BothRules, InTurns) {
  struct Way {
    std::string path;
    const char* rules;
    std::vector<Texts> alone;
  };
  std::vector<Way> ways;
  for (const std::string& path : Paths()) {
    for (const char* rules : bothRules) ways.push_back({path, rules, Read(*NewLoader(), path, rules)});
  }
  EXPECT_NE(ways[2].alone, ways[3].alone) << "the rules make a difference";
  EXPECT_NE(ways[4].alone, ways[5].alone);
  for (const Way& first : ways) {
    for (const Way& second : ways) {
      for (const Way* way : {&first, &second}) {
        LoaderTestAccess::SetOpcodeBase(loader, 10);  // which crosses from file to file by the loader's rules
        EXPECT_EQ(Read(loader, way->path, way->rules), way->alone)
            << way->path << " " << way->rules << " after " << first.path << " " << first.rules;
      }
    }
  }
}

// Two tables of one file: the fills go by the rules of their own table, whatever was built or filled last.
TEST_F(BothRules, AtOnce) {
  for (const std::string& path : Paths()) {
    std::vector<Texts> alone[] = {Read(*NewLoader(), path, bothRules[0]), Read(*NewLoader(), path, bothRules[1])};
    for (const size_t first : {size_t{0}, size_t{1}}) {
      RecordTable tables[2];
      std::vector<Texts> all[2];
      LoaderTestAccess::SetOpcodeBase(loader, 10);
      ASSERT_EQ(loader.Open(path.c_str()), 1);
      for (const size_t i : {first, 1 - first}) {
        all[i] = {{std::to_string(Build(loader, tables[i], bothRules[i]))}};
      }
      DescModule* modules[] = {tables[0].Modules(), tables[1].Modules()};
      while (modules[0] != nullptr || modules[1] != nullptr) {
        for (size_t i = 0; i < 2; ++i) {
          if (modules[i] == nullptr) continue;
          LoaderTestAccess::SetOpcodeBase(loader, 10);
          all[i].push_back(Fill(loader, modules[i]));
          modules[i] = modules[i]->next;
        }
      }
      TakeMessages();  // once for each build
      for (size_t i = 0; i < 2; ++i) {
        all[i].push_back(alone[i].back());
        EXPECT_EQ(all[i], alone[i]) << path << first;
      }
    }
  }
}

}  // namespace
