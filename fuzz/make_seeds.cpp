// Writes the seeds of all fuzz targets: sound files, and the sections of theirs and of the files named.
//
//   fuzz_seeds FOLDER [ELF-FILE...]    writes FOLDER/TARGET/NUMBER
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "elf/elf_image.h"
#include "elf/sections.h"
#include "section_targets.h"
#include "sound_files.h"

namespace {

std::filesystem::path folder;
int seeds = 0;

void Write(const std::string& target, const RawBytes& bytes) {
  std::filesystem::create_directories(folder / target);
  std::ofstream((folder / target / std::to_string(seeds++)), std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

RawBytes Contents(const ElfImage* image, const char* section) {
  const ElfSectionHeader* header = section != nullptr ? ELF_FindSection(image, section) : nullptr;
  RawBytes bytes(header != nullptr ? header->sh_size : 0);
  if (!bytes.empty()) {
    image->file->ReadAt(header->sh_offset, bytes.data(), header->sh_size);
  }
  return bytes;
}

void WriteFileAndSections(const RawBytes& file) {
  Write("file", file);
  Failure failure;
  ElfImage* image = ELF_OpenSource(ByteSource::FromMemory(file.data(), file.size()), &failure);
  if (image == nullptr) {
    return;
  }
  for (const SectionTarget& target : sectionTargets) {
    const RawBytes first = Contents(image, target.sections[0]);
    const RawBytes second = Contents(image, target.sections[1]);
    if (first.empty() && second.empty()) {
      continue;
    }
    const bool dwarf1 = ELF_FindSection(image, ".debug") != nullptr;
    Bytes input;
    const bool isLater = ELF_FindSection(image, ".debug_line_str") != nullptr;
    input.u8((image->littleEndian != 0 ? OPTION_LITTLE_ENDIAN : 0) | (dwarf1 ? OPTION_DWARF1 : 0) |
             (isLater ? OPTION_LATER : 0));
    if (target.sections[1] != nullptr) {
      input.u8(first.size() % 256).u8(first.size() / 256);
    }
    Write(target.name, input.raw(first).raw(second).In(ByteOrder::little));
  }
  ELF_Close(image);
}

void WriteText(const std::string& target, const std::string& text) {
  Write(target, RawBytes(text.begin(), text.end()));
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::puts("usage: fuzz_seeds FOLDER [ELF-FILE...]");
    return 2;
  }
  folder = argv[1];
  for (const SoundFormat format : {SoundFormat::dwarf1, SoundFormat::dwarf2, SoundFormat::later}) {
    for (const ByteOrder order : bothOrders) {
      WriteFileAndSections(MakeSoundFile(format, order));
    }
  }
  for (int i = 2; i < argc; ++i) {
    std::ifstream file(argv[i], std::ios::binary);
    WriteFileAndSections(RawBytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>()));
  }
  // One operation of each kind of operand, in DWARF 2 and in DWARF 1.
  WriteText("expression",
            std::string("\x10\x03\x00\x00\x20\x00\x91\x7C\x23\x81\x01\x92\x05\x70\x08\xFF\x06\x93\x04", 19));
  WriteText("expression", std::string("\x12\x01\x00\x00\x00\x0E\x04\x00\x00\x00\x08\x07\x03\x00\x00\x20\x00", 17));
  // A whole download, with a description, a map that has flash, and a register by its number.
  WriteText("gdb",
            "\1PacketSize=400;qXfer:features:read+;qXfer:memory-map:read+;QStartNoAckMode+\nOK\nT05thread:1;\n"
            "l<target><reg name=\"pc\" bitsize=\"32\" regnum=\"64\"/></target>\n"
            "l<memory-map><memory type=\"ram\" start=\"0x2000\" length=\"0x1000\"/><memory type=\"flash\" start=\"0\" "
            "length=\"0x2000\"><property name=\"blocksize\">0x100</property></memory></memory-map>\n"
            "OK\nOK\nOK\n0*\"00\nOK\n00000100\nOK\n");
  WriteText("gdb", std::string("\0+$PacketSize=40#ff\n+$#00\n-\n+$E01#a6\n%Stop:T05#00\n+$W00#b7\n", 56));
  return 0;
}
