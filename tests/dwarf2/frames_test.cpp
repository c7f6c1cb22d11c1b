// `.debug_frame` and `.eh_frame`: CIEs and FDEs with their raw instructions, and the order of the list.
#include <gtest/gtest.h>

#include "support/describe.h"
#include "support/dwarf2_builder.h"
#include "support/environment.h"
#include "support/random.h"

namespace {

class FrameInformation : public HostTest {
 protected:
  DescModule* LoadFrames(ByteOrder order, const Chunk& frames, uint8_t addressSize = 4) {
    const Unit first = Unit({.addressSize = addressSize}).parent(DW_TAG_compile_unit).end();
    const Unit other = Unit({.addressSize = 4}).parent(DW_TAG_compile_unit).end();
    return Load(Dwarf2File(order, first, other).section(".debug_frame", frames));
  }
};

std::string Bytes2Text(const uint8_t* bytes, uint32_t count) {
  std::string text;
  for (uint32_t i = 0; i < count; ++i) text += (i == 0 ? "" : " ") + Hex(bytes[i]);
  return text;
}

// "low-high instructions | code data register instructions".
std::string Describe(const Dwarf2Fde& fde) {
  const Dwarf2Cie& cie = *fde.cie;
  return Hex(fde.lowPc) + "-" + Hex(fde.highPc) + " " + Bytes2Text(fde.instructions, fde.instructionLength) + " | " +
         std::to_string(cie.codeAlignment) + " " + std::to_string(cie.dataAlignment) + " " +
         std::to_string(cie.returnRegister) + " " + Bytes2Text(cie.instructions, cie.instructionLength);
}

TEST_F(FrameInformation, HangsOnTheFirstModuleByAddress) {
  for (const ByteOrder order : bothOrders) {
    for (const uint8_t size : oddAddressSizes) {
      // An FDE in front of its CIE, a CIE with an augmentation, and a CIE that is not there.
      // clang-format off
      const Frames frames = Frames(size)
          .fde("late", 0x70, 0x10, {0x44}).cie("early", 2, -4, 65, {0x0C, 1, 0}).fde("early", 0x10, 0x20, {1, 2})
          .fde("nowhere", 0x50, 1).cie("late", 300, 8, 0xFF, {}, "zR").fde("early", 0x30, 0x20)
          .u32(4 + 2 * uint32_t{size}).label("nowhere").ref("early").number(0x60, size).number(0, size);
      // clang-format on
      const DescModule* module = LoadFrames(order, frames, size);
      ASSERT_NE(module, nullptr) << int{size};
      EXPECT_EQ(Listed(module->ext->frames, [](const Dwarf2Fde& fde) { return Describe(fde); }),
                (Texts{"10-30 1 2 | 2 -4 65 c 1 0", "30-50  | 2 -4 65 c 1 0", "50-51  | 0 0 0 ",
                       "60-60  | 2 -4 65 c 1 0", "70-80 44 | 300 8 255 "}));
      EXPECT_EQ(module->ext->frames->cie->offset, frames.labels().at("early"));
      EXPECT_EQ(module->next->ext->frames, nullptr);
    }
  }
}

// The order is that of insertion into a sorted list by three rules, told here as they stand: in front of the head when
// lower, behind the last when higher, else behind the last record with a lower address, but never in front of the head.
TEST_F(FrameInformation, EqualAddressesKeepTheOrderOfInsertion) {
  Random random(1);
  for (uint32_t round = 0; round < 20; ++round) {
    std::vector<std::pair<uint32_t, uint32_t>> expected;  // address, and number as size
    Frames frames;
    frames.cie("cie", 1, 1, 1, {});
    for (uint32_t number = 0; number < 60; ++number) {
      const uint32_t low = 0x100 + random.below(round + 2);
      frames.fde("cie", low, number);
      auto place = expected.begin();
      if (!expected.empty() && low > expected.back().first) {
        place = expected.end();
      } else if (!expected.empty() && low >= expected.front().first) {
        place = std::find_if(place + 1, expected.end(), [low](const auto& each) { return each.first >= low; });
      }
      expected.insert(place, {low, number});
    }
    auto place = expected.begin();
    for (const Dwarf2Fde* fde = LoadFrames(ByteOrder::little, frames)->ext->frames; fde != nullptr; fde = fde->next) {
      ASSERT_EQ(std::pair(fde->lowPc, fde->highPc - fde->lowPc), *place++) << "round " << round;
    }
    EXPECT_EQ(place, expected.end());
  }
  // Many in mixed order take no quadratic time.
  constexpr uint32_t COUNT = 60000;
  Frames frames;
  frames.cie("cie", 1, 1, 1, {});
  for (uint32_t i = 0; i < COUNT; ++i) frames.u32(12).u32(0).u32(i * 7919 % COUNT * 16 + 16).u32(8);
  uint32_t low = 0;
  for (const Dwarf2Fde* fde = LoadFrames(ByteOrder::big, frames)->ext->frames; fde != nullptr; fde = fde->next) {
    ASSERT_EQ(fde->lowPc, low += 16);
  }
  EXPECT_EQ(low, COUNT * 16);
}

TEST_F(FrameInformation, LengthsThatDoNotFitFailTheBuild) {
  const Bytes facts[] = {
      Bytes().u32(11).u32(0).u32(1).u32(2).u32(3),                                  // less than an FDE's fixed fields
      Bytes().u32(0).u32(0),                                                        // no end mark
      Bytes().u32(3).u32(0xFFFFFFFF).u8(1).text("").uleb(1).sleb(1).u8(1),          // less than CIE_id
      Bytes().u32(6).u32(0xFFFFFFFF).u8(1).text("a").uleb(1).sleb(1).u8(1),         // ends within the fixed fields
      Bytes().u32(0x7FFFFFF0).u32(0).u32(1).u32(2),                                 // not in the file
      Bytes().u32(0xFFFFFFF0).u32(0xFFFFFFFF).u8(1).text("").uleb(1).sleb(1).u8(1)  // neither
  };
  for (const Bytes& frames : facts) {
    for (const ByteOrder order : bothOrders) {
      EXPECT_EQ(LoadFrames(order, frames), nullptr);
      EXPECT_EQ(TakeMessages(), Texts{ERROR_IN_OBJECT_FILE});
    }
  }
}

// Records as published: `idSize` bytes of id, after the length of its format.
Bytes Record(uint32_t idSize) { return idSize == 8 ? Bytes().u32(0xFFFFFFFF).length(8) : Bytes().length(); }
Bytes Cie(uint8_t version, const std::string& augmentation, uint32_t idSize = 4) {
  return Record(idSize).number(UINT64_MAX, 4).number(UINT64_MAX, idSize - 4).u8(version).text(augmentation);
}
Bytes Fde(const std::string& cie, uint32_t low, uint32_t range) {
  return Bytes().length().ref(cie).u32(low).u32(range);
}

TEST_F(FrameInformation, AsPublishedEachVersionAndFormat) {
  const EnvironmentValue published("DWARFRULES", "PUBLISHED");
  const Bytes one = Joined(Bytes().label("one"), Cie(1, "").uleb(1).sleb(-4).u8(0x81).raw({7}));
  const Texts oneText = {"10-14 5 | 1 -4 129 7"};
  const Bytes oneFde = Fde("one", 0x10, 4).raw({5});
  const struct {
    const char* what;
    Bytes bytes;
    Texts expected;
    const char* reason;
  } facts[] = {
      // clang-format off
      {"version 1", Joined(oneFde, one), oneText, ""},
      {"version 3: any register", Joined(Bytes().label("c"), Cie(3, "").uleb(2).sleb(8).uleb(300).raw({7}),
                                         Fde("c", 0x10, 4)), {"10-14  | 2 8 300 7"}, ""},
      {"version 4: sizes of address and segment",
       Joined(Bytes().label("c"), Cie(4, "").u8(2).u8(1).uleb(2).sleb(8).uleb(3),
              Bytes().length().ref("c").u8(9).u16(0x10).u16(4).u8(5)), {"10-14 5 | 2 8 3 "}, ""},
      {"the 64-bit format", Joined(Bytes().label("c"), Cie(3, "", 8).uleb(2).sleb(8).uleb(3),
                                   Record(8).ref("c", 8).u32(0x10).u32(4).u8(5)), {"10-14 5 | 2 8 3 "}, ""},
      {"augmentation data", Joined(Bytes().label("c"), Cie(1, "zS").uleb(2).sleb(8).u8(3).uleb(2).raw({1, 2}).u8(7),
                                   Fde("c", 0x10, 4).uleb(3).raw({1, 2, 3}).u8(5)), {"10-14 5 | 2 8 3 7"}, ""},
      {"a table of exceptions", Joined(Bytes().label("c"), Cie(1, "eh").u32(99).uleb(2).sleb(8).u8(3),
                                       Fde("c", 0x10, 4)), {"10-14  | 2 8 3 "}, ""},
      {"an augmentation that nobody knows is passed over",
       Joined(Bytes().label("c"), Cie(1, "x").raw({1, 2, 3}), Fde("c", 0x10, 4), one, oneFde), oneText, ""},
      {"code that the linker threw away", Joined(one, Fde("one", 0, 4), Fde("one", 1, 4), oneFde), oneText, ""},
      {"an unknown version", Joined(Bytes().label("c"), Cie(2, "").pad(9), Fde("c", 0x10, 4), one, oneFde), oneText,
       "the version of a frame record is not known"},
      {"no CIE", Joined(Bytes().label("none").u32(0), Fde("none", 0x10, 4), one, oneFde), oneText,
       "a frame description names no common entry"},
      {"short records", Joined(Bytes().u32(3).pad(3), one, Bytes().length().ref("one").u32(1), oneFde), oneText,
       "a frame record is shorter than its fields"},
      {"a short description", Joined(one, Bytes().length().ref("one").u32(9), oneFde), oneText,
       "a frame description is shorter than its fields"},
      {"augmentation data past the record",
       Joined(Bytes().label("c"), Cie(1, "zR").uleb(1).sleb(1).u8(1).uleb(9), Fde("c", 0x10, 4), one, oneFde), oneText,
       "the augmentation data of a frame record is longer than the record"},
      {"a record past the section", Joined(one, oneFde, Bytes().u32(0x40).ref("one").u32(0x20).u32(4)), oneText,
       "a frame record leads outside the section"},
      // clang-format on
  };
  for (const auto& fact : facts) {
    for (const ByteOrder order : bothOrders) {
      const DescModule* module = LoadFrames(order, fact.bytes);
      ASSERT_NE(module, nullptr) << fact.what;
      EXPECT_EQ(Listed(module->ext->frames, [](const Dwarf2Fde& fde) { return Describe(fde); }), fact.expected)
          << fact.what;
      EXPECT_STREQ(LastFailure(loader).text, fact.reason) << fact.what;
      TakeMessages();
    }
  }
}

// `.eh_frame`, with its CIE in front of all that name it.
class EhFrames : public ByteChain<EhFrames> {
 public:
  static constexpr uint32_t ADDRESS = 0x8000;  // of the section

  EhFrames& cie(const std::string& augmentation, const RawBytes& data) {
    cie_ = size();
    append(Bytes().length().u32(0).u8(1).text(augmentation).uleb(4).sleb(-4).u8(14).uleb(data.size()).raw(data));
    return *this;
  }
  // Low address and range as numbers of `bytes` bytes, the address counted from its own place where `isRelative`.
  EhFrames& fde(uint32_t low, uint32_t range, uint32_t bytes, bool isRelative) {
    const uint32_t id = size() + 4;
    const uint64_t place = isRelative ? uint64_t{ADDRESS} + id + 4 : 0;
    return append(Bytes().length().u32(id - cie_).number(low - place, bytes).number(range, bytes).uleb(0).u8(5));
  }

 private:
  uint32_t cie_ = 0;
};

TEST_F(FrameInformation, OfEhFrameForCodeThatDebugFrameDoesNotCover) {
  const EnvironmentValue published("DWARFRULES", "PUBLISHED");
  const Frames covering = Frames().cie("cie", 1, 1, 1, {}).fde("cie", 0x100, 0x10).fde("cie", 0x110, 0x10);
  const auto both = [](uint32_t low) { return Hex(low) + "-" + Hex(low + 0x20) + " 5 | 4 -4 14 "; };
  for (const ByteOrder order : bothOrders) {
    const auto read = [&](const EhFrames& frames) {
      const Unit unit = Unit().parent(DW_TAG_compile_unit).end();
      ElfFile file = Dwarf2File(order, unit).section(".debug_frame", covering).section(".eh_frame", frames);
      file.set(&ElfSectionHeader::sh_addr, EhFrames::ADDRESS);
      Load(file.section(".got", Bytes()).set(&ElfSectionHeader::sh_addr, 0x4000));
      return Listed(table.Modules()->ext->frames, [](const Dwarf2Fde& fde) { return Describe(fde); });
    };
    const Texts covered = {"100-110  | 1 1 1 ", "110-120  | 1 1 1 "};
    const auto with = [&](const std::string& text) { return Texts{covered[0], covered[1], text}; };
    // By encoding: the format, and 0x10 for pcrel, 0x30 for datarel.
    const struct {
      uint8_t encoding;
      uint32_t bytes;
      uint32_t low;
    } encodings[] = {{0x00, 4, 0x9000}, {0x02, 2, 0x9000}, {0x03, 4, 0x9000}, {0x04, 8, 0x9000}, {0x0B, 4, 0x9000},
                     {0x10, 4, 0x9000}, {0x1B, 4, 0x7000}, {0x1A, 2, 0x7000}, {0x1C, 8, 0x7000}};
    for (const auto& encoding : encodings) {
      EhFrames frames;
      frames.cie("zR", {encoding.encoding}).fde(encoding.low, 0x20, encoding.bytes, (encoding.encoding & 0x10) != 0);
      EXPECT_EQ(read(frames), with(both(encoding.low))) << Hex(encoding.encoding);
    }
    EXPECT_EQ(read(EhFrames().cie("zR", {0x3B}).fde(0x200, 0x20, 4, false)), with(both(0x4200)));
    EXPECT_EQ(read(EhFrames().cie("zPLRS", {0x02, 0xAA, 0xBB, 0x1B, 0x03}).fde(0x9000, 0x20, 4, false)),
              with(both(0x9000)));
    const Bytes leb = Bytes().length().u32(EhFrames().cie("zR", {1}).size() + 4).uleb(0x9000).uleb(0x20).u8(0).u8(5);
    EXPECT_EQ(read(EhFrames().cie("zR", {1}).append(leb)), with(both(0x9000)));
    // What is covered as a whole is left out; a length of 0 ends the section.
    EXPECT_EQ(read(EhFrames().cie("zR", {3}).fde(0x100, 0x20, 4, false).fde(0x118, 8, 4, false)), covered);
    EXPECT_EQ(read(EhFrames().cie("zR", {3}).fde(0x118, 0x20, 4, false).u32(0).fde(0x9000, 0x20, 4, false)),
              with(both(0x118)));
    // A pointer to the pointer has no meaning in a file.
    EXPECT_EQ(read(EhFrames().cie("zR", {0x9B}).fde(0x9000, 0x20, 4, true)), covered);
    EXPECT_STREQ(LastFailure(loader).section, ".eh_frame");
    EXPECT_EQ(TakeMessages(), Texts{ERROR_IN_OBJECT_FILE});
  }
}

}  // namespace
