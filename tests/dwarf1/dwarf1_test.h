// What the tests of the DWARF 1 readers share: a fixture that runs in both byte orders, and records as short texts.
#pragma once

#include "dwarf1/dwarf1_reader.h"
#include "dwarf1/reader_state.h"
#include "support/dwarf1_builder.h"
#include "support/host_fixture.h"

class Dwarf1Test : public HostTest, public testing::WithParamInterface<ByteOrder> {
 protected:
  void TearDown() override {
    L_FreeList(&ranges, L_Nop);
    HostTest::TearDown();
  }

  // Builds the file and fills its first module as the loader does, but for what the loader settles behind a fill.
  DescModule* Fill(const ElfFile& file) {
    DescModule* module = Load(file);
    EXPECT_NE(module, nullptr) << "no module";
    L_FreeList(&ranges, L_Nop);
    ranges = L_Create(nullptr);
    filled = module != nullptr ? FillDwarf1Module(loader.image, module, ranges) : 0;
    failure = dwarf1State.failure != nullptr ? dwarf1State.failure : "";
    return module;
  }
  DescModule* Fill(const Dwarf1Entries& unit) { return Fill(Dwarf1File(GetParam(), unit)); }

  // A unit of entries, filled, with all its types in the order of the file.
  DescModule* FillEntries(const Dwarf1Entries& entries) {
    return Fill(Dwarf1Unit({at::name("main.c")}).append(entries));
  }

  int filled = 0;
  std::string failure;  // why the last fill failed
  L_list* ranges = nullptr;
};

// NOLINTBEGIN(bugprone-macro-parentheses): the name of a class takes none
#define DWARF1_TESTS(Fixture)           \
  class Fixture : public Dwarf1Test {}; \
  INSTANTIATE_TEST_SUITE_P(BothOrders, Fixture, testing::ValuesIn(bothOrders), OrderName)
// NOLINTEND(bugprone-macro-parentheses)

inline std::string OrderName(const testing::TestParamInfo<ByteOrder>& info) {
  return info.param == ByteOrder::big ? "big" : "little";
}

// The file, ending with `contents` as the section described last, which claims to have `size` bytes.
inline RawBytes EndingWith(ElfFile file, const RawBytes& contents, uint32_t size) {
  const auto end = static_cast<uint32_t>(file.build().size());
  RawBytes bytes = file.set(&ElfSectionHeader::sh_offset, end).set(&ElfSectionHeader::sh_size, size).build();
  bytes.insert(bytes.end(), contents.begin(), contents.end());
  return bytes;
}

// "int", "*struct node", "[0..3][1..2]char", "typedef size"
inline std::string TypeText(const DescType* type) {
  static const char* const words[] = {"", "typedef ", "*", "enum ", "struct ", "union ", "class ", "", "function "};
  if (type == nullptr) return "null";
  std::string text = words[type->kind];
  if (type->kind == KIND_POINTER) return text + type->name + TypeText(type->target.type);
  if (type->kind != KIND_ARRAY) return text + type->name;
  for (const DescDimension* dimension = type->items.dimensions; dimension != nullptr; dimension = dimension->next) {
    text += "[" + std::to_string(dimension->low) + ".." + std::to_string(dimension->high) + "]";
  }
  return text + TypeText(type->element.type);
}

// "name: type", with "@low..high" where the variable's location does not hold everywhere.
inline std::string VarText(const DescVar& var) {
  std::string text = var.name + (": " + TypeText(var.type));
  if (var.location != nullptr && (var.location->lowPc != 0 || var.location->highPc != 0xFFFFFFFF)) {
    text += " @" + std::to_string(var.location->lowPc) + ".." + std::to_string(var.location->highPc);
  }
  return text;
}
inline Texts VarTexts(const DescVar* list) { return Listed(list, VarText); }

inline std::string ProcText(const DescProc& proc) {
  return proc.name + (": " + TypeText(proc.returnType)) + " " + std::to_string(proc.lowPc) + ".." +
         std::to_string(proc.highPc);
}
inline Texts ProcTexts(const DescProc* list) { return Listed(list, ProcText); }

// The records on `types`, oldest first.
inline std::vector<DescType*> TypesOf(const DescModule* module) {
  std::vector<DescType*> types;
  for (DescType* type = module->types; type != nullptr; type = type->next) types.insert(types.begin(), type);
  EXPECT_EQ(types.size(), module->typeCount);
  return types;
}
inline Texts TypeTexts(const DescModule* module) {
  Texts texts;
  for (const DescType* type : TypesOf(module)) texts.push_back(TypeText(type));
  return texts;
}
