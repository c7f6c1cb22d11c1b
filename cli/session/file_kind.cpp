#include "session/file_kind.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <system_error>

namespace elfload {

namespace {

using namespace std::string_view_literals;  // NOLINT(google-build-using-namespace): of a suffix alone

struct MagicRow {
  std::string_view bytes;  // at the beginning of the file
  const char* text;
};
constexpr MagicRow magicRows[] = {
    {"!<arch>\n"sv, "an archive; link its members into a program, or take them out: ar x"},
    {"!<thin>\n"sv, "an archive that only lists its members; link them into a program"},
    {"#!"sv, "a script; give the ELF file that it is for"},
    {"MZ"sv, "a Windows or DOS program; give an ELF file"},
    {"\xCE\xFA\xED\xFE"sv, "a Mach-O file; give an ELF file"},
    {"\xCF\xFA\xED\xFE"sv, "a Mach-O file; give an ELF file"},
    {"\x1F\x8B"sv, "compressed with gzip; decompress it: gunzip"},
    {"BZh"sv, "compressed with bzip2; decompress it: bunzip2"},
    {"\xFD"
     "7zXZ\0"sv,
     "compressed with xz; decompress it: unxz"},
    {"\x28\xB5\x2F\xFD"sv, "compressed with zstd; decompress it: unzstd"},
    {"PK\x03\x04"sv, "a ZIP file; take the ELF file out: unzip"},
};

// Memory contents as text: each record begins with a mark, and is in hexadecimal from some character on.
struct HexRow {
  char mark;
  size_t digitsAt;
  const char* text;
};
constexpr HexRow hexRows[] = {
    {':', 1, "Intel HEX, which has no debug information; give the ELF file that it was made from"},
    {'S', 1, "S-records, which have no debug information; give the ELF file that they were made from"},
};
constexpr size_t shortestRecord = 10;  // digits: ":00000001FF", "S9030000FC"

struct TypeRow {
  ElfType type;
  const char* name;  // of a 64-bit file too
  const char* text;
};
constexpr TypeRow typeRows[] = {
    {ElfType::object, "object file", "an object file; relocations are not applied: link it"},
    {ElfType::sharedLibrary, "shared library or movable program",
     "a shared library, or a program that can be moved; link it for one address"},
    {ElfType::core, "core dump", "a core dump; give the program that left it"},
};

struct PlaceRow {
  std::filesystem::file_type type;
  const char* text;
};
constexpr PlaceRow placeRows[] = {
    {std::filesystem::file_type::directory, "a folder; give a file in it"},
    {std::filesystem::file_type::fifo, "a pipe; copy it to a file first"},
    {std::filesystem::file_type::socket, "a socket; copy what it sends to a file first"},
    {std::filesystem::file_type::character, "a device; copy it to a file first"},
    {std::filesystem::file_type::block, "a device; copy it to a file first"},
    {std::filesystem::file_type::unknown, "not a regular file; copy it to a file first"},
};

constexpr std::string_view elfMagic =
    "\x7F"
    "ELF";
constexpr size_t classAt = 4;      // EI_CLASS
constexpr size_t dataAt = 5;       // EI_DATA
constexpr size_t typeAt = 16;      // e_type
constexpr size_t headerSize = 52;  // Elf32_Ehdr
constexpr char class64 = 2;
constexpr char bigEndian = 2;

uint16_t TypeNumber(std::string_view start) {
  const auto first = static_cast<uint8_t>(start[typeAt]);
  const auto second = static_cast<uint8_t>(start[typeAt + 1]);
  return static_cast<uint16_t>(start[dataAt] == bigEndian ? first << 8 | second : second << 8 | first);
}

const TypeRow* FindType(uint16_t number) {
  for (const TypeRow& row : typeRows) {
    if (static_cast<uint16_t>(row.type) == number) return &row;
  }
  return nullptr;
}

std::string ElfKind(std::string_view start) {
  if (start.size() > classAt && start[classAt] == class64) {
    const TypeRow* row = start.size() > typeAt + 1 ? FindType(TypeNumber(start)) : nullptr;
    return std::string("a 64-bit ELF file") + (row != nullptr ? std::string(" (") + row->name + ")" : "") +
           "; only 32-bit files are read: build it for a 32-bit target";
  }
  return start.size() < headerSize ? "the ELF header is cut short; copy the file again" : "";
}

// Bytes of UTF-8 count as text; control characters but tabs and line ends do not.
bool IsText(std::string_view start) {
  return std::all_of(start.begin(), start.end(), [](char letter) {
    const auto code = static_cast<uint8_t>(letter);
    return (code >= 0x20 && code != 0x7F) || (code >= '\t' && code <= '\r');
  });
}

bool IsRecord(std::string_view start, const HexRow& row) {
  if (start.size() < row.digitsAt + shortestRecord - 1 || start[0] != row.mark) return false;
  const std::string_view digits = start.substr(row.digitsAt, shortestRecord - 1);
  return std::all_of(digits.begin(), digits.end(),
                     [](char digit) { return std::isxdigit(static_cast<uint8_t>(digit)) != 0; });
}

}  // namespace

std::string KindByContent(std::string_view start) {
  start = start.substr(0, KIND_BYTES);
  if (start.empty()) return "the file is empty; build it again, or copy it again";
  if (start.substr(0, elfMagic.size()) == elfMagic) return ElfKind(start);
  for (const MagicRow& row : magicRows) {
    if (start.substr(0, row.bytes.size()) == row.bytes) return row.text;
  }
  if (IsText(start)) {
    for (const HexRow& row : hexRows) {
      if (IsRecord(start, row)) return row.text;
    }
    return "a text file; give an ELF file";
  }
  return "not an ELF file; give the file that the linker wrote";
}

std::string KindOfPlace(const std::string& path) {
  std::error_code error;
  const std::filesystem::file_type type = std::filesystem::status(path, error).type();
  for (const PlaceRow& row : placeRows) {
    if (!error && row.type == type) return row.text;
  }
  return "";
}

ElfType TypeByContent(std::string_view start) {
  if (start.size() < headerSize || start.substr(0, elfMagic.size()) != elfMagic || start[classAt] == class64) {
    return ElfType::none;
  }
  const uint16_t number = TypeNumber(start);
  return number <= static_cast<uint16_t>(ElfType::core) ? static_cast<ElfType>(number) : ElfType::none;
}

std::string TypeText(ElfType type) {
  const TypeRow* row = FindType(static_cast<uint16_t>(type));
  return row != nullptr ? row->text : "";
}

}  // namespace elfload
