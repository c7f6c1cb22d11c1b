// The component's shell: exports, open and close, processor, build, commands and requests.
#include <gtest/gtest.h>

#include <map>
#include <memory>

#include "loader/exports.h"
#include "support/dwarf2_builder.h"
#include "support/environment.h"
#include "support/host_fixture.h"

namespace {

class Lifecycle : public HostTest {};

Unit NamedUnit(const char* name) { return Unit().parent(DW_TAG_compile_unit, {Name(name)}).end(); }

TEST_F(Lifecycle, ExportsGiveTheComponent) {
  uint32_t version = 0;
  EXPECT_EQ(GetCompVersions(&version), 0x60001ul);
  EXPECT_EQ(version, 0x601001Du);
  const std::unique_ptr<Component> component(GetComponent());
  ASSERT_NE(component, nullptr);
  EXPECT_STREQ(component->Name(), "ElfLoader");
  EXPECT_EQ(component->Type(), 4);
  char command[] = "VER";
  EXPECT_EQ(component->Execute(command), 1);
  EXPECT_EQ(TakeMessages(), Texts{"ElfLoader " + std::to_string(0x601001D) + " Build 3249"});
  char unknown[] = "LOAD x";
  EXPECT_EQ(component->Execute(unknown), 0);
}

TEST_F(Lifecycle, GetInfoNamesTheProcessor) {
  const std::map<std::string, std::vector<uint16_t>> machines = {
      {"PPC", {20}},           {"MCORE", {39, 0x4DFF}}, {"M68K", {4, 0x4D32}},  {"HC16", {69, 0x4D16}},
      {"HC12", {53, 0x4D12}},  {"HC11", {70, 0x4D11}},  {"HC05", {72, 0x4D05}}, {"HC08", {71, 0x4D08}},
      {"ST7", {68, 0x5D07}},   {"ST19X", {74}},         {"H8500", {49}},        {"XA", {0x5D01}},
      {"", {0, 3, 40, 0xFFFF}}};
  for (const auto& [expected, values] : machines) {
    for (const uint16_t machine : values) {
      for (const uint32_t note : {16u, 48u}) {
        const Bytes code = Bytes().u32(0);
        ElfFile file = ElfFile(ByteOrder::little).machine(machine).entry(0xC0DE).segment(PT_LOAD, 0, code);
        ASSERT_EQ(loader.Open(file.note(10, Bytes().u32(note)).write().c_str()), 1);
        char name[16] = "before";
        unsigned long entry = 0;
        EXPECT_EQ(loader.GetInfo(name, sizeof(name), &entry), expected.empty() ? 0 : 1) << machine;
        EXPECT_EQ(name, expected == "HC08" && note == 48 ? "HCS08" : expected) << machine;
        EXPECT_EQ(entry, 0xC0DEul);
      }
    }
  }
}

class NoteTarget : public Target {
 public:
  int WriteBlock(Address, const void*, uint32_t, int) override { return 1; }
  int ReadBlock(Address, void*, uint32_t, int) override { return 1; }
  int SetStartAddress(uint32_t) override { return 1; }
  int TargetCapabilities(int code, const char* text) override {
    calls.push_back(std::to_string(code) + " " + (text == nullptr ? "null" : text));
    return 0;
  }
  Texts calls;
};

TEST_F(Lifecycle, GetInfoHandsTheNoteTextToTheTarget) {
  NoteTarget target;
  HOST_SetTarget(&target);
  char name[4] = "x";
  unsigned long entry = 7;
  const Bytes code = Bytes().u32(0);
  ElfFile file = ElfFile().machine(EM_68HC12).segment(PT_LOAD, 0, code);
  loader.Open(file.write().c_str());
  EXPECT_EQ(loader.GetInfo(name, sizeof(name), &entry), 1);
  EXPECT_STREQ(name, "HC1") << "cut to the buffer";
  loader.Open(file.note(11, Bytes().text("fast")).write().c_str());
  loader.GetInfo(name, sizeof(name), &entry);
  loader.Open(ElfFile().set(&ElfImage::e_phoff, 0).write().c_str());  // no segment table: nothing is touched
  EXPECT_EQ(loader.GetInfo(name, sizeof(name), &entry), 0);
  EXPECT_STREQ(name, "HC1");
  HOST_SetTarget(nullptr);
  EXPECT_EQ(target.calls, (Texts{"29 null", "29 fast"}));
}

TEST_F(Lifecycle, OpenDecidesTheFormatBySectionNames) {
  const Bytes one = Bytes().u8(1);
  for (const auto& [file, format] :
       {std::pair{ElfFile().section(".debug", one), DEBUG_FORMAT_DWARF1},
        {ElfFile().section(".debug", one).section(".debug_info"), DEBUG_FORMAT_DWARF2},
        {ElfFile().section(".debug_line", one).section(".Debug", one), DEBUG_FORMAT_NONE}}) {
    EXPECT_EQ(loader.Open(file.write().c_str()), 1);
    EXPECT_EQ(loader.debugFormat, uint32_t{format});
  }
}

TEST_F(Lifecycle, AFailedOpenClosesTheImageAndKeepsTheRest) {
  const TempFolder& folder = TempFolder::OfProcess();
  folder.Write("path/named.elf", Dwarf2File(ByteOrder::big, NamedUnit("a.c")).build());
  FE_SetPathList(FE_ABSOLUTE_FILES, folder.Path("path").c_str());
  EXPECT_EQ(loader.Close(), 1) << "nothing to close";
  DescModule* module = LoadPath("named.elf");
  FE_SetPathList(FE_ABSOLUTE_FILES, nullptr);
  ASSERT_NE(module, nullptr);
  EXPECT_STREQ(module->objectFile, "named.elf") << "in the caller's words";
  EXPECT_STREQ(loader.absFileName, "named.elf");
  EXPECT_EQ(HOST_AbsFileDir(), folder.Path("path"));
  EXPECT_EQ(loader.Suspend(), 1);

  EXPECT_EQ(loader.Open(folder.Path("missing.elf").c_str()), 0);
  EXPECT_EQ(loader.image, nullptr);
  EXPECT_EQ(loader.debugFormat, DEBUG_FORMAT_DWARF2);
  EXPECT_STREQ(loader.absFileName, "named.elf");
  EXPECT_STREQ(HOST_AbsFileDir(), "");
  EXPECT_STREQ(module->name, "a.c") << "records outlive the image";
  EXPECT_EQ(loader.Extend(module, SYM_LOAD_ALL), 0);
  EXPECT_STREQ(LastFailure(loader).text, "no file is open");
  EXPECT_EQ(TakeMessages(), Texts{ERROR_IN_OBJECT_FILE});
  Argument argument = {nullptr, 77, nullptr};
  EXPECT_EQ(loader.Execute(REQUEST_SECTION_BY_NAME, &argument), 0);
  EXPECT_EQ(argument.size, 77u);
}

TEST_F(Lifecycle, BuildReportsOncePerBuild) {
  EXPECT_EQ(Load(ElfFile().section(".a")), nullptr);
  EXPECT_EQ(built, 0);
  EXPECT_EQ(TakeMessages(), Texts{NO_DEBUG_INFORMATION});
  EXPECT_NE(loader.image, nullptr) << "code can still be loaded";

  // The second unit has no children: the whole scan fails, and no heap stays.
  const Unit childless = Unit().child(DW_TAG_compile_unit);
  EXPECT_EQ(Load(Dwarf2File(ByteOrder::big, NamedUnit("a.c"), childless)), nullptr);
  EXPECT_EQ(built, 0);
  EXPECT_EQ(loader.errorReported, 1u);
  EXPECT_EQ(TakeMessages(), Texts{ERROR_IN_OBJECT_FILE});

  EXPECT_NE(Load(Dwarf2File(ByteOrder::big, NamedUnit("a.c"))), nullptr);
  EXPECT_EQ(built, 1);
  EXPECT_EQ(loader.errorReported, 0u);
  EXPECT_EQ(Load(ElfFile().section(".debug_info")), nullptr);
  EXPECT_EQ(built, 1) << "an empty list is a success";
}

TEST_F(Lifecycle, Request1002HandsOutTheLastFailure) {
  EXPECT_STREQ(LastFailure(loader).text, "");
  EXPECT_EQ(loader.Open(TempFolder::OfProcess().Path("missing.elf").c_str()), 0);
  EXPECT_STREQ(LastFailure(loader).text, "there is no such file, or it cannot be read");
  EXPECT_EQ(LastFailure(loader).offset, LOADER_FAILURE_NO_OFFSET);
  EXPECT_EQ(loader.Build(&table), 0);
  EXPECT_STREQ(LastFailure(loader).text, "no file is open");
  Load(ElfFile());
  EXPECT_STREQ(LastFailure(loader).text, "the file has no debug information");

  const Unit bad = Unit().parent(DW_TAG_compile_unit, {Name("bad.c")}).entry(99);
  DescModule* module = Load(Dwarf2File(ByteOrder::big, bad, NamedUnit("a.c")));
  EXPECT_STREQ(LastFailure(loader).text, "") << "a new file starts afresh";
  EXPECT_EQ(loader.Extend(module, SYM_LOAD_ALL), 0);
  EXPECT_EQ(loader.Extend(module->next, SYM_LOAD_ALL), 1);
  const LoaderFailure failure = LastFailure(loader);  // of the fill before
  EXPECT_STREQ(failure.unit, "bad.c");
  EXPECT_STREQ(failure.section, ".debug_info");
  EXPECT_NE(std::string(failure.text).find("99"), std::string::npos) << failure.text;
  EXPECT_LT(failure.offset, 30u);
  EXPECT_EQ(TakeMessages(), (Texts{NO_DEBUG_INFORMATION, NO_DEBUG_INFORMATION, ERROR_IN_OBJECT_FILE}));

  char part[sizeof(failure)] = {};
  for (char* buffer : {static_cast<char*>(nullptr), part}) {
    Argument argument = {nullptr, 5, buffer};
    EXPECT_EQ(loader.Execute(REQUEST_LAST_FAILURE, &argument), 1);
    EXPECT_EQ(argument.size, sizeof(failure));
  }
  EXPECT_EQ(std::string(part), std::string(failure.text).substr(0, 5));
}

TEST_F(Lifecycle, AFileFromMemoryReadsAsOneOfTheDisk) {
  const RawBytes bytes = Dwarf2File(ByteOrder::big, NamedUnit("a.c")).build();
  ASSERT_EQ(loader.OpenMemory("main.elf", bytes.data(), bytes.size()), 1);
  ASSERT_EQ(loader.Build(&table), 1);
  EXPECT_STREQ(table.Modules()->objectFile, "main.elf");
  EXPECT_EQ(loader.Extend(table.Modules(), SYM_LOAD_ALL), 1);
  testing::internal::CaptureStdout();
  EXPECT_EQ(loader.OpenMemory("cut.elf", bytes.data(), 20), 0);
  EXPECT_EQ(loader.OpenMemory("none.elf", nullptr, 0), 0);
  EXPECT_NE(testing::internal::GetCapturedStdout(), "");
  EXPECT_STREQ(loader.absFileName, "main.elf");
  EXPECT_EQ(loader.image, nullptr);
}

TEST_F(Lifecycle, EqualModuleNamesGetNumbersInFileOrder) {
  const auto& u = NamedUnit;
  const ElfFile file = Dwarf2File(ByteOrder::big, u("b.c"), u("a.c"), u("src/b.c"), u("B.c"), u("c.c"), u("a.c"),
                                  u("b.c"), u(""), u("bb.c"));
  EXPECT_EQ(Names(Load(file)), (Texts{"1:b.c", "1:a.c", "2:b.c", "B.c", "c.c", "2:a.c", "3:b.c", "", "bb.c"}));
}

TEST_F(Lifecycle, Request1001HandsOutASection) {
  for (const ByteOrder order : bothOrders) {
    ElfFile(order).section(".a", Bytes().u16(0x1234).u8(5)).section(".empty").write("sections.elf");
    ASSERT_EQ(loader.Open(TempFolder::OfProcess().Path("sections.elf").c_str()), 1);
    char buffer[5] = {9, 9, 9, 9, 9};
    const struct {
      const char* name;
      char* buffer;
      uint32_t size;
    } facts[] = {{".a", nullptr, 3}, {".missing", buffer, 0}, {".empty", buffer, 0}, {".a", buffer, 3}};
    for (const auto& fact : facts) {
      EXPECT_EQ(std::string(buffer, 5), std::string(5, 9)) << "nothing was written so far";
      std::string name = fact.name;
      Argument argument = {name.data(), 77, fact.buffer};
      EXPECT_EQ(loader.Execute(1000, &argument), 0);
      EXPECT_EQ(loader.Execute(REQUEST_SECTION_BY_NAME, &argument), 1);
      EXPECT_EQ(argument.size, fact.size);
    }
    EXPECT_EQ(RawBytes(buffer, buffer + 5),
              order == ByteOrder::little ? (RawBytes{0x34, 0x12, 5, 9, 9}) : (RawBytes{0x12, 0x34, 5, 9, 9}));
  }
}

}  // namespace
