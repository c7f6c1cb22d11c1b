// A hostile GDB stub. The input's first byte says how it is sent: 1, each line as a packet with a good checksum,
// after an acknowledgement; 0, each line as it is.
#include <utility>

#include "target/gdb_target.h"

namespace {

class HostileTransport : public elfload::GdbTransport {
 public:
  HostileTransport(std::string input, bool packets) : input_(std::move(input)), packets_(packets) {}

  Status Send(std::string_view /*bytes*/, elfload::GdbClock::time_point /*deadline*/) override { return Status::ok; }

  Status Receive(std::string& bytes, elfload::GdbClock::time_point /*deadline*/) override {
    bytes = input_.substr(0, input_.find('\n'));
    input_.erase(0, bytes.size() + 1);
    if (packets_) {
      uint8_t sum = 0;
      for (const char c : bytes) {
        sum = static_cast<uint8_t>(sum + static_cast<uint8_t>(c));
      }
      constexpr char digits[] = "0123456789abcdef";
      bytes = "+$" + bytes + '#' + digits[sum >> 4] + digits[sum & 0xF];
    }
    return !input_.empty() && !bytes.empty() ? Status::ok : Status::closed;
  }

  std::string Error() const override { return "none"; }

 private:
  std::string input_;
  bool packets_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) {
    return 0;
  }
  std::string input(reinterpret_cast<const char*>(data) + 1, size - 1);
  elfload::GdbTarget target(std::make_unique<HostileTransport>(std::move(input), data[0] % 2 != 0),
                            {.timeout = std::chrono::milliseconds(50), .machine = 20});
  if (!target.Connect()) {
    return 0;
  }
  uint8_t block[64] = {};
  target.PlanWrites({{0x100, 0x1FF}});
  target.CheckMemory(0x100, 0x1FF, "code", 1);
  target.WriteBlock({0x100, 0}, block, sizeof(block), 2);
  target.ReadBlock({0x100, 0}, block, sizeof(block), 2);
  target.SetStartAddress(0x100);
  target.Finish(true);
  return 0;
}
