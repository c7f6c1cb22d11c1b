// The sample firmware, cut off and falsified: every operation ends, says at most one thing per build, leaves records
// that can be read, and gives its memory back. The sanitizers see the rest.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "support/describe.h"
#include "support/random.h"

namespace {

class Damage : public HostTest {
 protected:
  void SetUp() override {
    HostTest::SetUp();
    std::ifstream file(ELFLOAD_SAMPLE, std::ios::binary);
    sample_.assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    ASSERT_GT(sample_.size(), 1000u);
    testing::internal::CaptureStdout();
  }
  void TearDown() override {
    testing::internal::GetCapturedStdout();
    HostTest::TearDown();
  }

  // Everything that a host does with a file.
  void Survive(const RawBytes& bytes) {
    DescModule* first = LoadPath(TempFolder::OfProcess().Write("damaged.elf", bytes));
    char name[16];
    unsigned long entry = 0;
    if (opened == 1) {
      loader.GetInfo(name, sizeof(name), &entry);
      char section[] = ".debug_info";
      Argument argument = {section, 0, nullptr};
      EXPECT_EQ(loader.Execute(REQUEST_SECTION_BY_NAME, &argument), 1);
      if (argument.size < 0x10000) {
        RawBytes buffer(argument.size + 1);
        argument.buffer = reinterpret_cast<char*>(buffer.data());
        loader.Execute(REQUEST_SECTION_BY_NAME, &argument);
      }
    }
    DescModule* found = nullptr;
    loader.FindModuleFromName(first, "log_add", &found, FIND_ALL);
    loader.FindModuleFromAdr(first, {0x100000, 0}, &found, FIND_DATA);
    size_t characters = 0;
    for (DescModule* module = first; module != nullptr; module = module->next) {
      loader.Extend(module, SYM_LOAD_ALL);
      EXPECT_EQ(module->loadedKinds, uint32_t{SYM_LOAD_ALL});
      EXPECT_NE(module->lineBlocks, nullptr);
      characters += DescribedInLine(module->types).size() + DescribedInLine(module->vars).size() +
                    DescribedInLine(module->files).size() + DescribedInLine(module->lineBlocks).size();
      for (const DescProc* proc = module->procs; proc != nullptr; proc = proc->next) {
        characters +=
            Describe(*proc).size() + DescribedInLine(proc->params).size() + DescribedInLine(proc->locals).size();
      }
    }
    EXPECT_LT(characters, 100 * sample_.size());
    EXPECT_LE(TakeMessages().size(), 1u);
    loader.Close();
    table.Reset(nullptr);
  }

  RawBytes sample_;
};

TEST_F(Damage, AWholeFileSaysNothing) {
  const DescModule* first = LoadPath(ELFLOAD_SAMPLE);
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(Names(first), (Texts{"start.c", "main.c", "led.c", "log.c"}));
  Survive(sample_);
}

TEST_F(Damage, TheFileMayEndAnywhere) {
  for (size_t length = 0; length < sample_.size(); length += length < 200 ? 7 : 61) {
    Survive(RawBytes(sample_.begin(), sample_.begin() + static_cast<std::ptrdiff_t>(length)));
  }
}

// Every byte of the ELF header, of the program headers and of the section headers.
TEST_F(Damage, HeadersMayBeWrong) {
  std::vector<size_t> places;
  for (size_t i = 0; i < 116; ++i) {
    places.push_back(i);
  }
  for (size_t i = sample_.size() - 18 * 40; i < sample_.size(); ++i) {
    places.push_back(i);
  }
  for (const size_t place : places) {
    RawBytes bytes = sample_;
    bytes[place] ^= place % 2 == 0 ? 0xFF : 0x01;
    Survive(bytes);
  }
}

TEST_F(Damage, AnyByteMayBeWrong) {
  Random random(20);
  constexpr uint32_t DEBUG_SECTIONS = 0x55C;
  const auto end = static_cast<uint32_t>(sample_.size()) - 18 * 40;
  for (int round = 0; round < 400; ++round) {
    RawBytes bytes = sample_;
    for (uint32_t flips = random.below(4); flips < 4; ++flips) {
      bytes[DEBUG_SECTIONS + random.below(end - DEBUG_SECTIONS)] = static_cast<uint8_t>(random.below(256));
    }
    Survive(bytes);
  }
}

}  // namespace
