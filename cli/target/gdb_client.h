// A conversation with a GDB stub: the handshake, then requests with one answer each.
//
//   GdbClient client(std::move(transport), std::chrono::seconds(5));
//   std::string answer;
//   if (client.Handshake() && client.Exchange("m1000,40", answer)) Use(answer);
//   else Report(client.Failure());
//
// Every answer has a time limit. What ends the conversation (no answer, an end of the connection, nonsense) stays: all
// that follows fails at once, and Failure() says what it was.
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <string_view>

#include "target/gdb_packet.h"
#include "target/gdb_transport.h"

namespace elfload {

class GdbClient {
 public:
  // What the stub said it can do.
  struct Features {
    uint32_t packetSize = 0;  // bytes of a packet with its frame; 0 when the stub did not say
    bool noAcknowledge = false;
    bool targetDescription = false;
    bool memoryMap = false;
    bool binaryUpload = false;  // packet `x`
  };

  GdbClient(std::unique_ptr<GdbTransport> transport, std::chrono::milliseconds timeout);

  // Asks for the stub's features, turns acknowledgements off where it can, and asks whether there is a target.
  bool Handshake();
  const Features& StubFeatures() const { return features_; }

  // The bytes of a request's payload that are sent at most. Well below what the stub promises: QEMU 7.2 promises 4096
  // and drops what is longer than 2040 without a word.
  size_t PayloadLimit() const;

  // Sends a request and waits for its answer. False when the conversation has ended. `patience` multiplies the limit,
  // for requests that take the stub long.
  bool Exchange(std::string_view payload, std::string& answer, int patience = 1);

  // Reads a whole object, such as "features" with the annex "target.xml", in pieces. False when the stub refuses it
  // too.
  bool ReadObject(std::string_view object, std::string_view annex, std::string& data);

  // Ends the conversation because of an answer that makes no sense.
  bool FailAnswer(std::string_view answer);

  bool Lost() const { return lost_; }
  const std::string& Failure() const { return failure_; }

 private:
  using Event = GdbPacketReader::Event;
  bool Fail(std::string reason);
  bool FailTransport(GdbTransport::Status status);
  bool NextEvent(Event& event, GdbClock::time_point deadline);
  bool Send(std::string_view wire, GdbClock::time_point deadline);
  bool WaitForAcknowledge(std::string_view wire, GdbClock::time_point deadline);
  bool WaitForAnswer(std::string& answer, GdbClock::time_point deadline);
  bool ReadFeatures();
  bool StopAcknowledging();
  bool AskForTarget();

  std::unique_ptr<GdbTransport> transport_;
  std::chrono::milliseconds timeout_;
  std::chrono::milliseconds limit_;  // of the request under way
  Features features_;
  bool acknowledges_ = true;
  bool lost_ = false;
  std::string failure_;
  GdbPacketReader reader_;
  std::string received_;
  std::string_view unread_;  // of received_
};

// "E01", "E.text"
bool IsGdbError(std::string_view answer);

}  // namespace elfload
