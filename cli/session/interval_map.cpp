#include "session/interval_map.h"

#include <algorithm>
#include <functional>
#include <numeric>
#include <queue>

namespace elfload {

// Goes over the addresses at which an interval begins or ends. Those that hold the address wait in a queue by rank;
// what has ended leaves it when it comes to the front.
IntervalMap::IntervalMap(const std::vector<Interval>& intervals) {
  std::vector<uint32_t> byLow(intervals.size());
  std::iota(byLow.begin(), byLow.end(), 0);
  std::sort(byLow.begin(), byLow.end(), [&](uint32_t a, uint32_t b) { return intervals[a].low < intervals[b].low; });
  std::vector<uint64_t> bounds;
  for (const Interval& interval : intervals) {
    bounds.push_back(interval.low);
    bounds.push_back(interval.end);
  }
  std::sort(bounds.begin(), bounds.end());
  bounds.erase(std::unique(bounds.begin(), bounds.end()), bounds.end());

  std::priority_queue<uint32_t, std::vector<uint32_t>, std::greater<>> holding;
  size_t begun = 0;
  for (const uint64_t bound : bounds) {
    if (bound > UINT32_MAX) break;
    for (; begun < byLow.size() && intervals[byLow[begun]].low == bound; begun++) holding.push(byLow[begun]);
    while (!holding.empty() && intervals[holding.top()].end <= bound) holding.pop();
    const uint32_t owner = holding.empty() ? NONE : holding.top();
    if (pieces_.empty() || pieces_.back().owner != owner) pieces_.push_back({static_cast<uint32_t>(bound), owner});
  }
}

uint32_t IntervalMap::Find(uint32_t address) const {
  const auto after = std::upper_bound(pieces_.begin(), pieces_.end(), address,
                                      [](uint32_t wanted, const Piece& piece) { return wanted < piece.start; });
  return after != pieces_.begin() ? std::prev(after)->owner : NONE;
}

}  // namespace elfload
