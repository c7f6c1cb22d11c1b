// Sockets of the GDB target. All calls that differ between systems are here.
#include "target/gdb_transport.h"

#if defined(_WIN32)
#ifndef NOMINMAX
#define NOMINMAX
#endif
#define WIN32_LEAN_AND_MEAN
#include <winsock2.h>
#include <ws2tcpip.h>
#else
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#endif

#include <algorithm>
#include <charconv>
#include <cstring>
#include <system_error>

namespace elfload {

namespace {

#if defined(_WIN32)
using Socket = SOCKET;
using Length = int;
constexpr Socket NO_SOCKET = INVALID_SOCKET;
constexpr int SEND_FLAGS = 0;
int LastError() {
  return WSAGetLastError();
}
bool WouldWait(int error) {
  return error == WSAEWOULDBLOCK;
}
bool Interrupted(int error) {
  return error == WSAEINTR;
}
void CloseSocket(Socket handle) {
  closesocket(handle);
}
int Poll(WSAPOLLFD* entry, int timeout) {
  return WSAPoll(entry, 1, timeout);
}
using PollEntry = WSAPOLLFD;
bool SetNonBlocking(Socket handle) {
  u_long on = 1;
  return ioctlsocket(handle, FIONBIO, &on) == 0;
}
bool StartSockets() {
  static const bool started = [] {
    WSADATA data;
    return WSAStartup(MAKEWORD(2, 2), &data) == 0;
  }();
  return started;
}
#else
using Socket = int;
using Length = size_t;
constexpr Socket NO_SOCKET = -1;
constexpr int SEND_FLAGS = MSG_NOSIGNAL;
int LastError() {
  return errno;
}
bool WouldWait(int error) {
  return error == EAGAIN || error == EWOULDBLOCK || error == EINPROGRESS;
}
bool Interrupted(int error) {
  return error == EINTR;
}
void CloseSocket(Socket handle) {
  close(handle);
}
using PollEntry = pollfd;
int Poll(PollEntry* entry, int timeout) {
  return poll(entry, 1, timeout);
}
bool SetNonBlocking(Socket handle) {
  const int flags = fcntl(handle, F_GETFL);
  return flags != -1 && fcntl(handle, F_SETFL, flags | O_NONBLOCK) == 0 && fcntl(handle, F_SETFD, FD_CLOEXEC) == 0;
}
bool StartSockets() {
  return true;
}
#endif

std::string SystemMessage(int error) {
  return std::system_category().message(error);
}

// Waits until the socket is ready for `events`. A signal does not end the wait: a block that has begun is finished.
GdbTransport::Status WaitFor(Socket handle, short events, GdbClock::time_point deadline, int& error) {
  while (true) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - GdbClock::now()).count();
    PollEntry entry{};
    entry.fd = handle;
    entry.events = events;
    const int count = Poll(&entry, static_cast<int>(std::clamp<int64_t>(left, 0, 3600000)));
    if (count > 0) {
      return GdbTransport::Status::ok;
    }
    if (count < 0 && !Interrupted(LastError())) {
      error = LastError();
      return GdbTransport::Status::failed;
    }
    if (GdbClock::now() >= deadline) {
      return GdbTransport::Status::timeout;
    }
  }
}

class SocketTransport : public GdbTransport {
 public:
  explicit SocketTransport(Socket handle) : handle_(handle) {}
  ~SocketTransport() override { CloseSocket(handle_); }

  Status Send(std::string_view bytes, GdbClock::time_point deadline) override {
    while (!bytes.empty()) {
      const auto sent = send(handle_, bytes.data(), static_cast<Length>(bytes.size()), SEND_FLAGS);
      if (sent >= 0) {
        bytes.remove_prefix(static_cast<size_t>(sent));
      } else if (const Status status = AfterError(POLLOUT, deadline); status != Status::ok) {
        return status;
      }
    }
    return Status::ok;
  }

  Status Receive(std::string& bytes, GdbClock::time_point deadline) override {
    bytes.clear();
    while (true) {
      // Waits first: the answer is hardly ever there when it is asked for.
      if (const Status status = WaitFor(handle_, POLLIN, deadline, error_); status != Status::ok) {
        return status;
      }
      char buffer[8192];
      const auto count = recv(handle_, buffer, sizeof(buffer), 0);
      if (count > 0) {
        bytes.assign(buffer, static_cast<size_t>(count));
        return Status::ok;
      }
      if (count == 0) {
        return Status::closed;
      }
      if (const Status status = AfterError(POLLIN, deadline); status != Status::ok) {
        return status;
      }
    }
  }

  std::string Error() const override { return SystemMessage(error_); }

 private:
  Status AfterError(short events, GdbClock::time_point deadline) {
    const int error = LastError();
    if (Interrupted(error)) {
      return Status::ok;
    }
    if (WouldWait(error)) {
      return WaitFor(handle_, events, deadline, error_);
    }
    error_ = error;
    return Status::failed;
  }

  Socket handle_;
  int error_ = 0;
};

// Returns the connected socket, or NO_SOCKET with `error` set.
Socket Connect(int family, const sockaddr* address, size_t length, GdbClock::time_point deadline, std::string& error) {
  const Socket handle = socket(family, SOCK_STREAM, 0);
  if (handle == NO_SOCKET) {
    error = SystemMessage(LastError());
    return NO_SOCKET;
  }
  int code = 0;
  if (!SetNonBlocking(handle)) {
    code = LastError();
  } else if (connect(handle, address, static_cast<socklen_t>(length)) != 0) {
    code = LastError();
    if (WouldWait(code) || Interrupted(code)) {
      code = 0;
      const auto status = WaitFor(handle, POLLOUT, deadline, code);
      if (status == GdbTransport::Status::timeout) {
        CloseSocket(handle);
        error = "no answer";
        return NO_SOCKET;
      }
      socklen_t size = sizeof(code);
      if (status == GdbTransport::Status::ok &&
          getsockopt(handle, SOL_SOCKET, SO_ERROR, reinterpret_cast<char*>(&code), &size) != 0) {
        code = LastError();
      }
    }
  }
  if (code != 0) {
    CloseSocket(handle);
    error = SystemMessage(code);
    return NO_SOCKET;
  }
  return handle;
}

Socket ConnectTcp(const GdbEndpoint& endpoint, GdbClock::time_point deadline, std::string& error) {
  addrinfo hints{};
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* list = nullptr;
  const char* host = endpoint.host.empty() ? "localhost" : endpoint.host.c_str();
  if (const int code = getaddrinfo(host, endpoint.port.c_str(), &hints, &list); code != 0) {
    error = gai_strerror(code);
    return NO_SOCKET;
  }
  Socket handle = NO_SOCKET;
  for (const addrinfo* entry = list; entry != nullptr && handle == NO_SOCKET; entry = entry->ai_next) {
    handle = Connect(entry->ai_family, entry->ai_addr, entry->ai_addrlen, deadline, error);
  }
  freeaddrinfo(list);
  const int on = 1;
  if (handle != NO_SOCKET &&
      setsockopt(handle, IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<const char*>(&on), sizeof(on)) != 0) {
    error = SystemMessage(LastError());
    CloseSocket(handle);
    return NO_SOCKET;
  }
  return handle;
}

#if defined(_WIN32)
Socket ConnectUnix(const std::string&, GdbClock::time_point, std::string& error) {
  error = "Unix sockets are not available on this system";
  return NO_SOCKET;
}
#else
Socket ConnectUnix(const std::string& path, GdbClock::time_point deadline, std::string& error) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof(address.sun_path)) {
    error = "the path is too long for a socket";
    return NO_SOCKET;
  }
  memcpy(address.sun_path, path.data(), path.size());
  return Connect(AF_UNIX, reinterpret_cast<const sockaddr*>(&address), sizeof(address), deadline, error);
}
#endif

}  // namespace

bool ParseGdbEndpoint(std::string_view text, GdbEndpoint& endpoint, std::string& error) {
  endpoint = {};
  if (text.starts_with("unix:")) {
    endpoint.path = text.substr(5);
    if (endpoint.path.empty()) {
      error = "a path must follow \"unix:\"";
    }
    return !endpoint.path.empty();
  }
  const size_t colon = text.rfind(':');
  if (colon == std::string_view::npos) {
    error = "expected HOST:PORT, [IPV6]:PORT or unix:PATH";
    return false;
  }
  std::string_view host = text.substr(0, colon);
  const std::string_view port = text.substr(colon + 1);
  if (host.starts_with('[') && host.ends_with(']')) {
    host = host.substr(1, host.size() - 2);
  } else if (host.find(':') != std::string_view::npos) {
    error = "put an IPv6 address in brackets: [::1]:1234";
    return false;
  }
  unsigned number = 0;
  const auto [end, code] = std::from_chars(port.data(), port.data() + port.size(), number);
  if (code != std::errc() || end != port.data() + port.size() || number == 0 || number > 65535) {
    error = "the port is a number from 1 to 65535";
    return false;
  }
  endpoint.host = host;
  endpoint.port = port;
  return true;
}

std::unique_ptr<GdbTransport> ConnectGdb(const GdbEndpoint& endpoint, GdbClock::time_point deadline,
                                         std::string& error) {
  if (!StartSockets()) {
    error = "the system has no sockets";
    return nullptr;
  }
  const Socket handle =
      endpoint.path.empty() ? ConnectTcp(endpoint, deadline, error) : ConnectUnix(endpoint.path, deadline, error);
  return handle == NO_SOCKET ? nullptr : std::make_unique<SocketTransport>(handle);
}

}  // namespace elfload
