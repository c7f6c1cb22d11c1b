// A target that a GDB stub drives: QEMU, gdbserver, the server of a debug probe.
//
//   GdbTarget target(std::move(transport), {.timeout = std::chrono::seconds(5), .machine = EM_PPC});
//   if (!target.Connect()) Report(target.Reason());
//   loader->LoadCode(&target, 0, flags);
//   target.Finish(false);
//
// A refused block is a failed write. What ends the conversation with the stub fails all that follows.
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "target/gdb_client.h"
#include "target/load_target.h"
#include "target/region_map.h"
#include "target/target_description.h"

namespace elfload {

class GdbTarget : public LoadTarget {
 public:
  struct Settings {
    std::chrono::milliseconds timeout{5000};  // for every answer
    uint32_t machine = 0;                     // e_machine of the file, for stubs that do not describe their registers
    bool littleEndian = false;                // of the target
    bool writes = true;                       // false when the memory is only compared
    RegionMap regions = {};                   // the user's, beside the stub's own
  };

  GdbTarget(std::unique_ptr<GdbTransport> transport, Settings settings);
  ~GdbTarget() override;

  // Makes the handshake and reads memory map and registers. False with Reason() set.
  bool Connect();

  // Ends the download: writes what is held back, and lets the target run when `run` is set. False when that failed.
  bool Finish(bool run);

  int WriteBlock(Address address, const void* buffer, uint32_t count, int access) override;
  int ReadBlock(Address address, void* buffer, uint32_t count, int access) override;
  int SetStartAddress(uint32_t address) override;
  int CheckMemory(uint32_t first, uint32_t last, const char* name, int memoryType) override;

  void PlanWrites(const std::vector<AddressRange>& ranges) override { plannedWrites_ = ranges; }
  bool LinkLost() const override { return client_.Lost(); }

 private:
  bool ReadMemoryMap();
  bool WriteMemory(uint32_t address, std::string_view data);
  std::string WritePacket(uint32_t address, std::string_view data, size_t& count);
  bool ReadPiece(uint32_t address, size_t count, std::string& data);

  bool WriteFlash(uint32_t address, std::string_view data);
  bool EraseFlash();
  bool EraseRange(const AddressRange& range, uint32_t blockSize);
  bool EndFlash();

  bool Confirm(std::string_view request, const std::string& what, int patience = 1);
  bool Refuse(const std::string& what, std::string_view answer);
  bool Lose(const std::string& what);

  bool ReadCounter(std::string& value);
  bool SetCounterAlone(uint32_t address, size_t size);
  bool SetCounterAmongAll(uint32_t address);
  std::string CounterBytes(uint32_t address, size_t size) const;

  GdbClient client_;
  Settings settings_;
  RegionMap memoryMap_;
  ProgramCounter counter_;
  bool hasCounter_ = false;
  bool binaryWrites_ = false;  // packet `X`
  std::vector<AddressRange> plannedWrites_;
  bool flashErased_ = false;
  bool flashOpen_ = false;  // written and not yet ended by vFlashDone
};

}  // namespace elfload
