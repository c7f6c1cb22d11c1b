// Packets of the GDB remote serial protocol: "$payload#cc", where cc is the sum of the payload's bytes modulo 256 in
// two hex digits. In a payload, '}' escapes the next byte (its bit 0x20 is flipped), and "c*n" means c and n - 29
// repetitions of it.
#include "target/gdb_packet.h"

#include <fmt/format.h>

namespace elfload {

namespace {

constexpr char ESCAPE = '}';
constexpr uint8_t ESCAPE_FLIP = 0x20;
constexpr int RUN_LENGTH_BIAS = 29;
constexpr int RUN_LENGTH_FIRST = 32;  // the first character that may be a count: 3 repetitions
constexpr int RUN_LENGTH_LAST = 126;
constexpr size_t STRAY_KEPT = 64;
constexpr size_t QUOTE_LIMIT = 48;

int HexDigit(char c) {
  if (c >= '0' && c <= '9') {
    return c - '0';
  }
  if (c >= 'a' && c <= 'f') {
    return c - 'a' + 10;
  }
  return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

bool NeedsEscape(uint8_t byte) {
  return byte == '#' || byte == '$' || byte == '}' || byte == '*';
}

}  // namespace

std::string GdbFrame(std::string_view payload) {
  uint8_t sum = 0;
  for (const char c : payload) {
    sum = static_cast<uint8_t>(sum + static_cast<uint8_t>(c));
  }
  std::string wire;
  wire.reserve(payload.size() + 4);
  wire += '$';
  wire += payload;
  wire += '#';
  GdbAppendHex(wire, &sum, 1);
  return wire;
}

size_t GdbEscapedSize(uint8_t byte) {
  return NeedsEscape(byte) ? 2 : 1;
}

void GdbAppendEscaped(std::string& payload, uint8_t byte) {
  if (NeedsEscape(byte)) {
    payload += ESCAPE;
    byte ^= ESCAPE_FLIP;
  }
  payload += static_cast<char>(byte);
}

bool GdbUnescape(std::string_view payload, std::string& data) {
  data.clear();
  for (size_t i = 0; i < payload.size(); i++) {
    if (payload[i] != ESCAPE) {
      data += payload[i];
    } else if (++i < payload.size()) {
      data += static_cast<char>(static_cast<uint8_t>(payload[i]) ^ ESCAPE_FLIP);
    } else {
      return false;
    }
  }
  return true;
}

void GdbAppendHex(std::string& payload, const uint8_t* bytes, size_t count) {
  static constexpr char digits[] = "0123456789abcdef";
  for (size_t i = 0; i < count; i++) {
    payload += digits[bytes[i] >> 4];
    payload += digits[bytes[i] & 0xF];
  }
}

bool GdbDecodeHex(std::string_view digits, std::string& bytes) {
  bytes.clear();
  bytes.reserve(digits.size() / 2);
  for (size_t i = 0; i + 1 < digits.size(); i += 2) {
    const int high = HexDigit(digits[i]);
    const int low = HexDigit(digits[i + 1]);
    if (high < 0 || low < 0) {
      return false;
    }
    bytes += static_cast<char>(high << 4 | low);
  }
  return digits.size() % 2 == 0;
}

bool GdbParseHex(std::string_view digits, uint64_t& value) {
  uint64_t result = 0;
  for (const char c : digits) {
    const int digit = HexDigit(c);
    if (digit < 0 || result >> 60 != 0) {
      return false;
    }
    result = result << 4 | static_cast<uint64_t>(digit);
  }
  value = result;
  return !digits.empty();
}

std::string GdbQuote(std::string_view bytes) {
  std::string text = "\"";
  for (const char c : bytes.substr(0, QUOTE_LIMIT)) {
    if (c >= ' ' && c <= '~' && c != '"' && c != '\\') {
      text += c;
    } else {
      text += fmt::format("\\x{:02X}", static_cast<uint8_t>(c));
    }
  }
  return text + (bytes.size() > QUOTE_LIMIT ? "\"..." : "\"");
}

GdbPacketReader::Event GdbPacketReader::Feed(std::string_view& input) {
  while (!input.empty()) {
    const char c = input.front();
    input.remove_prefix(1);
    const Event event = Take(c);
    if (event != Event::none) {
      return event;
    }
  }
  return Event::none;
}

GdbPacketReader::Event GdbPacketReader::Take(char c) {
  switch (state_) {
    case State::idle:
      return TakeIdle(c);
    case State::payload:
      return TakePayload(c);
    case State::runLength: {
      const int count = static_cast<uint8_t>(c);
      if (payload_.empty() || count < RUN_LENGTH_FIRST || count > RUN_LENGTH_LAST) {
        return Reject();
      }
      sum_ = static_cast<uint8_t>(sum_ + count);
      payload_.append(static_cast<size_t>(count - RUN_LENGTH_BIAS), payload_.back());
      state_ = State::payload;
      return payload_.size() > MAXIMUM_PAYLOAD ? Reject() : Event::none;
    }
    case State::firstDigit:
      digit_ = c;
      state_ = State::secondDigit;
      return Event::none;
    case State::secondDigit:
      return EndPacket(c);
  }
  return Event::none;
}

GdbPacketReader::Event GdbPacketReader::TakeIdle(char c) {
  switch (c) {
    case '+':
      return Event::ack;
    case '-':
      return Event::nak;
    case '$':
    case '%':
      notification_ = c == '%';
      sum_ = 0;
      payload_.clear();
      state_ = State::payload;
      return Event::none;
    default:
      if (stray_.size() < STRAY_KEPT) {
        stray_ += c;
      }
      return Event::none;
  }
}

GdbPacketReader::Event GdbPacketReader::TakePayload(char c) {
  if (c == '#') {
    state_ = State::firstDigit;
    return Event::none;
  }
  if (c == '$') {  // the packet before it was cut off
    state_ = State::idle;
    return TakeIdle(c);
  }
  sum_ = static_cast<uint8_t>(sum_ + static_cast<uint8_t>(c));
  if (c == '*') {
    state_ = State::runLength;
    return Event::none;
  }
  payload_ += c;
  return payload_.size() > MAXIMUM_PAYLOAD ? Reject() : Event::none;
}

GdbPacketReader::Event GdbPacketReader::EndPacket(char c) {
  state_ = State::idle;
  const int high = HexDigit(digit_);
  const int low = HexDigit(c);
  if (high < 0 || low < 0 || (high << 4 | low) != sum_) {
    return Event::badChecksum;
  }
  stray_.clear();
  return notification_ ? Event::notification : Event::packet;
}

GdbPacketReader::Event GdbPacketReader::Reject() {
  state_ = State::idle;
  return Event::malformed;
}

}  // namespace elfload
