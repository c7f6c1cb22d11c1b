// `.debug_frame`: CIEs and FDEs with their raw instructions, and the order of the list.
#include <gtest/gtest.h>

#include "support/describe.h"
#include "support/dwarf2_builder.h"
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

}  // namespace
