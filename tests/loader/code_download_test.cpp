// The sequence of calls that a download makes: everything the loader asks of its host and target is written down in one
// list, and compared whole.
#include "loader/code_download.h"

#include <fmt/format.h>

#include <map>

#include "support/host_fixture.h"

namespace {

using Calls = Texts;

// Failures to order, by the number of the call, from 1.
struct Orders {
  int refuseCheck = 0;
  int failWrite = 0;
  int writeResult = 0;  // of the write that fails
  int dropWrite = 0;    // it changes nothing
  int failRead = 0;
  int cancelAt = 0;
  int startResult = 1;
};

// Writes down its calls; its memory holds what was written.
struct RecordingTarget : Target {
  explicit RecordingTarget(const Orders& toFail = {}) : orders(toFail) {}
  int WriteBlock(Address address, const void* buffer, uint32_t count, int access) override {
    calls.push_back(fmt::format("Write {:X} {}", address.offset, count));
    EXPECT_EQ(access, 2);
    ++writes;
    for (uint32_t i = 0; i < count && writes != orders.dropWrite; ++i) {
      memory[address.offset + i] = static_cast<const uint8_t*>(buffer)[i];
    }
    return writes == orders.failWrite ? orders.writeResult : 1;
  }
  int ReadBlock(Address address, void* buffer, uint32_t count, int access) override {
    calls.push_back(fmt::format("Read {:X} {}", address.offset, count));
    EXPECT_EQ(access, 2);
    if (++reads == orders.failRead) return 0;
    for (uint32_t i = 0; i < count; ++i) static_cast<uint8_t*>(buffer)[i] = memory[address.offset + i];
    return 1;
  }
  int SetStartAddress(uint32_t address) override {
    calls.push_back(fmt::format("Start {:X}", address));
    return orders.startResult;
  }
  int Control(int request) override {
    calls.push_back(fmt::format("Control {}", request));
    return 0;
  }
  int CheckMemory(uint32_t first, uint32_t last, const char* name, int memoryType) override {
    calls.push_back(fmt::format("Check {:X}..{:X} {}", first, last, memoryType));
    EXPECT_STREQ(name, "");
    return ++checks == orders.refuseCheck ? 0 : 1;
  }

  Calls calls;
  std::map<uint32_t, uint8_t> memory;
  int writes = 0, reads = 0, checks = 0, settings = 0;
  const Orders orders;
};

RawBytes Pattern(uint32_t size) {
  RawBytes bytes(size);
  for (uint32_t i = 0; i < size; ++i) bytes[i] = static_cast<uint8_t>(i * 7 + i / 256 + 1);
  return bytes;
}
Bytes PatternBytes(uint32_t size) { return Bytes().raw(Pattern(size)); }

ElfFile OneSegment(uint32_t size, uint32_t address = 0x1000) {
  return ElfFile(ByteOrder::big).entry(0x1004).segment(PT_LOAD, address, PatternBytes(size));
}

class CodeDownload : public HostTest {
 protected:
  void SetUp() override {
    HostTest::SetUp();
    HostHandlers handlers = HOST_SetHandlers({});
    handlers.messageBox = [](void* test, const char* text, const char* caption, unsigned style) {
      EXPECT_EQ(style, 0x30u);
      Record(test, fmt::format("Box {}: {}", caption, text));
      return 1;
    };
    handlers.progressCreate = [](void* test, const char* title, unsigned long total) {
      Record(test, fmt::format("Dialog {} {}", title, total));
    };
    handlers.progressSet = [](void* test, unsigned long count) {
      Record(test, fmt::format("Progress {}", count));
      RecordingTarget& to = *Self(test)->target;
      return ++to.settings == to.orders.cancelAt ? 0 : 1;
    };
    handlers.progressClose = [](void* test) { Record(test, "Close"); };
    HOST_SetHandlers(handlers);
  }
  static CodeDownload* Self(void* test) { return static_cast<CodeDownload*>(static_cast<HostTest*>(test)); }
  static void Record(void* test, const std::string& call) { Self(test)->target->calls.push_back(call); }

  int Run(RecordingTarget& to, unsigned long flags) {
    target = &to;
    return loader.LoadCode(&to, 0, flags);
  }
  Calls CallsOf(const Orders& orders, const ElfFile& file, unsigned long flags, int result) {
    RecordingTarget to(orders);
    EXPECT_EQ(loader.Open(file.write().c_str()), 1);
    EXPECT_EQ(Run(to, flags), result);
    return to.calls;
  }

  RecordingTarget* target = nullptr;
};

Calls operator+(Calls a, const Calls& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

TEST_F(CodeDownload, ChecksAllSegmentsThenWritesThoseWithBytes) {
  for (const ByteOrder order : bothOrders) {
    // clang-format off
    const auto file = ElfFile(order).entry(0x80001234)
        .segment(4, 0x500, PatternBytes(8))  // PT_NOTE
        .segment(PT_LOAD, 0x1000, PatternBytes(600))
        .segment(PT_LOAD, 0x2000, PatternBytes(3)).set(&ElfProgramHeader::p_memsz, 0x900)  // more in memory
            .set(&ElfProgramHeader::p_flags, PF_R | PF_W)
        .segment(PT_LOAD, 0x3000, PatternBytes(0)).set(&ElfProgramHeader::p_memsz, 0x40)  // nothing in the file
            .set(&ElfProgramHeader::p_flags, PF_W)
        .segment(PT_LOAD, 0x4000, PatternBytes(4)).set(&ElfProgramHeader::p_memsz, 0)  // nothing in memory
        // p_paddr counts where p_vaddr is 0, and does not where it is not.
        .segment(PT_LOAD, 0, PatternBytes(1)).set(&ElfProgramHeader::p_paddr, 0xFFFFFFFF)
        .segment(PT_LOAD, 0x6000, PatternBytes(2)).set(&ElfProgramHeader::p_paddr, 0x7000);
    const Calls expected = {
        "Control 1", "Check 1000..1257 1", "Check 2000..28FF 0", "Check 3000..303F 0", "Check FFFFFFFF..FFFFFFFF 1",
        "Check 6000..6001 1", "Dialog Loading Code 2907", "Control 0", "Write 1000 512", "Progress 512",
            "Write 1200 88",
        "Progress 600", "Write 2000 3", "Progress 603", "Write FFFFFFFF 1", "Progress 604", "Write 6000 2",
            "Progress 606",
        "Close", "Start 80001234"};
    // clang-format on
    RecordingTarget first;
    ASSERT_EQ(loader.Open(file.write().c_str()), 1);
    EXPECT_EQ(Run(first, 0), 1);
    EXPECT_EQ(first.calls, expected);
    EXPECT_EQ(first.memory.size(), 606u);
    for (uint32_t i = 0; i < 600; ++i) ASSERT_EQ(first.memory[0x1000 + i], Pattern(600)[i]) << i;
    RecordingTarget second;  // as often as the host likes
    EXPECT_EQ(Run(second, 0), 1);
    EXPECT_EQ(second.calls, expected);
  }
}

TEST_F(CodeDownload, CutsBlocksOf512BytesAndComparesAsTheFlagsSay) {
  const struct {
    uint32_t size;
    unsigned long flags;
    Calls blocks;
  } rows[] = {
      {3, 0x104, {"Write 1000 3", "Read 1000 3"}},
      {5, 0x104, {"Write 1000 5", "Read 1000 4"}},
      {511, 0x204, {"Write 1000 511", "Read 1000 511"}},
      {512, 0x004, {"Write 1000 512"}},
      {512, 0x304, {"Write 1000 512", "Read 1000 4"}},
      {513, 0x104, {"Write 1000 512", "Read 1000 4", "Write 1200 1", "Read 1200 1"}},
      {513, 0x204, {"Write 1000 512", "Read 1000 512", "Write 1200 1", "Read 1200 1"}},
      {515, 0x504, {"Read 1000 4", "Read 1200 3"}},
      {513, 0x604, {"Read 1000 512", "Read 1200 1"}},
      {2, 0xFFFFF8FB | 0x004, {"Write 1000 2"}},  // no other bit has an effect
      {2, 0x200, {"Write 1000 2", "Read 1000 2", "Progress 2"}},
      {513, 0x400, {"Read 1000 512", "Progress 512", "Read 1200 1", "Progress 513"}},
  };
  for (const auto& row : rows) {
    const bool dialog = (row.flags & 4) == 0;
    const Calls before = {"Control 1", fmt::format("Check 1000..{:X} 1", 0xFFF + row.size)};
    const Calls created = dialog ? Calls{fmt::format("Dialog Loading Code {}", row.size)} : Calls{};
    const Calls closed = dialog ? Calls{"Close"} : Calls{};
    ASSERT_EQ(loader.Open(OneSegment(row.size).write().c_str()), 1);
    RecordingTarget to;
    for (uint32_t i = 0; (row.flags & 0x400) != 0 && i < row.size; ++i) to.memory[0x1000 + i] = Pattern(row.size)[i];
    EXPECT_EQ(Run(to, row.flags), 1);
    EXPECT_EQ(to.calls, before + created + Calls{"Control 0"} + row.blocks + closed + Calls{"Start 1004"})
        << row.size << " bytes, flags " << row.flags;
  }
}

// Every failure at the second block of 3, with and without the dialog.
TEST_F(CodeDownload, StopsAtTheBlockThatFails) {
  const ElfFile file = OneSegment(1030, 0xA000);
  for (const bool dialog : {true, false}) {
    const unsigned long quiet = dialog ? 0 : 4;
    const auto shown = [dialog](const Calls& calls) { return dialog ? calls : Calls{}; };
    const Calls before =
        Calls{"Control 1", "Check A000..A405 1"} + shown({"Dialog Loading Code 1030"}) + Calls{"Control 0"};
    const Calls written = before + Calls{"Write A000 512"} + shown({"Progress 512"}) + Calls{"Write A200 512"};
    const Calls verified = before + Calls{"Write A000 512", "Read A000 512"} + shown({"Progress 512"}) +
                           Calls{"Write A200 512", "Read A200 512"};
    const Calls progress = shown({"Progress 1024"});
    const Calls close = shown({"Close"});
    const Calls writeBox = {"Box Elf-Loader: Error while writing to A200..A3FF"};
    const Calls verifyBox = {"Box Elf Loader: Loading verification failed at address 0x0000A200"};

    EXPECT_EQ(CallsOf({.failWrite = 2}, file, quiet, 0), written + progress + close + writeBox);
    // Only 1 means written. A block that reads back equal is reported as a failed write, else as a difference.
    EXPECT_EQ(CallsOf({.failWrite = 2, .writeResult = 2}, file, quiet | 0x200, 0),
              verified + progress + close + writeBox);
    EXPECT_EQ(CallsOf({.failWrite = 2, .dropWrite = 2}, file, quiet | 0x200, 0), verified + close + verifyBox);
    // The read-back stays as it was and counts as different.
    EXPECT_EQ(CallsOf({.failRead = 2}, file, quiet | 0x200, 0), verified + close + verifyBox);
    // A cancelled download shows no message, not even for a write that failed.
    EXPECT_EQ(CallsOf({.failWrite = 2, .cancelAt = 2}, file, quiet, 0),
              written + (dialog ? progress + close : writeBox));
  }
}

TEST_F(CodeDownload, WritesNothingWhenASegmentIsRefused) {
  auto three = ElfFile().segment(PT_LOAD, 0x1000, PatternBytes(16)).segment(PT_LOAD, 0x2000, PatternBytes(16));
  three.segment(PT_LOAD, 0x3000, PatternBytes(16));
  const auto last = [](uint32_t size) { return OneSegment(1, 0xFFFFFE00).set(&ElfProgramHeader::p_memsz, size); };
  const struct {
    ElfFile file;
    int refused;
    unsigned long flags;
    Calls calls;
  } rows[] = {
      // clang-format off
      {three, 1, 0, {"Control 1", "Check 1000..100F 1", "Dialog Loading Code 16", "Control 0", "Close"}},
      {three, 2, 4, {"Control 1", "Check 1000..100F 1", "Check 2000..200F 1", "Control 0"}},
      {three, 3, 0x200, {"Control 1", "Check 1000..100F 1", "Check 2000..200F 1", "Check 3000..300F 1",
                         "Dialog Loading Code 48", "Control 0", "Close"}},
      // A range over the end of the address space is the target's business.
      {last(0x200), 1, 4, {"Control 1", "Check FFFFFE00..FFFFFFFF 1", "Control 0"}},
      {last(0x201), 1, 4, {"Control 1", "Check FFFFFE00..0 1", "Control 0"}},
      // clang-format on
  };
  for (const auto& row : rows) EXPECT_EQ(CallsOf({.refuseCheck = row.refused}, row.file, row.flags, 0), row.calls);
}

TEST_F(CodeDownload, LoadsNothingWithoutSegmentsTableOrFile) {
  RecordingTarget to;
  EXPECT_EQ(Run(to, 0), 0);
  EXPECT_EQ(to.calls, Calls{});
  for (const auto& [answer, result] : {std::pair{1, 1}, {-1, 1}, {0, 0}}) {  // of setting the start address
    EXPECT_EQ(CallsOf({.startResult = answer}, ElfFile().entry(0x77).segment(4, 0, PatternBytes(4)), 0, result),
              (Calls{"Control 1", "Dialog Loading Code 0", "Control 0", "Close", "Start 77"}));
  }
  EXPECT_EQ(CallsOf({}, ElfFile().set(&ElfImage::e_phoff, 0).entry(0x77), 0, 0),
            (Calls{"Control 1", "Dialog Loading Code 0", "Control 0", "Close"}));
}

}  // namespace
