// A target that a GDB stub drives: memory and the start address. Flash is in gdb_flash.cpp.
#include "target/gdb_target.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace elfload {

namespace {

// "X" or "M", an address, a length, the two signs between them.
constexpr size_t WRITE_HEADER_SIZE = 16;
constexpr size_t LARGEST_REGISTER = 32;  // bytes

bool FitsAddressSpace(uint32_t address, size_t count) {
  return count <= (uint64_t{1} << 32) - address;
}

std::string Describe(const char* what, uint32_t address, size_t count) {
  return fmt::format("{} 0x{:08X}-0x{:08X}", what, address, static_cast<uint32_t>(address + count - 1));
}

}  // namespace

GdbTarget::GdbTarget(std::unique_ptr<GdbTransport> transport, Settings settings)
    : client_(std::move(transport), settings.timeout), settings_(std::move(settings)) {}

GdbTarget::~GdbTarget() = default;

bool GdbTarget::Lose(const std::string& what) {
  reason_ = fmt::format("{}: {}", what, client_.Failure());
  return false;
}

bool GdbTarget::Refuse(const std::string& what, std::string_view answer) {
  reason_ = answer.empty() ? fmt::format("{}: the stub cannot do that", what)
                           : fmt::format("{}: the stub answered {}", what, GdbQuote(answer));
  return false;
}

// Sends a request that is answered by OK.
bool GdbTarget::Confirm(std::string_view request, const std::string& what, int patience) {
  std::string answer;
  if (!client_.Exchange(request, answer, patience)) {
    return Lose(what);
  }
  if (answer == "OK") {
    return true;
  }
  if (answer.empty() || IsGdbError(answer)) {
    return Refuse(what, answer);
  }
  client_.FailAnswer(answer);
  return Lose(what);
}

bool GdbTarget::Connect() {
  std::string answer;
  if (!client_.Handshake() || (settings_.writes && !client_.Exchange("X0,0:", answer))) {
    return Lose("connecting");
  }
  binaryWrites_ = !answer.empty();
  if (client_.StubFeatures().memoryMap && !ReadMemoryMap()) {
    return false;
  }
  if (client_.StubFeatures().targetDescription) {
    // Some stubs only hand out registers after their description was read.
    const FetchAnnex fetch = [this](const std::string& annex, std::string& text) {
      return client_.ReadObject("features", annex, text);
    };
    hasCounter_ = FindProgramCounter(fetch, counter_);
  }
  hasCounter_ = hasCounter_ || DefaultProgramCounter(settings_.machine, counter_);
  return !client_.Lost() || Lose("reading the target description");
}

bool GdbTarget::ReadMemoryMap() {
  std::string text;
  std::string error;
  if (!client_.ReadObject("memory-map", "", text)) {
    return !client_.Lost() || Lose("reading the memory map");
  }
  if (!ParseMemoryMap(text, memoryMap_, error)) {
    reason_ = "the stub's memory map cannot be used: " + error;
    return false;
  }
  return true;
}

int GdbTarget::CheckMemory(uint32_t first, uint32_t last, const char* /*name*/, int memoryType) {
  const bool writable = memoryType == TARGET_WRITABLE;
  if (!settings_.regions.Check(first, last, writable, reason_) || !memoryMap_.Check(first, last, writable, reason_)) {
    return 0;
  }
  return 1;
}

int GdbTarget::WriteBlock(Address address, const void* buffer, uint32_t count, int /*access*/) {
  if (!FitsAddressSpace(address.offset, count)) {
    reason_ = "the block runs over the end of the address space";
    return 0;
  }
  std::string_view data(static_cast<const char*>(buffer), count);
  for (uint32_t at = address.offset; !data.empty();) {
    const MemoryRegion* region = memoryMap_.Find(at);
    const size_t size = region != nullptr ? std::min<size_t>(data.size(), size_t{region->last - at} + 1) : data.size();
    const bool isFlash = region != nullptr && region->eraseSize != 0;
    if (!(isFlash ? WriteFlash(at, data.substr(0, size)) : WriteMemory(at, data.substr(0, size)))) {
      return 0;
    }
    at += static_cast<uint32_t>(size);
    data.remove_prefix(size);
  }
  return 1;
}

// The request that writes as much of `data` as one packet takes; `count` receives how much that is.
std::string GdbTarget::WritePacket(uint32_t address, std::string_view data, size_t& count) {
  const size_t room = client_.PayloadLimit() - WRITE_HEADER_SIZE;
  std::string body;
  if (binaryWrites_) {
    count = 0;
    while (count < data.size() && body.size() + GdbEscapedSize(static_cast<uint8_t>(data[count])) <= room) {
      GdbAppendEscaped(body, static_cast<uint8_t>(data[count++]));
    }
  } else {
    count = std::min(data.size(), room / 2);
    GdbAppendHex(body, reinterpret_cast<const uint8_t*>(data.data()), count);
  }
  return fmt::format("{}{:x},{:x}:{}", binaryWrites_ ? 'X' : 'M', address, count, body);
}

bool GdbTarget::WriteMemory(uint32_t address, std::string_view data) {
  while (!data.empty()) {
    size_t count = 0;
    const std::string request = WritePacket(address, data, count);
    if (!Confirm(request, Describe("writing", address, count))) {
      return false;
    }
    address += static_cast<uint32_t>(count);
    data.remove_prefix(count);
  }
  return true;
}

int GdbTarget::ReadBlock(Address address, void* buffer, uint32_t count, int /*access*/) {
  if (!FitsAddressSpace(address.offset, count)) {
    reason_ = "the block runs over the end of the address space";
    return 0;
  }
  if (!EndFlash()) {
    return 0;
  }
  auto* out = static_cast<char*>(buffer);
  for (uint32_t done = 0; done < count;) {
    std::string data;
    if (!ReadPiece(address.offset + done, count - done, data)) {
      return 0;
    }
    std::copy(data.begin(), data.end(), out + done);
    done += static_cast<uint32_t>(data.size());
  }
  return 1;
}

// Reads 1 to `count` bytes: a stub may send fewer than it is asked for.
bool GdbTarget::ReadPiece(uint32_t address, size_t count, std::string& data) {
  const bool binary = client_.StubFeatures().binaryUpload;
  count = std::min(count, client_.PayloadLimit() / 2);
  const std::string what = Describe("reading", address, count);
  std::string answer;
  if (!client_.Exchange(fmt::format("{}{:x},{:x}", binary ? 'x' : 'm', address, count), answer)) {
    return Lose(what);
  }
  if (answer.empty() || IsGdbError(answer)) {
    return Refuse(what, answer);
  }
  const bool understood =
      binary ? answer[0] == 'b' && GdbUnescape(std::string_view(answer).substr(1), data) : GdbDecodeHex(answer, data);
  if (!understood || data.empty() || data.size() > count) {
    client_.FailAnswer(answer);
    return Lose(what);
  }
  return true;
}

int GdbTarget::SetStartAddress(uint32_t address) {
  if (!EndFlash()) {
    return 0;
  }
  if (!hasCounter_) {
    reason_ = "it is not known which register of the stub is the program counter";
    return 0;
  }
  std::string value;
  if (!ReadCounter(value)) {
    return 0;
  }
  const bool alone = !value.empty();
  return (alone ? SetCounterAlone(address, value.size()) : SetCounterAmongAll(address)) ? 1 : 0;
}

// Leaves `value` empty when the stub does not hand out single registers.
bool GdbTarget::ReadCounter(std::string& value) {
  std::string answer;
  if (!client_.Exchange(fmt::format("p{:x}", counter_.number), answer)) {
    return Lose("reading the program counter");
  }
  if (answer.empty() || IsGdbError(answer)) {
    return true;
  }
  std::replace(answer.begin(), answer.end(), 'x', '0');  // digits of a value that is not there
  if (!GdbDecodeHex(answer, value) || value.size() > LARGEST_REGISTER) {
    client_.FailAnswer(answer);
    return Lose("reading the program counter");
  }
  return true;
}

std::string GdbTarget::CounterBytes(uint32_t address, size_t size) const {
  std::string bytes(size, '\0');
  for (size_t i = 0; i < size && i < sizeof(address); i++) {
    bytes[settings_.littleEndian ? i : size - 1 - i] = static_cast<char>(address >> 8 * i);
  }
  return bytes;
}

bool GdbTarget::SetCounterAlone(uint32_t address, size_t size) {
  if (size < sizeof(address) && address >> 8 * size != 0) {
    reason_ = fmt::format("the program counter has {} bytes only", size);
    return false;
  }
  const std::string bytes = CounterBytes(address, size);
  std::string request = fmt::format("P{:x}=", counter_.number);
  GdbAppendHex(request, reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
  return Confirm(request, "setting the program counter");
}

bool GdbTarget::SetCounterAmongAll(uint32_t address) {
  const std::string what = "setting the program counter";
  std::string answer;
  if (!client_.Exchange("g", answer)) {
    return Lose(what);
  }
  if (answer.empty() || IsGdbError(answer) || !counter_.hasOffset) {
    return Refuse(what, answer);
  }
  if (answer.find_first_not_of("0123456789abcdefABCDEFx") != std::string::npos) {
    client_.FailAnswer(answer);
    return Lose(what);
  }
  const size_t start = counter_.offset * size_t{2};
  std::string digits;
  const std::string bytes = CounterBytes(address, counter_.size);
  GdbAppendHex(digits, reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
  if (answer.size() < start + digits.size()) {
    reason_ = fmt::format("the stub sends {} bytes of registers, and the program counter is at byte {}",
                          answer.size() / 2, counter_.offset);
    return false;
  }
  answer.replace(start, digits.size(), digits);
  return Confirm("G" + answer, what);
}

bool GdbTarget::Finish(bool run) {
  if (client_.Lost() || !EndFlash()) {
    return false;
  }
  std::string answer;
  if (!run || client_.Exchange("D", answer)) {
    return answer.empty() || answer == "OK" || Refuse("detaching", answer);
  }
  return true;  // a stub may close the connection before it has answered
}

}  // namespace elfload
