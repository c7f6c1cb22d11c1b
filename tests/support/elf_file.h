// An ELF file as a test describes it, right or wrong.
//
//   const OpenedImage image = ElfFile(ByteOrder::big).machine(EM_PPC).entry(0x100)
//       .segment(PT_LOAD, 0x1000, Bytes().u32(1)).set(&ElfProgramHeader::p_paddr, 0x8000)
//       .section(".debug_str", Bytes().text("x")).set(&ElfSectionHeader::sh_size, 9999)
//       .note(10, Bytes().u32(48))
//       .set(&ElfImage::e_phentsize, 56)
//       .open();
//
// Offsets, sizes and counts are worked out when the file is built; `set` then overwrites a field of the header, or of
// the segment or section described last. File order: header, program headers, segments, sections, section headers.
#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "elf/elf_image.h"
#include "support/bytes.h"
#include "support/temp_folder.h"
#include "tarnixcore/files.h"

// Closes the image at the end of the test.
class OpenedImage {
 public:
  explicit OpenedImage(const std::string& path)
      : image_(ELF_Open(path.c_str(), fullPath, sizeof(fullPath), &failure)) {}
  OpenedImage(const OpenedImage&) = delete;
  OpenedImage& operator=(const OpenedImage&) = delete;
  ~OpenedImage() {
    if (image_ != nullptr) ELF_Close(image_);
  }
  operator ElfImage*() const { return image_; }
  ElfImage* operator->() const { return image_; }

  char fullPath[FE_NAME_SIZE] = {};
  Failure failure;

 private:
  ElfImage* image_;
};

class ElfFile {
 public:
  explicit ElfFile(ByteOrder order = ByteOrder::big) : order_(order) {
    for (const auto& [index, byte] : {std::pair{0, 0x7F}, {1, 'E'}, {2, 'L'}, {3, 'F'}, {4, 1}, {6, 1}}) {
      header_.e_ident[index] = static_cast<uint8_t>(byte);
    }
    header_.e_ident[EI_DATA] = order == ByteOrder::little ? ELFDATA2LSB : ELFDATA2MSB;
    header_.e_type = 2;
    header_.e_machine = EM_PPC;
    header_.e_version = 1;
    header_.e_ehsize = 52;
    header_.e_phentsize = 32;
    header_.e_shentsize = 40;
    section("", Bytes()).set(&ElfSectionHeader::sh_type, 0);
  }

  ElfFile& machine(uint16_t value) { return header_.e_machine = value, *this; }
  ElfFile& entry(uint32_t value) { return header_.e_entry = value, *this; }
  ElfFile& ident(int index, uint8_t value) { return header_.e_ident[index] = value, *this; }
  ElfFile& segment(uint32_t type, uint32_t address, const Chunk& contents) {
    segments_.push_back({{type, 0, address, address, 0, 0, PF_R | PF_X, 1}, contents, {}});
    return *this;
  }
  template <class... Chunks>
  ElfFile& section(const std::string& name, const Chunks&... chunks) {
    sections_.push_back({name, {0, 1, 0, 0, 0, 0, 0, 0, 1, 0}, Joined(chunks...), {}});
    return *this;
  }
  // Adds a record to the section `.note`, which the first one makes.
  ElfFile& note(uint32_t type, const Chunk& descriptor, const std::string& name = "TARNIX AG") {
    if (sections_.back().name != ".note") section(".note").set(&ElfSectionHeader::sh_type, SHT_NOTE);
    const auto nameSize = static_cast<uint32_t>(name.size() + 1);
    sections_.back().contents.u32(nameSize).u32(descriptor.size()).u32(type).text(name).append(descriptor);
    return *this;
  }

  ElfFile& set(uint16_t ElfImage::*field, uint16_t value) {
    headerFields_.emplace_back([=](ElfImage& header) { header.*field = value; });
    return *this;
  }
  ElfFile& set(uint32_t ElfImage::*field, uint32_t value) {
    headerFields_.emplace_back([=](ElfImage& header) { header.*field = value; });
    return *this;
  }
  ElfFile& set(uint32_t ElfProgramHeader::*field, uint32_t value) {
    return segments_.back().fields.emplace_back(field, value), *this;
  }
  ElfFile& set(uint32_t ElfSectionHeader::*field, uint32_t value) {
    return sections_.back().fields.emplace_back(field, value), *this;
  }

  RawBytes build() const {
    std::vector<Segment> segments = segments_;
    std::vector<Section> sections = sections_;
    Bytes names;
    Labels labels;
    sections.push_back({".shstrtab", {0, 3, 0, 0, 0, 0, 0, 0, 1, 0}, {}, {}});
    for (Section& section : sections) {
      section.header.sh_name = names.size();
      names.text(section.name);
      for (const auto& label : section.contents.labels()) labels.insert(label);
    }
    sections.back().contents = names;

    ElfImage header = header_;
    header.e_phnum = static_cast<uint16_t>(segments.size());
    header.e_shnum = static_cast<uint16_t>(sections.size());
    header.e_shstrndx = static_cast<uint16_t>(sections.size() - 1);
    header.e_phoff = HEADER_SIZE;

    Bytes contents;
    const uint32_t start = HEADER_SIZE + 32 * header.e_phnum;
    for (Segment& segment : segments) {
      segment.header.p_offset = start + contents.size();
      segment.header.p_filesz = segment.header.p_memsz = segment.contents.size();
      contents.raw(segment.contents.In(order_, labels));
    }
    for (Section& section : sections) {
      section.header.sh_offset = start + contents.size();
      section.header.sh_size = section.contents.size();
      contents.raw(section.contents.In(order_, labels));
    }
    header.e_shoff = start + contents.size();
    for (const auto& change : headerFields_) change(header);

    Bytes file;
    file.raw(RawBytes(header.e_ident, header.e_ident + EI_NIDENT)).u16(header.e_type).u16(header.e_machine);
    file.u32(header.e_version).u32(header.e_entry).u32(header.e_phoff).u32(header.e_shoff).u32(header.e_flags);
    file.u16(header.e_ehsize).u16(header.e_phentsize).u16(header.e_phnum);
    file.u16(header.e_shentsize).u16(header.e_shnum).u16(header.e_shstrndx);
    for (Segment& segment : segments) {
      for (const auto& [field, value] : segment.fields) segment.header.*field = value;
      const ElfProgramHeader& h = segment.header;
      file.u32(h.p_type).u32(h.p_offset).u32(h.p_vaddr).u32(h.p_paddr).u32(h.p_filesz).u32(h.p_memsz);
      file.u32(h.p_flags).u32(h.p_align);
    }
    file.append(contents);
    for (Section& section : sections) {
      for (const auto& [field, value] : section.fields) section.header.*field = value;
      const ElfSectionHeader& h = section.header;
      file.u32(h.sh_name).u32(h.sh_type).u32(h.sh_flags).u32(h.sh_addr).u32(h.sh_offset).u32(h.sh_size);
      file.u32(h.sh_link).u32(h.sh_info).u32(h.sh_addralign).u32(h.sh_entsize);
    }
    return file.In(order_);
  }

  // Writes the file into the process's folder and returns its path.
  std::string write(const std::string& name = "test.elf") const { return TempFolder::OfProcess().Write(name, build()); }
  OpenedImage open() const { return OpenedImage(write()); }

 private:
  static constexpr uint32_t HEADER_SIZE = 52;
  struct Segment {
    ElfProgramHeader header;
    Chunk contents;
    std::vector<std::pair<uint32_t ElfProgramHeader::*, uint32_t>> fields;
  };
  struct Section {
    std::string name;
    ElfSectionHeader header;
    Bytes contents;
    std::vector<std::pair<uint32_t ElfSectionHeader::*, uint32_t>> fields;
  };

  ByteOrder order_;
  ElfImage header_{};
  std::vector<Segment> segments_;
  std::vector<Section> sections_;
  std::vector<std::function<void(ElfImage&)>> headerFields_;
};
