// Opening: which headers and tables are accepted, what is printed for the others, and the note records.
#include "elf/elf_image.h"

#include <gtest/gtest.h>

#include "support/elf_file.h"

namespace {

const char* const ILLEGAL_HEADER = "ERROR: not ELF or illegal ELF header values\n";
const char* const CORRUPT = "ERROR: illegal ELF header values (file corrupt?)\n";
const char* const NO_SECTIONS = "No Section Header Table\nERROR: ReadSectHeaderTab\n";

// Header, one program header and 4 bytes of code: everything before the sections takes 88 bytes.
ElfFile SmallFile(ByteOrder order) {
  ElfFile file(order);
  file.machine(EM_68K).entry(0x1234).segment(PT_LOAD, 0x1000, Bytes().u32(0x11223344));
  file.section(".data", Bytes().pad(200));
  return file;
}

uint32_t FileSize(const ElfFile& file) { return static_cast<uint32_t>(file.build().size()); }
void SetHeaderSize(ElfFile& file, uint32_t past) {
  file.set(&ElfImage::e_ehsize, static_cast<uint16_t>(FileSize(file) + past));
}
void SetSegment(ElfFile& file, uint32_t offset, uint32_t size) {
  file.set(&ElfProgramHeader::p_offset, offset).set(&ElfProgramHeader::p_filesz, size);
}

struct Opening {
  bool opened = false;
  std::string printed;
};

// A file that is refused has a reason.
Opening Open(const std::string& path) {
  testing::internal::CaptureStdout();
  const OpenedImage image(path);
  EXPECT_EQ(image == nullptr, bool{image.failure}) << path;
  return {image != nullptr, testing::internal::GetCapturedStdout()};
}

TEST(ElfOpen, ReadsHeaderAndTablesInEitherByteOrder) {
  for (const ByteOrder order : bothOrders) {
    const OpenedImage image = SmallFile(order).set(&ElfImage::e_flags, 0x80000001).open();
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(image->littleEndian, order == ByteOrder::little ? 1u : 0u);
    EXPECT_EQ((std::vector<uint32_t>{image->e_type, image->e_machine, image->e_entry, image->e_flags, image->e_ehsize,
                                     image->e_phnum, image->e_shnum}),
              (std::vector<uint32_t>{2, EM_68K, 0x1234, 0x80000001, 52, 1, 3}));
    const ElfProgramHeader& segment = image->programHeaders[0];
    EXPECT_EQ((std::vector{segment.p_vaddr, segment.p_flags, segment.p_align}),
              (std::vector<uint32_t>{0x1000, PF_R | PF_X, 1}));
    const ElfSectionHeader& section = image->sectionHeaders[1];
    EXPECT_STREQ(image->sectionNames + section.sh_name, ".data");
    EXPECT_EQ((std::vector{section.sh_size, section.sh_addralign}), (std::vector{200u, 1u}));
    EXPECT_EQ(image->noteValue, NOTE_VALUE_DEFAULT);
    EXPECT_EQ(image->noteText, nullptr);
    EXPECT_EQ(image->warnOutOfDate, 1u);
    EXPECT_STREQ(image.fullPath, TempFolder::OfProcess().Path("test.elf").c_str());
  }
}

// Refused files, and odd ones that are accepted. The first test that fails decides what is printed.
TEST(ElfOpen, TestsHeaderThenSegmentsThenSections) {
  using Change = void (*)(ElfFile&);
  const struct {
    const char* what;
    Change change;
    const char* printed;  // null: whatever is printed, it is refused
    bool opens = false;
  } facts[] = {
      // clang-format off
      {"as it should be", [](ElfFile&) {}, "", true},
      {"wrong magic", [](ElfFile& f) { f.ident(3, 'G'); }, ILLEGAL_HEADER},
      {"class, version and type are not tested", [](ElfFile& f) { f.ident(EI_CLASS, 2).ident(6,
       9).set(&ElfImage::e_type, 77); },
       "", true},
      {"entry sizes of 0", [](ElfFile& f) { f.set(&ElfImage::e_phentsize, 0).set(&ElfImage::e_shentsize, 0); }, "",
       true},
      {"section entries of a 64-bit file", [](ElfFile& f) { f.set(&ElfImage::e_shentsize, 64); }, ILLEGAL_HEADER},
      {"segment entries of a 64-bit file", [](ElfFile& f) { f.set(&ElfImage::e_phentsize, 56); }, ILLEGAL_HEADER},
      {"segment table past the file", [](ElfFile& f) { f.set(&ElfImage::e_phoff, FileSize(f) + 1); }, ILLEGAL_HEADER},
      {"section table past the file", [](ElfFile& f) { f.set(&ElfImage::e_shoff, 0xFFFFFFF0); }, ILLEGAL_HEADER},
      {"header size at the file size", [](ElfFile& f) { SetHeaderSize(f, 0); }, "", true},
      {"header size past the file", [](ElfFile& f) { SetHeaderSize(f, 1); }, ILLEGAL_HEADER},
      {"no segment table", [](ElfFile& f) { f.set(&ElfImage::e_phoff, 0); },
       "No Program Header Table\nERROR: ReadProgHeaderTab\n", true},
      {"segment up to the end of the file", [](ElfFile& f) { SetSegment(f, 84, FileSize(f) - 84); }, "", true},
      {"segment one byte longer", [](ElfFile& f) { SetSegment(f, 84, FileSize(f) - 83); }, CORRUPT},
      {"offset and size whose sum wraps", [](ElfFile& f) { SetSegment(f, 0xFFFFFFF0, 0x20); }, CORRUPT},
      {"empty segment far away", [](ElfFile& f) { SetSegment(f, 0xFFFFFFF0, 0); }, "", true},
      {"no section table", [](ElfFile& f) { f.set(&ElfImage::e_shoff, 0); }, NO_SECTIONS},
      {"segments are tested before sections", [](ElfFile& f) { SetSegment(f.set(&ElfImage::e_shoff, 0), 84,
       0x10000); }, CORRUPT},
      // A section table that begins at the end of the file reads as 0xFF, name table included.
      {"section table at the end of the file", [](ElfFile& f) { f.set(&ElfImage::e_shoff, FileSize(f)); }, nullptr},
      {"name table past the file", [](ElfFile& f) { f.section("names").set(&ElfSectionHeader::sh_size,
       5000).set(&ElfImage::e_shstrndx, 2); }, "Size error\nERROR: ReadSectHeaderTab\n"},
      {"name table index past the table", [](ElfFile& f) { f.set(&ElfImage::e_shstrndx, 999); }, nullptr},
      // clang-format on
  };
  for (const auto& fact : facts) {
    for (const ByteOrder order : bothOrders) {
      ElfFile file = SmallFile(order);
      fact.change(file);
      const Opening opening = Open(file.write());
      EXPECT_EQ(opening.opened, fact.opens) << fact.what;
      if (fact.printed != nullptr) {
        EXPECT_EQ(opening.printed, fact.printed) << fact.what;
      }
    }
  }
}

TEST(ElfOpen, WhatIsNoElfFile) {
  const TempFolder& folder = TempFolder::OfProcess();
  const RawBytes whole = SmallFile(ByteOrder::big).build();
  EXPECT_EQ(Open(folder.Path("missing.elf")).printed, "");
  EXPECT_FALSE(Open(folder.Path("missing.elf")).opened);
  EXPECT_FALSE(Open(folder.Path("")).opened);
  EXPECT_EQ(Open(folder.Write("empty.elf", {})).printed, ILLEGAL_HEADER);
  EXPECT_EQ(Open(folder.Write("text.elf", RawBytes(300, 'x'))).printed, ILLEGAL_HEADER);
  // Up to the size of the name table, in the last section header.
  for (size_t length = 0; length < whole.size() - 16; ++length) {
    const RawBytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
    const Opening opening = Open(folder.Write("cut.elf", cut));
    EXPECT_FALSE(opening.opened) << length;
    EXPECT_NE(opening.printed, "") << length;
  }
}

const Bytes VALUE_48 = Bytes().u32(48);

TEST(NoteRecords, HoldValueAndText) {
  const auto with = [](uint32_t type, const Bytes& contents) { return std::pair(type, contents); };
  const auto text = [](const char* words) { return std::pair(11u, Bytes().text(words)); };
  const auto value = with(10, VALUE_48);
  const struct {
    const char* what;
    std::vector<std::pair<uint32_t, Bytes>> records;
    uint32_t value;
    const char* text = nullptr;
  } facts[] = {
      {"value", {value}, 48},
      {"text, whose last byte is overwritten", {with(11, Bytes().raw({'a', 'b', 'c'}))}, 16, "ab"},
      {"empty text", {with(11, {}), value}, 48},
      {"text and value, other types between", {text("one"), with(99, Bytes().u16(5)), value}, 48, "one"},
      {"second text replaces the first", {text("one"), text("two")}, 16, "two"},
      {"second value replaces the first", {with(10, Bytes().u32(1)), value}, 48},
      {"value of 8 bytes ends the walk", {with(10, Bytes().u64(48)), text("unread")}, 16},
      {"value of 8 bytes at the end", {with(10, Bytes().u64(48))}, 16},
      {"value, then a failing record: the walk has to succeed", {value, with(10, Bytes().u16(1))}, 16},
      {"no records", {}, 16},
  };
  for (const auto& fact : facts) {
    for (const ByteOrder order : bothOrders) {
      ElfFile file =
          SmallFile(order).section(".n").set(&ElfSectionHeader::sh_type, fact.records.empty() ? SHT_NOTE : 1u);
      for (const auto& [type, contents] : fact.records) file.note(type, contents);
      const OpenedImage image = file.section("x").note(10, Bytes().u32(7)).open();  // the first note section counts
      ASSERT_NE(image, nullptr);
      EXPECT_EQ(image->noteValue, fact.value) << fact.what;
      EXPECT_STREQ(image->noteText, fact.text) << fact.what;
    }
  }
}

}  // namespace
