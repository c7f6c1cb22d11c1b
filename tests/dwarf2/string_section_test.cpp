// Texts of .debug_str: read in parts when they are asked for, texts across parts, texts that do not end in the section.
#include "dwarf2/string_section.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(StringSection, HasEveryTextThatEndsInIt) {
  // Texts of all lengths, one of them over several parts, and at the end one without an end.
  std::string bytes("before", 6);
  std::vector<uint32_t> offsets;
  for (uint32_t length = 0; bytes.size() < 700000; length = (length * 7 + 3) % 5000) {
    offsets.push_back(static_cast<uint32_t>(bytes.size()));
    bytes += std::string(bytes.size() > 200000 && bytes.size() < 210000 ? 250000 : length, 'x') + '\0';
  }
  const auto end = static_cast<uint32_t>(bytes.size());
  bytes += "no end";
  const auto source = ByteSource::FromMemory(bytes.data(), bytes.size());
  const SectionPlace section = {".debug_str", 6, static_cast<uint32_t>(bytes.size() - 6), true};
  mem_desc* heap = HEAP_Create(0, 0, 0);
  for (const size_t step : {1u, 37u}) {  // in file order, and jumping about
    StringSection strings;
    strings.Make(heap, source.get(), section);
    Failure failure;
    for (size_t i = 0; i < offsets.size(); ++i) {
      const uint32_t offset = offsets[i * step % offsets.size()];
      const char* text = strings.At(offset - 6, source.get(), &failure);
      ASSERT_NE(text, nullptr);
      ASSERT_STREQ(text, bytes.c_str() + offset);
    }
    EXPECT_EQ(strings.At(end - 6, source.get(), &failure), nullptr) << "no end in the section";
    EXPECT_EQ(strings.At(0x10000000, source.get(), &failure), nullptr) << "not in the section";
    EXPECT_FALSE(failure);
  }
  StringSection none;
  none.Make(heap, source.get(), {".debug_str", 0, 0, false});
  Failure failure;
  EXPECT_EQ(none.At(0, source.get(), &failure), nullptr);
  HEAP_Release(heap);
}

}  // namespace
