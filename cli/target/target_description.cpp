// What a GDB stub says about its target in XML.
#include "target/target_description.h"

#include <vector>

#include "target/number.h"
#include "target/xml_tags.h"

namespace elfload {

namespace {

// Bounds on what a stub can make of it.
constexpr int MAXIMUM_DEPTH = 8;
constexpr size_t MAXIMUM_ANNEXES = 64;
constexpr size_t MAXIMUM_REGISTERS = 0x10000;

struct Register {
  std::string name;
  uint32_t number;
  uint32_t bits;
};

class DescriptionReader {
 public:
  explicit DescriptionReader(const FetchAnnex& fetch) : fetch_(fetch) {}
  bool Read(const std::string& annex, int depth);
  const std::vector<Register>& Registers() const { return registers_; }

 private:
  void AddRegister(const XmlTags& tag);

  const FetchAnnex& fetch_;
  size_t annexes_ = 0;
  uint32_t next_ = 0;
  std::vector<Register> registers_;
};

bool DescriptionReader::Read(const std::string& annex, int depth) {
  std::string text;
  if (depth > MAXIMUM_DEPTH || ++annexes_ > MAXIMUM_ANNEXES || !fetch_(annex, text)) {
    return false;
  }
  XmlTags tags(text);
  while (tags.Next()) {
    if (tags.Closing()) {
      continue;
    }
    if (tags.Name() == "reg") {
      AddRegister(tags);
    } else if (tags.Name() == "xi:include" && !Read(std::string(tags.Attribute("href")), depth + 1)) {
      return false;
    }
  }
  return !tags.Malformed();
}

void DescriptionReader::AddRegister(const XmlTags& tag) {
  uint64_t number = 0;
  if (ParseNumber(tag.Attribute("regnum"), number)) {
    next_ = static_cast<uint32_t>(number);
  }
  uint64_t bits = 0;
  ParseNumber(tag.Attribute("bitsize"), bits);
  if (registers_.size() < MAXIMUM_REGISTERS) {
    registers_.push_back({std::string(tag.Attribute("name")), next_, static_cast<uint32_t>(bits)});
  }
  next_++;
}

// A `g` answer holds the registers in the order of their numbers.
void SetOffset(const std::vector<Register>& registers, ProgramCounter& counter) {
  uint64_t bits = 0;
  for (const Register& other : registers) {
    bits += other.number < counter.number ? other.bits : 0;
  }
  counter.offset = static_cast<uint32_t>(bits / 8);
  counter.hasOffset = bits % 8 == 0;
}

}  // namespace

bool FindProgramCounter(const FetchAnnex& fetch, ProgramCounter& counter) {
  DescriptionReader reader(fetch);
  if (!reader.Read("target.xml", 0)) {
    return false;
  }
  for (const char* name : {"pc", "eip", "rip"}) {
    for (const Register& candidate : reader.Registers()) {
      if (candidate.name == name) {
        counter = {.number = candidate.number, .size = candidate.bits / 8};
        SetOffset(reader.Registers(), counter);
        return true;
      }
    }
  }
  return false;
}

bool DefaultProgramCounter(uint32_t machine, ProgramCounter& counter) {
  struct Row {
    uint32_t machine;  // e_machine
    uint32_t number;
    uint32_t size;  // bytes
    uint32_t offset;
  };
  static constexpr Row rows[] = {
      {2, 68, 4, 272},   // SPARC: 32 general, 32 floating-point registers, y, psr, wim, tbr
      {3, 8, 4, 32},     // 386
      {4, 17, 4, 68},    // 68K: d0-d7, a0-a7, ps
      {8, 37, 4, 148},   // MIPS: 32 registers, sr, lo, hi, bad, cause
      {20, 64, 4, 384},  // PPC: 32 general registers of 4 bytes, 32 floating-point registers of 8
      {40, 15, 4, 60},   // ARM
      {42, 16, 4, 64},   // SH
      {53, 4, 2, 8},     // 68HC12
      {70, 4, 2, 8},     // 68HC11
      {83, 34, 4, 35},   // AVR: 32 registers and SREG of 1 byte, SP of 2
      {105, 0, 2, 0},    // MSP430
      {243, 32, 4, 128}  // RISC-V
  };
  for (const Row& row : rows) {
    if (row.machine == machine) {
      counter = {.number = row.number, .size = row.size, .offset = row.offset, .hasOffset = true};
      return true;
    }
  }
  return false;
}

bool ParseMemoryMap(std::string_view text, RegionMap& map, std::string& error) {
  constexpr uint64_t SPACE = 1ULL << 32;
  XmlTags tags(text);
  MemoryRegion region;
  bool open = false;
  while (tags.Next()) {
    uint64_t value = 0;
    if (tags.Name() == "memory" && !tags.Closing()) {
      uint64_t length = 0;
      if (!ParseNumber(tags.Attribute("start"), value) || !ParseNumber(tags.Attribute("length"), length)) {
        error = "a memory without start or length";
        return false;
      }
      open = length != 0 && value < SPACE;
      if (!open) {
        continue;
      }
      region = {};
      region.first = static_cast<uint32_t>(value);
      region.last = static_cast<uint32_t>(length > SPACE - value ? SPACE - 1 : value + length - 1);
      region.writable = tags.Attribute("type") == "ram";
      region.eraseSize = tags.Attribute("type") == "flash" ? 1 : 0;  // until the block size is read
    } else if (tags.Name() == "property" && tags.Attribute("name") == "blocksize" && region.eraseSize != 0 &&
               ParseNumber(tags.Text(), value) && value != 0) {
      region.eraseSize = static_cast<uint32_t>(value < SPACE ? value : SPACE - 1);
    }
    if (open && tags.Name() == "memory" && (tags.Closing() || tags.SelfClosing())) {
      open = false;
      if (!map.Add(region, error)) {
        return false;
      }
    }
  }
  if (tags.Malformed()) {
    error = "it is not XML";
  }
  return !tags.Malformed();
}

}  // namespace elfload
