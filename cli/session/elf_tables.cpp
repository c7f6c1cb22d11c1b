#include "session/elf_tables.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <exception>
#include <fstream>

namespace elfload {

namespace {

constexpr uint32_t HEADER_SIZE = 52;  // Elf32_Ehdr
constexpr size_t BYTE_ORDER_AT = 5;   // EI_DATA
constexpr uint8_t LITTLE_ENDIAN_DATA = 1;
constexpr size_t SEGMENTS_OFFSET_AT = 28;  // e_phoff
constexpr size_t SECTIONS_OFFSET_AT = 32;  // e_shoff
constexpr size_t SEGMENT_COUNT_AT = 44;    // e_phnum
constexpr size_t SECTION_COUNT_AT = 48;    // e_shnum
constexpr size_t NAMES_INDEX_AT = 50;      // e_shstrndx
constexpr uint32_t SEGMENT_WORDS = 8;      // of Elf32_Phdr
constexpr uint32_t SECTION_WORDS = 10;     // of Elf32_Shdr
constexpr size_t CUT_NAME_LENGTH = 100;    // bytes of each name once all together are longer than the file

class TableReader {
 public:
  explicit TableReader(const std::string& path) : file_(path, std::ios::binary) {
    file_.seekg(0, std::ios::end);
    const auto end = file_.tellg();
    fileSize_ = file_ && end > 0 ? static_cast<uint64_t>(end) : 0;
  }

  ElfTables Read() {
    header_ = ReadBytes(0, HEADER_SIZE);
    if (header_.size() < HEADER_SIZE) {
      tables_.missing = "the file cannot be read again";
      return std::move(tables_);
    }
    littleEndian_ = header_[BYTE_ORDER_AT] == LITTLE_ENDIAN_DATA;
    ReadSegments();
    ReadSections();
    return std::move(tables_);
  }

 private:
  // Fewer bytes than asked for where the file ends.
  std::vector<uint8_t> ReadBytes(uint32_t offset, uint32_t size) {
    const uint64_t left = offset < fileSize_ ? fileSize_ - offset : 0;
    std::vector<uint8_t> bytes(static_cast<size_t>(std::min<uint64_t>(size, left)));
    file_.clear();
    file_.seekg(static_cast<std::streamoff>(offset));
    file_.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    bytes.resize(static_cast<size_t>(std::max<std::streamsize>(file_.gcount(), 0)));
    return bytes;
  }

  uint32_t Half(const uint8_t* at) const {
    return static_cast<uint32_t>(littleEndian_ ? at[0] | at[1] << 8 : at[0] << 8 | at[1]);
  }
  uint32_t Word(const uint8_t* at) const {
    return littleEndian_ ? Half(at) | Half(at + 2) << 16 : Half(at) << 16 | Half(at + 2);
  }

  // The entries of a table, each of so many words, as far as they are in the file.
  template <size_t words>
  std::vector<std::array<uint32_t, words>> ReadTable(const char* what, size_t offsetAt, size_t countAt) {
    constexpr uint32_t entrySize = 4 * words;
    const uint32_t offset = Word(&header_[offsetAt]);
    const uint32_t count = offset != 0 ? Half(&header_[countAt]) : 0;
    const std::vector<uint8_t> bytes = ReadBytes(offset, count * entrySize);
    std::vector<std::array<uint32_t, words>> entries(bytes.size() / entrySize);
    for (size_t i = 0; i < entries.size(); i++) {
      for (size_t word = 0; word < words; word++) entries[i][word] = Word(&bytes[i * entrySize + 4 * word]);
    }
    if (entries.size() < count) {
      tables_.damage.push_back(
          fmt::format("the table of {} runs past the end of the file: {} of its {} entries are shown", what,
                      entries.size(), count));
    }
    return entries;
  }

  void ReadSegments() {
    for (const auto& e : ReadTable<SEGMENT_WORDS>("segments", SEGMENTS_OFFSET_AT, SEGMENT_COUNT_AT)) {
      tables_.segments.push_back({e[0], e[1], e[2], e[3], e[4], e[5], e[6], e[7]});
    }
  }

  // The words of an entry: sh_name, sh_type, sh_flags, sh_addr, sh_offset, sh_size and four that are not shown.
  void ReadSections() {
    const auto entries = ReadTable<SECTION_WORDS>("sections", SECTIONS_OFFSET_AT, SECTION_COUNT_AT);
    const uint32_t namesIndex = Half(&header_[NAMES_INDEX_AT]);
    if (namesIndex < entries.size()) {
      const std::vector<uint8_t> bytes = ReadBytes(entries[namesIndex][4], entries[namesIndex][5]);
      tables_.names.assign(bytes.begin(), bytes.end());
    }
    nameBytesLeft_ = fileSize_;
    for (size_t i = 1; i < entries.size(); i++) {
      const auto& e = entries[i];
      ElfSection section{{}, false, e[1], e[2], e[3], e[4], e[5]};
      SetName(e[0], section);
      tables_.sections.push_back(section);
    }
    NoteNames(outside_, "names outside the section of names, left out");
    NoteNames(endless_, "names without an end in the section of names");
    NoteNames(cut_, "names cut, since all together are longer than the file");
  }

  void SetName(uint32_t offset, ElfSection& section) {
    if (offset >= tables_.names.size()) {
      outside_ += offset != 0 || !tables_.names.empty() ? 1 : 0;
      return;
    }
    const char* name = tables_.names.data() + offset;
    const size_t room = tables_.names.size() - offset;
    const auto limit =
        static_cast<size_t>(std::min<uint64_t>(room, std::max<uint64_t>(nameBytesLeft_, CUT_NAME_LENGTH)));
    const void* end = std::memchr(name, '\0', limit);
    const size_t length = end != nullptr ? static_cast<size_t>(static_cast<const char*>(end) - name) : limit;
    section.nameIsCut = end == nullptr && limit < room;
    section.name = {name, section.nameIsCut ? std::min(length, CUT_NAME_LENGTH) : length};
    endless_ += end == nullptr && limit == room ? 1 : 0;
    cut_ += section.nameIsCut ? 1 : 0;
    nameBytesLeft_ -= std::min<uint64_t>(nameBytesLeft_, length);
  }

  void NoteNames(size_t count, const char* what) {
    if (count != 0) tables_.damage.push_back(fmt::format("{}: {} of {}", what, count, tables_.sections.size()));
  }

  std::ifstream file_;
  uint64_t fileSize_ = 0;
  bool littleEndian_ = false;
  std::vector<uint8_t> header_;
  uint64_t nameBytesLeft_ = 0;  // that names may be looked through for their ends
  size_t outside_ = 0;          // names without a place in the section of names
  size_t endless_ = 0;          // names without a terminator
  size_t cut_ = 0;
  ElfTables tables_;
};

}  // namespace

ElfTables ReadElfTables(const std::string& path) {
  try {
    return TableReader(path).Read();
  } catch (const std::exception&) {  // bad_alloc, or the length_error of a size that no memory has
    ElfTables none;
    none.missing = "there is no memory for them";
    return none;
  }
}

}  // namespace elfload
