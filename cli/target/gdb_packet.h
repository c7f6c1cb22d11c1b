// Packets of the GDB remote serial protocol: framing, checksums, escapes, run lengths, hex digits. Bytes in, bytes out;
// nothing here touches a connection.
//
//   std::string wire = GdbFrame("m1000,40");
//   GdbPacketReader reader;
//   while (!input.empty()) {
//     if (reader.Feed(input) == GdbPacketReader::Event::packet) Use(reader.Payload());
//   }
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace elfload {

// "$payload#cc". The payload is taken as it is: binary data in it is escaped already.
std::string GdbFrame(std::string_view payload);

// The bytes that one byte of binary data takes in a payload: 2 where it must be escaped.
size_t GdbEscapedSize(uint8_t byte);
void GdbAppendEscaped(std::string& payload, uint8_t byte);

// False for an escape at the end, with `data` holding what comes before it.
bool GdbUnescape(std::string_view payload, std::string& data);

void GdbAppendHex(std::string& payload, const uint8_t* bytes, size_t count);

// Decodes two digits a byte. False for an odd number of digits or another character.
bool GdbDecodeHex(std::string_view digits, std::string& bytes);

// A number in hex digits without prefix; false when it is none or has more than 64 bits.
bool GdbParseHex(std::string_view digits, uint64_t& value);

// Bytes as a message shows them: quoted, cut to a line, what is not printable as \xNN.
std::string GdbQuote(std::string_view bytes);

// Cuts a stream of bytes into packets.
class GdbPacketReader {
 public:
  enum class Event {
    none,          // the input is used up
    ack,           // '+'
    nak,           // '-'
    packet,        // Payload() holds it, run lengths expanded
    notification,  // '%' packet, no answer to anything
    badChecksum,   // a packet whose two digits do not fit
    malformed,     // a run length without a character to repeat, or a payload past MAXIMUM_PAYLOAD
  };
  static constexpr size_t MAXIMUM_PAYLOAD = 0x20000;  // bytes, run lengths expanded

  // Takes bytes from the front of `input` up to the end of the first event in it.
  Event Feed(std::string_view& input);

  // Of the last packet, until the next Feed.
  const std::string& Payload() const { return payload_; }

  // The first bytes outside any packet since the last one.
  const std::string& Stray() const { return stray_; }

 private:
  enum class State { idle, payload, runLength, firstDigit, secondDigit };
  Event Take(char c);
  Event TakeIdle(char c);
  Event TakePayload(char c);
  Event EndPacket(char c);
  Event Reject();

  State state_ = State::idle;
  bool notification_ = false;
  uint8_t sum_ = 0;
  char digit_ = 0;
  std::string payload_;
  std::string stray_;
};

}  // namespace elfload
