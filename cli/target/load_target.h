// What the targets of elfload have beyond the operations that a loader calls.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tarnixcore/target.h"

namespace elfload {

struct AddressRange {
  uint32_t first = 0;
  uint32_t last = 0;  // included
};

class LoadTarget : public Target {
 public:
  // Told before a download: the ranges that will be written, in order.
  virtual void PlanWrites(const std::vector<AddressRange>& ranges) { (void)ranges; }

  // Ends the download: what is held back is written, and the target runs on where `run` is set. False when that failed.
  virtual bool Finish(bool run) {
    (void)run;
    return true;
  }

  // The way to the target is gone, and all that follows fails.
  virtual bool LinkLost() const { return false; }

  // Why the last operation that failed did so, in words for the user.
  const std::string& Reason() const { return reason_; }

 protected:
  std::string reason_;
};

}  // namespace elfload
