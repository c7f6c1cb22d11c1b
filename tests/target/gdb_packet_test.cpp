#include "target/gdb_packet.h"

#include <gtest/gtest.h>

#include <map>
#include <vector>

#include "target/gdb_transport.h"
#include "target/target_description.h"
#include "target/xml_tags.h"

namespace elfload {
namespace {

using Event = GdbPacketReader::Event;
using Events = std::vector<std::string>;

// Every event of the stream, packets as their payload.
Events Read(std::string_view stream, size_t pieces) {
  static const std::map<Event, std::string> names = {
      {Event::ack, "+"},           {Event::nak, "-"},
      {Event::packet, "packet "},  {Event::notification, "notification "},
      {Event::badChecksum, "bad"}, {Event::malformed, "malformed"}};
  GdbPacketReader reader;
  Events events;
  for (size_t at = 0; at < stream.size(); at += pieces) {
    for (std::string_view piece = stream.substr(at, pieces); !piece.empty();) {
      const Event event = reader.Feed(piece);
      const bool hasPayload = event == Event::packet || event == Event::notification;
      if (event != Event::none) events.push_back(names.at(event) + (hasPayload ? reader.Payload() : ""));
    }
  }
  return events;
}

TEST(GdbPacket, ReadsStreamsOfPacketsInAnyPieces) {
  const struct {
    std::string stream;
    Events events;
  } rows[] = {
      {"+$OK#9a", {"+", "packet OK"}},
      {"$#00+-", {"packet ", "+", "-"}},
      {"$OK#9A$E01#a6", {"packet OK", "packet E01"}},  // digits of either case
      {"%Stop:T05#99", {"notification Stop:T05"}},
      {"garbage$OK#9a", {"packet OK"}},
      {"$OK#9b$OK#zz$OK#9a", {"bad", "bad", "packet OK"}},
      {"$cut off$OK#9a", {"packet OK"}},  // a packet that begins inside another
      {"$0* #7a", {"packet 0000"}},       // ' ' is 32: 3 more
      {"$a0*\"1#0e", {"packet a0000001"}},
      {"$x*~#20", {"packet " + std::string(98, 'x')}},
      {"$*!#4b", {"malformed"}},      // nothing to repeat
      {"$0*\x1f#00", {"malformed"}},  // no printable count
      {"$" + std::string(GdbPacketReader::MAXIMUM_PAYLOAD + 1, 'a'), {"malformed"}},
  };
  for (const auto& row : rows) {
    for (const size_t pieces : {size_t{1}, size_t{3}, row.stream.size()}) {
      EXPECT_EQ(Read(row.stream, pieces), row.events) << GdbQuote(row.stream);
    }
  }
}

TEST(GdbPacket, WritesWhatItReads) {
  EXPECT_EQ(GdbFrame("OK"), "$OK#9a");
  EXPECT_EQ(GdbFrame(""), "$#00");
  std::string all;
  std::string payload;
  for (int byte = 0; byte < 256; byte++) {
    const size_t before = payload.size();
    all += static_cast<char>(byte);
    GdbAppendEscaped(payload, static_cast<uint8_t>(byte));
    EXPECT_EQ(payload.size() - before, GdbEscapedSize(static_cast<uint8_t>(byte)));
  }
  EXPECT_EQ(payload.size(), 256u + 4);  // '#', '$', '*', '}'
  EXPECT_EQ(Read(GdbFrame(payload), 7), Events{"packet " + payload});
  std::string back;
  EXPECT_TRUE(GdbUnescape(payload, back));
  EXPECT_EQ(back, all);
  EXPECT_FALSE(GdbUnescape("ab}", back));
  EXPECT_EQ(back, "ab");

  std::string digits;
  GdbAppendHex(digits, reinterpret_cast<const uint8_t*>(all.data()), all.size());
  EXPECT_TRUE(GdbDecodeHex(digits, back));
  EXPECT_EQ(back, all);
  EXPECT_FALSE(GdbDecodeHex("123", back));
  EXPECT_FALSE(GdbDecodeHex("1g", back));
  uint64_t value = 0;
  EXPECT_TRUE(GdbParseHex("FFFFffffFFFFffff", value) && value == UINT64_MAX);
  EXPECT_FALSE(GdbParseHex("10000000000000000", value) || GdbParseHex("", value) || GdbParseHex("x", value));
  EXPECT_EQ(GdbQuote("a\"\x01"), R"("a\x22\x01")");
}

TEST(GdbEndpoint, TakesNamesAddressesAndPaths) {
  const std::pair<const char*, std::vector<std::string>> facts[] = {
      {"localhost:1234", {"localhost", "1234", ""}},
      {"127.0.0.1:65535", {"127.0.0.1", "65535", ""}},
      {":1234", {"", "1234", ""}},
      {"[::1]:1234", {"::1", "1234", ""}},
      {"unix:/tmp/a:b", {"", "", "/tmp/a:b"}},
  };
  GdbEndpoint endpoint;
  std::string error;
  for (const auto& [text, parts] : facts) {
    EXPECT_TRUE(ParseGdbEndpoint(text, endpoint, error)) << text << error;
    EXPECT_EQ(std::vector({endpoint.host, endpoint.port, endpoint.path}), parts);
  }
  for (const char* wrong : {"unix:", "localhost", "::1:1234", "a:0", "a:65536", "a:12x", "a:"}) {
    error.clear();
    EXPECT_FALSE(ParseGdbEndpoint(wrong, endpoint, error)) << wrong;
    EXPECT_NE(error, "") << wrong;
  }
}

// The number, size and offset of the program counter of a description, or nothing.
std::string Counter(const std::map<std::string, std::string>& annexes) {
  ProgramCounter counter;
  const bool found = FindProgramCounter(
      [&annexes](const std::string& annex, std::string& text) {
        const auto entry = annexes.find(annex);
        text = entry != annexes.end() ? entry->second : "";
        return entry != annexes.end();
      },
      counter);
  return found ? std::to_string(counter.number) + " " + std::to_string(counter.size) + " " +
                     std::to_string(counter.offset)
               : "none";
}

TEST(TargetDescription, CountsRegistersToTheProgramCounter) {
  const std::pair<std::map<std::string, std::string>, const char*> rows[] = {
      {{{"target.xml", "<reg name='a' bitsize='32'/><reg name='pc' bitsize='16'/>"}}, "1 2 4"},
      {{{"target.xml", R"(<?xml version="1.0"?><!DOCTYPE target [<!ENTITY a "b>">]><!-- <reg name="pc"/> -->
         <reg bitsize="64" regnum="3" name = "a>b"/><reg name="pc" bitsize="32"></reg>)"}},
       "4 4 8"},
      {{{"target.xml", R"(<xi:include href="core.xml"/><xi:include href="fpu.xml"/>)"},
        {"core.xml", R"(<reg name="r0" bitsize="32"/><reg name="pc" bitsize="32" regnum="64"/>)"},
        {"fpu.xml", R"(<reg name="f0" bitsize="64" regnum="32"/>)"}},
       "64 4 12"},  // a `g` answer goes by numbers, not by places
      {{{"target.xml", R"(<reg name="eip" bitsize="32"/>)"}}, "0 4 0"},
      {{{"target.xml", R"(<reg name="r0" bitsize="32"/>)"}}, "none"},
      {{{"target.xml", R"(<xi:include href="missing.xml"/><reg name="pc"/>)"}}, "none"},
      {{{"target.xml", R"(<xi:include href="target.xml"/>)"}}, "none"},  // includes itself
      {{{"target.xml", R"(<reg name="pc" bitsize="32)"}}, "none"},
      {{}, "none"},
  };
  for (const auto& [annexes, counter] : rows) EXPECT_EQ(Counter(annexes), counter);
}

}  // namespace
}  // namespace elfload
