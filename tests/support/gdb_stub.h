// A GDB stub in the test process, with the interface of a connection: no sockets, no threads, and silence is known at
// once. It holds memory and a program counter, and fails on demand.
#pragma once

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "support/bytes.h"
#include "target/gdb_packet.h"
#include "target/gdb_transport.h"

// `raw` sends bytes in place of the answer, each time that it is asked for; `damage` only the first time.
enum class Trouble { none, silence, close, cut, raw, damage };

struct StubOrders {
  std::string features = "PacketSize=400;QStartNoAckMode+;qXfer:features:read+";
  bool binaryWrites = false;
  bool singleRegisters = true;   // packets p and P
  size_t longestRead = 0x10000;  // bytes of an answer to `m`
  size_t dribble = 0x10000;      // bytes that arrive at once
  std::map<std::string, std::string> objects = {{"features:target.xml", R"(<target><reg name="r0" bitsize="32"/>
    <reg name="pc" bitsize="32" regnum="7"/></target>)"}};
  std::map<std::string, std::string> answers = {};  // by the start of the request, in place of the stub's own
  int troubleAt = 0;                                // number of the request, from 1
  Trouble trouble = Trouble::none;
  std::string raw = {};
};

// What the stub has seen and holds. Outlives the transport, which its client owns.
struct StubState {
  std::vector<std::string> requests;
  std::map<uint32_t, uint8_t> memory;
  std::string counter = "00000000";  // hex digits, as packets have them
};

class StubTransport : public elfload::GdbTransport {
 public:
  StubTransport(const StubOrders& orders, StubState& state) : orders_(orders), state_(state) {}

  Status Send(std::string_view bytes, elfload::GdbClock::time_point /*deadline*/) override {
    using Event = elfload::GdbPacketReader::Event;
    if (failed_) return Status::failed;
    while (!bytes.empty()) {
      const Event event = reader_.Feed(bytes);
      if (event == Event::packet) {
        Take(reader_.Payload());
      } else if (event == Event::nak) {
        out_ += last_;
      }
    }
    return Status::ok;
  }

  Status Receive(std::string& bytes, elfload::GdbClock::time_point /*deadline*/) override {
    bytes = out_.substr(0, orders_.dribble);
    out_.erase(0, bytes.size());
    return !bytes.empty() ? Status::ok : failed_ ? Status::failed : closed_ ? Status::closed : Status::timeout;
  }

  std::string Error() const override { return "the cable is cut"; }

 private:
  void Take(const std::string& request) {
    state_.requests.push_back(request);
    const bool inTrouble = static_cast<int>(state_.requests.size()) == orders_.troubleAt;
    const bool sends = orders_.trouble == Trouble::raw || orders_.trouble == Trouble::damage;
    if (inTrouble && !sends) {
      closed_ = orders_.trouble == Trouble::close;
      failed_ = orders_.trouble == Trouble::cut;
      return;
    }
    out_ += acknowledges_ ? "+" : "";
    last_ = inTrouble && orders_.trouble == Trouble::raw ? orders_.raw : elfload::GdbFrame(Answer(request));
    out_ += inTrouble ? orders_.raw : last_;
  }

  std::string Answer(const std::string& request) {
    for (const auto& [start, answer] : orders_.answers) {
      if (request.starts_with(start)) return answer;
    }
    if (request.starts_with("qSupported")) return orders_.features;
    if (request.starts_with("qXfer:")) return Object(request.substr(6));
    if (request == "?") return "T05thread:01;";
    if (request == "QStartNoAckMode") {
      acknowledges_ = false;
      return "OK";
    }
    switch (request[0]) {
      case 'M':
        return Write(request, false);
      case 'X':
        return orders_.binaryWrites ? Write(request, true) : "";
      case 'm':
        return Read(request, false);
      case 'x':
        return orders_.features.find("binary-upload+") != std::string::npos ? Read(request, true) : "";
      case 'p':
        return orders_.singleRegisters ? request == "p7" ? state_.counter : "E02" : "";
      case 'P':
        return SetCounter(request);
      case 'g':
        return "11111111" + state_.counter;
      case 'G':
        state_.counter = request.substr(9);
        return "OK";
      default:
        return request == "D" || (request.starts_with("vFlash") && Flash(request)) ? "OK" : "";
    }
  }

  std::string SetCounter(const std::string& request) {
    if (!orders_.singleRegisters || !request.starts_with("P7=")) return "";
    state_.counter = request.substr(3);
    return "OK";
  }

  // "object:read:annex:offset,length"
  std::string Object(const std::string& request) {
    const size_t read = request.find(":read:");
    const size_t colon = request.rfind(':');
    const std::string annex = request.substr(read + 6, colon - read - 6);
    const auto found = orders_.objects.find(request.substr(0, read) + ":" + annex);
    if (found == orders_.objects.end()) return "E00";
    const size_t offset = std::stoul(request.substr(colon + 1), nullptr, 16);
    const size_t length = std::min<size_t>(std::stoul(request.substr(request.find(',') + 1), nullptr, 16), 50);
    std::string answer = offset + length >= found->second.size() ? "l" : "m";
    for (const char c : found->second.substr(std::min(offset, found->second.size()), length)) {
      elfload::GdbAppendEscaped(answer, static_cast<uint8_t>(c));
    }
    return answer;
  }

  std::string Write(const std::string& request, bool binary) {
    const uint32_t address = static_cast<uint32_t>(std::stoul(request.substr(1), nullptr, 16));
    const std::string_view body = std::string_view(request).substr(request.find(':') + 1);
    std::string data;
    if (!(binary ? elfload::GdbUnescape(body, data) : elfload::GdbDecodeHex(body, data))) return "E22";
    Store(address, data);
    return "OK";
  }

  std::string Read(const std::string& request, bool binary) {
    const uint32_t address = static_cast<uint32_t>(std::stoul(request.substr(1), nullptr, 16));
    const size_t asked = std::stoul(request.substr(request.find(',') + 1), nullptr, 16);
    std::string answer = binary ? "b" : "";
    for (uint32_t i = 0; i < std::min(asked, orders_.longestRead); i++) {
      const uint8_t byte = state_.memory[address + i];
      binary ? elfload::GdbAppendEscaped(answer, byte) : elfload::GdbAppendHex(answer, &byte, 1);
    }
    return answer;
  }

  bool Flash(const std::string& request) {
    if (request.starts_with("vFlashErase:")) {
      const uint32_t address = static_cast<uint32_t>(std::stoul(request.substr(12), nullptr, 16));
      Store(address, std::string(std::stoul(request.substr(request.find(',') + 1), nullptr, 16), '\xFF'));
    } else if (request.starts_with("vFlashWrite:")) {
      std::string data;
      const uint32_t address = static_cast<uint32_t>(std::stoul(request.substr(12), nullptr, 16));
      elfload::GdbUnescape(std::string_view(request).substr(request.find(':', 12) + 1), data);
      held_.emplace_back(address, data);
    } else {
      for (const auto& [address, data] : held_) Store(address, data);
      held_.clear();
    }
    return true;
  }

  void Store(uint32_t address, const std::string& data) {
    for (const char byte : data) state_.memory[address++] = static_cast<uint8_t>(byte);
  }

  const StubOrders orders_;
  StubState& state_;
  elfload::GdbPacketReader reader_;
  std::string out_;
  std::string last_;
  std::vector<std::pair<uint32_t, std::string>> held_;  // flash writes until vFlashDone
  bool acknowledges_ = true;
  bool closed_ = false;
  bool failed_ = false;
};
