// A memory as a file.
//
// Intel HEX record, all but the colon in hex digits: ":" count (1 byte), address (2), type (1), data, checksum (1; the
// sum of all bytes is 0). S-record: "S" type, count (1; of the bytes after it), address (2 to 4), data, checksum (1;
// the complement of the sum).
#include "target/memory_output.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

namespace elfload {

namespace {

constexpr uint32_t RECORD_BYTES = 16;
constexpr uint32_t CHUNK_BYTES = 0x10000;

enum HexRecord : uint8_t {
  HEX_DATA = 0,
  HEX_END = 1,
  HEX_EXTENDED_LINEAR_ADDRESS = 4,  // the upper 16 bits of the addresses that follow
  HEX_START_LINEAR_ADDRESS = 5,
};

class Writer {
 public:
  Writer(std::FILE* file, MemoryTarget& memory) : file_(file), memory_(memory) {}
  void WriteHex();
  void WriteSrec(std::string_view name);
  void WriteRaw();
  bool Failed() const { return failed_; }

 private:
  void Put(std::string_view text) { failed_ |= fwrite(text.data(), 1, text.size(), file_) != text.size(); }
  void HexLine(HexRecord type, uint32_t address, const uint8_t* data, uint32_t count);
  void HexRange(const AddressRange& range);
  void SrecLine(uint32_t type, uint32_t address, const uint8_t* data, uint32_t count);
  void Zeros(uint64_t count);

  std::FILE* file_;
  MemoryTarget& memory_;
  uint32_t upperAddress_ = 0;
  bool failed_ = false;
};

// Adds bytes in hex digits, and to the checksum.
struct Line {
  std::string text;
  uint8_t sum = 0;

  void Add(uint8_t byte) {
    static constexpr char digits[] = "0123456789ABCDEF";
    text += digits[byte >> 4];
    text += digits[byte & 0xF];
    sum = static_cast<uint8_t>(sum + byte);
  }
  void AddAddress(uint32_t address, uint32_t bytes) {
    for (uint32_t i = bytes; i-- > 0;) {
      Add(static_cast<uint8_t>(address >> 8 * i));
    }
  }
};

void Writer::HexLine(HexRecord type, uint32_t address, const uint8_t* data, uint32_t count) {
  Line line{":"};
  line.Add(static_cast<uint8_t>(count));
  line.AddAddress(address & 0xFFFF, 2);
  line.Add(type);
  for (uint32_t i = 0; i < count; i++) {
    line.Add(data[i]);
  }
  line.Add(static_cast<uint8_t>(-line.sum));
  Put(line.text + "\r\n");
}

// Records do not run over a multiple of 64 KiB: their addresses have 16 bits.
void Writer::HexRange(const AddressRange& range) {
  uint8_t data[RECORD_BYTES];
  for (uint64_t at = range.first; at <= range.last;) {
    const auto address = static_cast<uint32_t>(at);
    if (address >> 16 != upperAddress_) {
      upperAddress_ = address >> 16;
      const uint8_t upper[] = {static_cast<uint8_t>(upperAddress_ >> 8), static_cast<uint8_t>(upperAddress_)};
      HexLine(HEX_EXTENDED_LINEAR_ADDRESS, 0, upper, sizeof(upper));
    }
    const uint64_t left = std::min<uint64_t>(range.last - at + 1, 0x10000 - (at & 0xFFFF));
    const auto count = static_cast<uint32_t>(std::min<uint64_t>(left, RECORD_BYTES));
    memory_.Copy(address, data, count);
    HexLine(HEX_DATA, address, data, count);
    at += count;
  }
}

void Writer::WriteHex() {
  for (const AddressRange& range : memory_.Written()) {
    HexRange(range);
  }
  if (const auto start = memory_.StartAddress()) {
    uint8_t bytes[4];
    for (uint32_t i = 0; i < 4; i++) {
      bytes[i] = static_cast<uint8_t>(*start >> (24 - 8 * i));
    }
    HexLine(HEX_START_LINEAR_ADDRESS, 0, bytes, sizeof(bytes));
  }
  HexLine(HEX_END, 0, nullptr, 0);
}

// Types 1, 2 and 3 hold data after addresses of 2, 3 and 4 bytes, types 9, 8 and 7 the start address; type 0 a name.
void Writer::SrecLine(uint32_t type, uint32_t address, const uint8_t* data, uint32_t count) {
  const uint32_t addressBytes = type == 0 ? 2 : type < 4 ? type + 1 : 11 - type;
  Line line{fmt::format("S{}", type)};
  line.Add(static_cast<uint8_t>(addressBytes + count + 1));
  line.AddAddress(address, addressBytes);
  for (uint32_t i = 0; i < count; i++) {
    line.Add(data[i]);
  }
  line.Add(static_cast<uint8_t>(~line.sum));
  Put(line.text + "\r\n");
}

void Writer::WriteSrec(std::string_view name) {
  const std::vector<AddressRange>& ranges = memory_.Written();
  const uint32_t start = memory_.StartAddress().value_or(0);
  const uint32_t highest = std::max(start, ranges.empty() ? 0 : ranges.back().last);
  const uint32_t type = highest > 0xFFFFFF ? 3 : highest > 0xFFFF ? 2 : 1;

  name = name.substr(0, 40);
  SrecLine(0, 0, reinterpret_cast<const uint8_t*>(name.data()), static_cast<uint32_t>(name.size()));
  uint8_t data[RECORD_BYTES];
  for (const AddressRange& range : ranges) {
    for (uint64_t at = range.first; at <= range.last; at += RECORD_BYTES) {
      const auto count = static_cast<uint32_t>(std::min<uint64_t>(range.last - at + 1, RECORD_BYTES));
      memory_.Copy(static_cast<uint32_t>(at), data, count);
      SrecLine(type, static_cast<uint32_t>(at), data, count);
    }
  }
  SrecLine(10 - type, start, nullptr, 0);
}

void Writer::Zeros(uint64_t count) {
  static constexpr char zeros[CHUNK_BYTES] = {};
  for (; count > 0 && !failed_; count -= std::min<uint64_t>(count, CHUNK_BYTES)) {
    Put({zeros, static_cast<size_t>(std::min<uint64_t>(count, CHUNK_BYTES))});
  }
}

void Writer::WriteRaw() {
  std::vector<uint8_t> chunk(CHUNK_BYTES);
  const std::vector<AddressRange>& ranges = memory_.Written();
  for (size_t i = 0; i < ranges.size() && !failed_; i++) {
    Zeros(i == 0 ? 0 : ranges[i].first - ranges[i - 1].last - 1);
    for (uint64_t at = ranges[i].first; at <= ranges[i].last && !failed_; at += CHUNK_BYTES) {
      const auto count = static_cast<uint32_t>(std::min<uint64_t>(ranges[i].last - at + 1, CHUNK_BYTES));
      memory_.Copy(static_cast<uint32_t>(at), chunk.data(), count);
      Put({reinterpret_cast<const char*>(chunk.data()), count});
    }
  }
}

// Whether gaps would make a raw file too large.
bool RefuseRaw(MemoryTarget& memory, const MemoryFileSettings& settings, std::string& error) {
  const std::vector<AddressRange>& ranges = memory.Written();
  if (ranges.empty() || settings.fillGaps) {
    return false;
  }
  uint64_t written = 0;
  for (const AddressRange& range : ranges) {
    written += uint64_t{range.last} - range.first + 1;
  }
  const uint64_t size = uint64_t{ranges.back().last} - ranges.front().first + 1;
  if (size <= MAXIMUM_RAW_SIZE || size == written) {
    return false;
  }
  error = fmt::format(
      "{} bytes between 0x{:08X} and 0x{:08X} would make a raw file of {} bytes with its gaps, above {}; "
      "--fill-gaps writes it all the same",
      written, ranges.front().first, ranges.back().last, size, MAXIMUM_RAW_SIZE);
  return true;
}

std::string_view LastPart(std::string_view path) {
  const size_t separator = path.find_last_of("/\\");
  return separator == std::string_view::npos ? path : path.substr(separator + 1);
}

}  // namespace

std::optional<MemoryFormat> MemoryFormatOf(std::string_view fileName) {
  const std::string_view name = LastPart(fileName);
  const size_t dot = name.rfind('.');
  std::string extension(dot == std::string_view::npos ? "" : name.substr(dot + 1));
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  struct Row {
    const char* extension;
    MemoryFormat format;
  };
  static constexpr Row rows[] = {
      {"hex", MemoryFormat::hex},   {"ihex", MemoryFormat::hex}, {"ihx", MemoryFormat::hex},
      {"srec", MemoryFormat::srec}, {"s19", MemoryFormat::srec}, {"s28", MemoryFormat::srec},
      {"s37", MemoryFormat::srec},  {"mot", MemoryFormat::srec}, {"bin", MemoryFormat::bin},
      {"raw", MemoryFormat::bin},
  };
  for (const Row& row : rows) {
    if (extension == row.extension) {
      return row.format;
    }
  }
  return std::nullopt;
}

bool WriteMemoryFile(const std::string& fileName, MemoryFormat format, MemoryTarget& memory,
                     const MemoryFileSettings& settings, std::string& error) {
  if (format == MemoryFormat::bin && RefuseRaw(memory, settings, error)) {
    return false;
  }
  std::FILE* file = fopen(fileName.c_str(), "wb");
  if (file == nullptr) {
    error = strerror(errno);
    return false;
  }
  Writer writer(file, memory);
  if (format == MemoryFormat::hex) {
    writer.WriteHex();
  } else if (format == MemoryFormat::srec) {
    writer.WriteSrec(LastPart(fileName));
  } else {
    writer.WriteRaw();
  }
  const bool failed = writer.Failed();
  if (fclose(file) != 0 || failed) {
    error = strerror(errno);
    remove(fileName.c_str());
    return false;
  }
  return true;
}

}  // namespace elfload
