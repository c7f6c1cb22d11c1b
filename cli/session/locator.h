// The unit, procedure and source line of an address.
//
// The finder is asked first. A unit's low and high address often leave out some of its code, such as a function in a
// section of its own, and the finder trusts them; so where it finds nothing, or a unit that has nothing at the address,
// the units' addrRanges decide, then the procedures of the units without addrRanges, filled ones first.
#pragma once

#include <optional>
#include <unordered_map>
#include <vector>

#include "session/fill_tracker.h"
#include "session/session.h"
#include "session/unit_lookup.h"

namespace elfload {

// What is at an address, and who said so.
struct Place {
  const char* decidedBy = nullptr;  // "finder", "addrRanges", "procedures"; null: nothing holds the address
  DescModule* module = nullptr;
  const DescProc* proc = nullptr;
  std::optional<LineRow> row;
  std::vector<size_t> filled;        // indexes of the units that were filled on the way
  std::vector<const char*> reasons;  // why each of them was filled
};

class Locator {
 public:
  // The session's list of units must be built. No unit may be released while this lives.
  explicit Locator(Session& session);

  Place Locate(uint32_t address);

 private:
  void Decide(uint32_t address, Place& place);
  bool DecideByRanges(const DescModule* tried, uint32_t address, Place& place);
  bool DecideByProcedures(const DescModule* tried, uint32_t address, Place& place, bool areFilled);
  bool Settle(const char* decidedBy, DescModule* module, uint32_t address, Place& place);
  std::optional<LineRow> FindRow(DescModule* module, const DescProc* proc, uint32_t address);
  void Fill(DescModule* module, const char* reason);
  size_t FirstWithRange(uint32_t address);
  UnitLookup& LookupOf(const DescModule* module) { return lookups_.try_emplace(module, module).first->second; }

  Session& session_;
  FillTracker tracker_;
  std::vector<DescModule*> withoutRanges_;
  std::unordered_map<const DescModule*, const char*> reasons_;  // of the units that the finder did not fill itself
  std::unordered_map<const DescModule*, UnitLookup> lookups_;   // of the units that were asked so far
  QuestionCount rangeQuestions_;
  std::optional<IntervalMap> rangeMap_;  // over the ranges of all units
  std::vector<size_t> rangeOwners_;      // index of the unit of each range
};

}  // namespace elfload
