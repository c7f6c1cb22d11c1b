// What the targets of elfload have beyond the operations that a loader calls.
#pragma once

#include <string>
#include <vector>

#include "target/address_range.h"
#include "tarnixcore/target.h"

namespace elfload {

class LoadTarget : public Target {
 public:
  // Called before a download with the ranges that will be written, in order.
  virtual void PlanWrites(const std::vector<AddressRange>& ranges) { (void)ranges; }

  // Whether the link to the target is lost, so that all that follows fails.
  virtual bool LinkLost() const { return false; }

  // The reason of the last failure, in words for the user.
  const std::string& Reason() const { return reason_; }

 protected:
  std::string reason_;
};

}  // namespace elfload
