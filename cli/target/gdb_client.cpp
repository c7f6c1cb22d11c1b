// A conversation with a GDB stub.
#include "target/gdb_client.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace elfload {

namespace {

constexpr size_t PAYLOAD_LIMIT = 1280;           // bytes; holds a block of 512 bytes in hex digits
constexpr size_t PAYLOAD_WITHOUT_PROMISE = 400;  // what every stub takes
constexpr size_t SMALLEST_PACKET = 48;           // below that no request with an address fits
constexpr size_t FRAME_SIZE = 4;                 // "$" and "#cc"
constexpr int SEND_ATTEMPTS = 3;                 // of a packet that arrives damaged
constexpr size_t OBJECT_LIMIT = 0x100000;        // bytes of an object that is read in pieces

bool IsConsoleOutput(std::string_view answer) {
  std::string text;
  return answer.size() > 1 && answer[0] == 'O' && GdbDecodeHex(answer.substr(1), text);
}

}  // namespace

bool IsGdbError(std::string_view answer) {
  uint64_t code = 0;
  return answer.starts_with("E.") || (answer.size() == 3 && answer[0] == 'E' && GdbParseHex(answer.substr(1), code));
}

GdbClient::GdbClient(std::unique_ptr<GdbTransport> transport, std::chrono::milliseconds timeout)
    : transport_(std::move(transport)), timeout_(timeout), limit_(timeout) {}

bool GdbClient::Fail(std::string reason) {
  if (!lost_) {
    lost_ = true;
    failure_ = std::move(reason);
  }
  return false;
}

bool GdbClient::FailAnswer(std::string_view answer) {
  return Fail(fmt::format("the answer makes no sense: {}", GdbQuote(answer)));
}

bool GdbClient::FailTransport(GdbTransport::Status status) {
  std::string reason;
  switch (status) {
    case GdbTransport::Status::timeout:
      reason = fmt::format("no answer within {:g} s", static_cast<double>(limit_.count()) / 1000);
      break;
    case GdbTransport::Status::closed:
      reason = "the stub closed the connection";
      break;
    default:
      reason = transport_->Error();
  }
  if (!reader_.Stray().empty()) {
    reason += fmt::format(", but {}", GdbQuote(reader_.Stray()));
  }
  return Fail(std::move(reason));
}

bool GdbClient::Send(std::string_view wire, GdbClock::time_point deadline) {
  const auto status = transport_->Send(wire, deadline);
  return status == GdbTransport::Status::ok || FailTransport(status);
}

bool GdbClient::NextEvent(Event& event, GdbClock::time_point deadline) {
  while (true) {
    event = reader_.Feed(unread_);
    if (event != Event::none) {
      return true;
    }
    const auto status = transport_->Receive(received_, deadline);
    if (status != GdbTransport::Status::ok) {
      return FailTransport(status);
    }
    unread_ = received_;
    if (GdbClock::now() >= deadline) {  // a stub that never falls silent does not answer either
      return FailTransport(GdbTransport::Status::timeout);
    }
  }
}

// What arrives before the '+' belongs to an earlier request.
bool GdbClient::WaitForAcknowledge(std::string_view wire, GdbClock::time_point deadline) {
  for (int attempt = 1;;) {
    Event event = Event::none;
    if (!NextEvent(event, deadline)) {
      return false;
    }
    if (event == Event::ack) {
      return true;
    }
    if (event == Event::nak) {
      if (attempt++ == SEND_ATTEMPTS) {
        return Fail(fmt::format("the stub refused a packet {} times as damaged", SEND_ATTEMPTS));
      }
      if (!Send(wire, deadline)) {
        return false;
      }
    } else if (event == Event::packet && !Send("+", deadline)) {
      return false;
    }
  }
}

bool GdbClient::WaitForAnswer(std::string& answer, GdbClock::time_point deadline) {
  for (int attempt = 1;;) {
    Event event = Event::none;
    if (!NextEvent(event, deadline)) {
      return false;
    }
    if (event == Event::packet) {
      if (acknowledges_ && !Send("+", deadline)) {
        return false;
      }
      if (!IsConsoleOutput(reader_.Payload())) {
        answer = reader_.Payload();
        return true;
      }
    } else if (event == Event::badChecksum || event == Event::malformed) {
      if (!acknowledges_ || attempt++ == SEND_ATTEMPTS) {
        return Fail(fmt::format("a damaged packet arrived: {}", GdbQuote(reader_.Payload())));
      }
      if (!Send("-", deadline)) {
        return false;
      }
    }
  }
}

bool GdbClient::Exchange(std::string_view payload, std::string& answer, int patience) {
  answer.clear();
  if (lost_) {
    return false;
  }
  limit_ = timeout_ * patience;
  const GdbClock::time_point deadline = GdbClock::now() + limit_;
  const std::string wire = GdbFrame(payload);
  return Send(wire, deadline) && (!acknowledges_ || WaitForAcknowledge(wire, deadline)) &&
         WaitForAnswer(answer, deadline);
}

bool GdbClient::Handshake() {
  return Send("+", GdbClock::now() + timeout_) && ReadFeatures() && StopAcknowledging() && AskForTarget();
}

bool GdbClient::ReadFeatures() {
  std::string answer;
  if (!Exchange("qSupported:xmlRegisters=i386", answer)) {
    return false;
  }
  for (std::string_view rest = answer; !rest.empty();) {
    const std::string_view item = rest.substr(0, rest.find(';'));
    rest.remove_prefix(std::min(item.size() + 1, rest.size()));
    uint64_t size = 0;
    if (item.starts_with("PacketSize=") && GdbParseHex(item.substr(11), size)) {
      features_.packetSize = static_cast<uint32_t>(std::min<uint64_t>(size, UINT32_MAX));
      if (size < SMALLEST_PACKET) {
        return Fail(fmt::format("the stub takes packets of {} bytes only", size));
      }
    }
    features_.noAcknowledge |= item == "QStartNoAckMode+";
    features_.targetDescription |= item == "qXfer:features:read+";
    features_.memoryMap |= item == "qXfer:memory-map:read+";
    features_.binaryUpload |= item == "binary-upload+";
  }
  return true;
}

bool GdbClient::StopAcknowledging() {
  if (!features_.noAcknowledge) {
    return true;
  }
  std::string answer;
  if (!Exchange("QStartNoAckMode", answer)) {
    return false;
  }
  acknowledges_ = answer != "OK";
  return true;
}

// A stop reply, or nothing from stubs that do not know the question.
bool GdbClient::AskForTarget() {
  std::string answer;
  if (!Exchange("?", answer)) {
    return false;
  }
  if (answer.starts_with('W') || answer.starts_with('X')) {
    return Fail("the stub has no target: it has ended");
  }
  return answer.empty() || answer[0] == 'S' || answer[0] == 'T' || IsGdbError(answer) || FailAnswer(answer);
}

size_t GdbClient::PayloadLimit() const {
  if (features_.packetSize == 0) {
    return PAYLOAD_WITHOUT_PROMISE - FRAME_SIZE;
  }
  return std::min<size_t>(features_.packetSize * size_t{3} / 4, PAYLOAD_LIMIT) - FRAME_SIZE;
}

bool GdbClient::ReadObject(std::string_view object, std::string_view annex, std::string& data) {
  data.clear();
  while (true) {
    std::string answer;
    std::string piece;
    if (!Exchange(fmt::format("qXfer:{}:read:{}:{:x},{:x}", object, annex, data.size(), PayloadLimit()), answer)) {
      return false;
    }
    if (answer.empty() || IsGdbError(answer)) {
      return false;
    }
    const bool last = answer[0] == 'l';
    if ((!last && answer[0] != 'm') || !GdbUnescape(std::string_view(answer).substr(1), piece) ||
        (!last && piece.empty()) || data.size() + piece.size() > OBJECT_LIMIT) {
      return FailAnswer(answer);
    }
    data += piece;
    if (last) {
      return true;
    }
  }
}

}  // namespace elfload
