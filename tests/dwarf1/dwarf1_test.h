// What the tests of the DWARF 1 reader share: a fixture that runs in both byte orders, and records as short texts.
#pragma once

#include "dwarf1/dwarf1_reader.h"
#include "support/dwarf1_builder.h"
#include "support/host_fixture.h"

// Reads files from memory with a reader of its own.
class Dwarf1Test : public HostTest, public testing::WithParamInterface<ByteOrder> {
 protected:
  void TearDown() override {
    Close();
    HostTest::TearDown();
  }

  // Opens the file and makes its modules; the first one.
  DescModule* Read(const RawBytes& bytes) {
    Close();
    failure.Clear();
    bytes_ = bytes;
    image_ = ELF_OpenSource(ByteSource::FromMemory(bytes_.data(), bytes_.size()), &failure);
    reader.Open(image_);
    tableHeap_ = HEAP_Create(0, 0, 0);
    built = reader.ReadModules(tableHeap_, &modules_, 4);
    return modules_;
  }
  DescModule* Read(const ElfFile& file) { return Read(file.build()); }

  int FillModule(DescModule* module) {
    L_FreeList(&ranges, L_Nop);
    ranges = L_Create(nullptr);
    filled = reader.FillModule(module, ranges);
    reason = failure.Text();
    EXPECT_EQ(reason.empty(), filled == 1);
    return filled;
  }

  // Reads the file and fills its first module.
  DescModule* Fill(const RawBytes& bytes) {
    DescModule* module = Read(bytes);
    if (module == nullptr) throw std::runtime_error(failure.Text());
    FillModule(module);
    return module;
  }
  DescModule* Fill(const ElfFile& file) { return Fill(file.build()); }
  DescModule* Fill(const Dwarf1Entries& unit) { return Fill(Dwarf1File(GetParam(), unit)); }

  // A unit of entries, filled.
  DescModule* FillEntries(const Dwarf1Entries& entries) {
    return Fill(Dwarf1Unit({at::name("main.c")}).append(entries));
  }

  void ReleaseModules() {
    ReleaseModuleHeaps(std::exchange(modules_, nullptr));
    tableHeap_ = HEAP_Release(tableHeap_);
  }

  Failure failure;
  Allowance allowance;
  Dwarf1Reader reader{&failure, &allowance};
  int filled = 0;
  std::string reason;  // why the last fill failed
  L_list* ranges = nullptr;

 private:
  void Close() {
    L_FreeList(&ranges, L_Nop);
    ReleaseModules();
    reader.Open(nullptr);
    if (image_ != nullptr) ELF_Close(std::exchange(image_, nullptr));
  }

  RawBytes bytes_;
  ElfImage* image_ = nullptr;
  mem_desc* tableHeap_ = nullptr;
  DescModule* modules_ = nullptr;
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

// One text per data of a host list.
template <class Record, class Function>
Texts HostListed(L_list* list, Function text) {
  Texts texts;
  for (void* data = L_First(list); data != nullptr; data = L_Next(list)) {
    texts.push_back(text(*static_cast<Record*>(data)));
  }
  return texts;
}
