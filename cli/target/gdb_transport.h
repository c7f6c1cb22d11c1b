// The connection to a GDB stub: bytes with deadlines, over TCP or a Unix socket.
//
//   GdbEndpoint endpoint;
//   std::string error;
//   if (ParseGdbEndpoint("[::1]:1234", endpoint, error)) {
//     auto transport = ConnectGdb(endpoint, GdbClock::now() + std::chrono::seconds(5), error);  // null: see `error`
//   }
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <string_view>

namespace elfload {

using GdbClock = std::chrono::steady_clock;

struct GdbEndpoint {
  std::string host;  // name or address without brackets
  std::string port;  // a number
  std::string path;  // of a Unix socket; empty for TCP
};

// Parses "HOST:PORT", "[IPV6]:PORT", ":PORT" (this machine) or "unix:PATH".
bool ParseGdbEndpoint(std::string_view text, GdbEndpoint& endpoint, std::string& error);

class GdbTransport {
 public:
  enum class Status { ok, timeout, closed, failed };

  GdbTransport() = default;
  GdbTransport(const GdbTransport&) = delete;
  GdbTransport& operator=(const GdbTransport&) = delete;
  virtual ~GdbTransport() = default;

  // Sends all of `bytes`.
  virtual Status Send(std::string_view bytes, GdbClock::time_point deadline) = 0;

  // Waits for bytes and replaces `bytes` by them: at least one when the status is ok, none otherwise.
  virtual Status Receive(std::string& bytes, GdbClock::time_point deadline) = 0;

  // The system's words for the last status `failed`.
  virtual std::string Error() const = 0;
};

// Null with `error` set when there is no connection by the deadline. Small packets leave at once (TCP_NODELAY).
std::unique_ptr<GdbTransport> ConnectGdb(const GdbEndpoint& endpoint, GdbClock::time_point deadline,
                                         std::string& error);

}  // namespace elfload
