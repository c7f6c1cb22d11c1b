// Downloads into a scripted stub: the requests it is sent, and every way in which it can fail.
#include "target/gdb_target.h"

#include <fmt/format.h>

#include "loader/code_download.h"
#include "session/loader_module.h"
#include "support/gdb_stub.h"
#include "support/host_fixture.h"
#include "target/load_report.h"

using elfload::DownloadMonitor;
using elfload::GdbTarget;

namespace {

struct Loaded {
  int result = 0;
  std::string outcome;
  std::string message;
  Texts requests;
};

class GdbDownload : public HostTest {
 protected:
  // Loads `file` through the plug-in into a stub; returns what the user sees.
  Loaded Run(const StubOrders& orders, const ElfFile& file, unsigned long flags,
             const GdbTarget::Settings& settings = {}) {
    state = {};
    GdbTarget target(std::make_unique<StubTransport>(orders, state), settings);
    Loaded loaded;
    if (!target.Connect()) return {0, target.LinkLost() ? "link-lost" : "no target", target.Reason(), state.requests};
    EXPECT_EQ(loader.Open(file.write().c_str()), 1);
    DownloadMonitor monitor(
        target, elfload::SegmentsToLoad(elfload::ReadSegments(loader), elfload::Placement::virtualAddress), false);
    elfload::LoadResult result;
    result.result = loader.LoadCode(&monitor, 0, flags | LOAD_NO_PROGRESS);
    result.linkLost = target.LinkLost();
    for (const std::string& text : TakeMessages()) {
      const std::string difference = "Elf Loader: Loading verification failed at address 0x";
      if (text.starts_with(difference)) {
        result.difference = static_cast<uint32_t>(std::stoul(text.substr(difference.size()), nullptr, 16));
      }
    }
    elfload::LoadReport report;
    elfload::JudgeLoad(result, monitor, report);
    if (result.result != 0 && !target.Finish(true)) report.message = target.Reason();
    return {result.result, LoadOutcomeName(report.outcome), report.message, state.requests};
  }
  bool Holds(uint32_t address, const RawBytes& bytes) {
    for (uint32_t i = 0; i < bytes.size(); i++) {
      if (state.memory[address + i] != bytes[i]) return false;
    }
    return true;
  }

  StubState state;
};

RawBytes Mixed(uint32_t size) {
  RawBytes bytes(size);
  for (uint32_t i = 0; i < size; i++) {
    bytes[i] = static_cast<uint8_t>(i < size / 2 ? 0x20 + i % 97 : 0);  // escapes, then one long run
  }
  return bytes;
}

ElfFile Program(uint32_t size, ByteOrder order = ByteOrder::big) {
  return ElfFile(order).entry(0x1002).segment(PT_LOAD, 0x1000, Bytes().raw(Mixed(size)));
}

TEST_F(GdbDownload, AsksForWhatTheStubOffersAndSetsTheCounter) {
  StubOrders orders;
  orders.features = "PacketSize=1000;qXfer:features:read+";
  const Loaded plain = Run(orders, ElfFile().entry(0x1234).segment(PT_LOAD, 0x1000, Bytes().raw({1, 0xAB})), 0x200);
  EXPECT_EQ(plain.requests,
            (Texts{"qSupported:xmlRegisters=i386", "?", "X0,0:", "qXfer:features:read:target.xml:0,4fc",
                   "qXfer:features:read:target.xml:32,4fc", "M1000,2:01ab", "m1000,2", "p7", "P7=00001234", "D"}));
  EXPECT_EQ(plain.outcome, "done");

  orders = {};
  orders.features = "PacketSize=1000;QStartNoAckMode+;binary-upload+";  // no registers: those of the processor
  orders.binaryWrites = true;
  const Loaded binary =
      Run(orders, ElfFile().segment(PT_LOAD, 0x1000, Bytes().raw({'$', '*', 0})), 0x200, {.machine = EM_PPC});
  const Texts requests = {"qSupported:xmlRegisters=i386",          "QStartNoAckMode", "?",  "X0,0:",
                          std::string("X1000,3:}\x04}\x0a\0", 13), "x1000,3",         "p40"};
  EXPECT_EQ(Texts(binary.requests.begin(), binary.requests.begin() + 7), requests);
  EXPECT_EQ(binary.outcome, "start-refused");
  EXPECT_EQ(binary.message,
            "the start address 0x00000000 is not set: the stub sends 8 bytes of registers, and the program counter "
            "is at byte 384");
}

TEST_F(GdbDownload, LoadsWholeFilesWhateverTheStubCanDo) {
  const std::string described = "qXfer:features:read+";
  const std::string silent = "QStartNoAckMode+;";
  const struct {
    const char* name;
    StubOrders orders;
    size_t longestRequest;
  } rows[] = {
      {"plain", {}, 768},
      {"acknowledged, byte by byte", {.features = "PacketSize=4000", .dribble = 1}, 1280},
      {"small packets, short answers", {.features = "PacketSize=40;QStartNoAckMode+", .longestRead = 7}, 48},
      {"binary", {.features = "PacketSize=400;" + silent + described + ";binary-upload+", .binaryWrites = true}, 768},
      {"binary, small packets", {.features = "PacketSize=40;binary-upload+", .binaryWrites = true}, 48},
      {"no promise, all registers at once", {.features = described, .singleRegisters = false}, 400},
  };
  for (const auto& row : rows) {
    for (const ByteOrder order : bothOrders) {
      const bool little = order == ByteOrder::little;
      const Loaded loaded = Run(row.orders, Program(1500, order), 0x200, {.machine = 0, .littleEndian = little});
      EXPECT_TRUE(Holds(0x1000, Mixed(1500))) << row.name;
      for (const std::string& request : loaded.requests) EXPECT_LE(request.size() + 4, row.longestRequest) << row.name;
      const bool isDescribed = row.orders.features.find("qXfer") != std::string::npos;
      EXPECT_EQ(loaded.outcome, isDescribed ? "done" : "start-refused") << row.name << ": " << loaded.message;
      EXPECT_EQ(state.counter, !isDescribed ? "00000000" : little ? "02100000" : "00001002") << row.name;
    }
  }
}

TEST_F(GdbDownload, ReportsARefusedBlockAsThatBlock) {
  const std::string setting = "the start address 0x00001002 is not set: setting the program counter: ";
  const std::string second = "segment 0, writing 0x00001200-0x000013FF: ";
  const std::string back = "segment 0, reading 0x00001200-0x000013FF: ";
  const struct {
    const char *request, *answer, *outcome;
    std::string message;
  } rows[] = {
      // clang-format off
      {"M1200", "E0e", "write-refused", "write refused: " + second + "the stub answered \"E0e\""},
      {"M1400", "E.no such memory", "write-refused",
       "write refused: segment 0, writing 0x00001400-0x000015DB: the stub answered \"E.no such memory\""},
      {"M", "", "write-refused", "write refused: segment 0, writing 0x00001000-0x000011FF: the stub cannot do that"},
      {"m1200", "E01", "verify-differs", "verification differs: " + back + "the stub answered \"E01\""},
      {"m1200", "00", "verify-differs", "verification differs: segment 0, at 0x00001200 the target holds 0x00"},
      {"P", "E01", "start-refused", setting + "the stub answered \"E01\""},
      {"M1200", "OKOK", "link-lost", "link lost: " + second + "the answer makes no sense: \"OKOK\""},
      {"m1200", "0", "link-lost", "link lost: " + back + "the answer makes no sense: \"0\""},
      {"m1200", "xyz0", "link-lost", "link lost: " + back + "the answer makes no sense: \"xyz0\""},
      {"p7", "E01", "start-refused", setting + "the stub answered \"E02\""},
      {"p7", "123", "link-lost", "link lost: reading the program counter: the answer makes no sense: \"123\""},
      {"?", "W00", "link-lost", "connecting: the stub has no target: it has ended"},
      {"?", "huh", "link-lost", "connecting: the answer makes no sense: \"huh\""},
      {"qSupported", "PacketSize=10", "link-lost", "connecting: the stub takes packets of 16 bytes only"},
      {"qXfer", "m", "link-lost", "reading the target description: the answer makes no sense: \"m\""},
      // clang-format on
  };
  for (const auto& row : rows) {
    StubOrders orders;
    orders.features = "PacketSize=1000;QStartNoAckMode+;qXfer:features:read+";
    orders.answers = {{row.request, row.answer}};
    if (std::string_view(row.request) == "p7") orders.answers["g"] = "E02";
    const Loaded loaded = Run(orders, Program(1500), 0x200);
    EXPECT_EQ(loaded.outcome, row.outcome) << row.message;
    EXPECT_EQ(loaded.message, row.message);
    EXPECT_EQ(loaded.result, 0);
  }
}

// The stub fails at each request of a whole download in turn, in every way: the link is lost, with a message, and no
// request follows.
TEST_F(GdbDownload, EndsWhenTheStubDoes) {
  const struct {
    Trouble trouble;
    std::string raw;
    const char* message;
    bool acknowledged;
  } rows[] = {
      {Trouble::silence, "", "no answer within 0.25 s", false},
      {Trouble::close, "", "the stub closed the connection", false},
      {Trouble::raw, "noise", "no answer within 0.25 s, but \"noise\"", false},
      {Trouble::raw, "$OK#00", "a damaged packet arrived: \"OK\"", false},
      {Trouble::raw, "$*#00", "a damaged packet arrived: \"\"", false},
      {Trouble::raw, "$Nonsense#49", "the answer makes no sense: \"Nonsense\"", false},
      {Trouble::raw, "$cut", "no answer within 0.25 s", true},
      {Trouble::raw, "-", "no answer within 0.25 s", true},
      {Trouble::cut, "", "the cable is cut", true},
      {Trouble::raw, "$OK#00", "a damaged packet arrived: \"OK\"", true},  // asked for 3 times
  };
  for (const auto& row : rows) {
    StubOrders orders;
    orders.features = row.acknowledged ? "PacketSize=1000;qXfer:features:read+"
                                       : "PacketSize=1000;QStartNoAckMode+;qXfer:features:read+";
    GdbTarget::Settings settings;
    settings.timeout = std::chrono::milliseconds(250);
    const size_t whole = Run(orders, Program(1100), 0x200, settings).requests.size();
    ASSERT_GT(whole, 11u);
    orders.trouble = row.trouble;
    orders.raw = row.raw;
    // From the request after the handshake, where the answers are those of the row, to the last one before detaching.
    for (orders.troubleAt = 5; orders.troubleAt < static_cast<int>(whole); orders.troubleAt++) {
      const Loaded loaded = Run(orders, Program(1100), 0x200, settings);
      EXPECT_EQ(loaded.outcome, "link-lost") << row.message << " at " << loaded.requests.back();
      EXPECT_NE(loaded.message.find(row.message), std::string::npos) << loaded.message;
      EXPECT_EQ(loaded.result, 0);
      EXPECT_LE(static_cast<int>(loaded.requests.size()), orders.troubleAt);
    }
    for (orders.troubleAt = 1; orders.troubleAt < 5; orders.troubleAt++) {  // no other end than an end
      Run(orders, Program(1100), 0x200, settings);
    }
  }
  // Damaged packets are asked for again where packets are acknowledged.
  StubOrders orders;
  orders.features = "PacketSize=1000;qXfer:features:read+";
  orders.trouble = Trouble::damage;
  orders.raw = "$OK#00";
  orders.troubleAt = 7;
  EXPECT_EQ(Run(orders, Program(1100), 0).outcome, "done");
}

constexpr char MEMORY_MAP[] = R"(<memory-map><memory type="ram" start="0x1000" length="0x1000"/>
  <memory type="flash" start="0x8000" length="0x1000"><property name="blocksize">0x400</property></memory>
  <memory type="rom" start="0x9000" length="0x1000"/></memory-map>)";

TEST_F(GdbDownload, ErasesFlashOnceAndEndsItBeforeItIsReadBack) {
  StubOrders orders;
  orders.features = "PacketSize=1000;QStartNoAckMode+;qXfer:memory-map:read+;qXfer:features:read+";
  orders.objects["memory-map:"] = MEMORY_MAP;
  ElfFile file = ElfFile().segment(PT_LOAD, 0x1000, Bytes().raw({1})).segment(PT_LOAD, 0x8100, Bytes().raw({'#', 2}));
  file.segment(PT_LOAD, 0x8200, Bytes().raw(Mixed(0x300))).segment(PT_LOAD, 0x8FFF, Bytes().raw({3}));
  for (const unsigned long flags : {0x000ul, 0x200ul}) {
    const Loaded loaded = Run(orders, file, flags);
    EXPECT_EQ(loaded.outcome, "done") << loaded.message;
    EXPECT_TRUE(Holds(0x8100, {'#', 2}) && Holds(0x8200, Mixed(0x300)) && Holds(0x8FFF, {3}) && Holds(0x1000, {1}));
    Texts flash;
    for (const std::string& request : loaded.requests) {
      if (request[0] == 'v' || request[0] == 'm' || request[0] == 'p') {
        flash.push_back(request.substr(0, request.find(':', 12)));
      }
    }
    // clang-format off
    const Texts quick = {"vFlashErase:8000,800", "vFlashErase:8c00,400", "vFlashWrite:8100", "vFlashWrite:8200",
                         "vFlashWrite:8400", "vFlashWrite:8fff", "vFlashDone", "p7"};
    const Texts verified = {"m1000,1", "vFlashErase:8000,800", "vFlashErase:8c00,400",
                            "vFlashWrite:8100", "vFlashDone", "m8100,2", "vFlashWrite:8200", "vFlashDone", "m8200,200",
                            "vFlashWrite:8400", "vFlashDone", "m8400,100", "vFlashWrite:8fff", "vFlashDone", "m8fff,1",
                                "p7"};
    // clang-format on
    EXPECT_EQ(flash, flags == 0 ? quick : verified);
  }
  orders.answers = {{"vFlashErase:8c", "E05"}};
  EXPECT_EQ(Run(orders, file, 0).message,
            "write refused: segment 1, erasing 0x00008C00-0x00008FFF: the stub answered \"E05\"");
  orders.answers = {{"vFlashDone", "E05"}};
  EXPECT_EQ(Run(orders, file, 0).outcome, "start-refused");
}

TEST_F(GdbDownload, RefusesRangesOutsideTheStubsMemory) {
  StubOrders orders;
  orders.features += ";qXfer:memory-map:read+";
  orders.objects["memory-map:"] = MEMORY_MAP;
  const auto at = [](uint32_t address) { return ElfFile().segment(PT_LOAD, address, Bytes().raw({1, 2})); };
  EXPECT_EQ(Run(orders, at(0x1FFE), 0).outcome, "done");
  const Loaded loaded = Run(orders, at(0x1FFF), 0);
  EXPECT_EQ(loaded.outcome, "refused");
  EXPECT_EQ(loaded.message,
            "refused by the range check: segment 0, 0x00001FFF-0x00002000: there is no memory at 0x00002000");
  orders.objects["memory-map:"] = "<memory type='ram' start='0'/>";
  EXPECT_EQ(Run(orders, Program(4), 0).message,
            "the stub's memory map cannot be used: a memory without start or length");
}

}  // namespace
