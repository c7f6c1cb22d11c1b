// What the process has used so far, and a report of it: one JSON object with the counts and the CPU seconds of each
// phase, as compare.py reads it.
//
//   UsageReport report("limit");
//   report.BeginPhase("entries");
//   ...
//   report.EndPhase();
//   report.Count("entries", entries);
//   report.Write();
#pragma once

#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <string>
#include <utility>
#include <vector>

inline double CpuSeconds() {
  timespec now{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

class UsageReport {
 public:
  explicit UsageReport(std::string tool) : tool_(std::move(tool)) {}

  // Phases do not nest.
  void BeginPhase(const char* name) {
    phases_.emplace_back(name, 0.0);
    phaseStart_ = CpuSeconds();
  }
  void EndPhase() { phases_.back().second = CpuSeconds() - phaseStart_; }

  void Count(const char* name, uint64_t count) { counts_.emplace_back(name, count); }

  void Write() const {
    std::printf("{\"tool\": \"%s\", \"cpuSeconds\": {", tool_.c_str());
    const char* comma = "";
    for (const auto& [name, seconds] : phases_) {
      std::printf("%s\"%s\": %.6f", comma, name.c_str(), seconds);
      comma = ", ";
    }
    std::printf("}, \"counts\": {");
    comma = "";
    for (const auto& [name, count] : counts_) {
      std::printf("%s\"%s\": %" PRIu64, comma, name.c_str(), count);
      comma = ", ";
    }
    std::printf("}}\n");
  }

 private:
  std::string tool_;
  double phaseStart_ = 0;
  std::vector<std::pair<std::string, double>> phases_;
  std::vector<std::pair<std::string, uint64_t>> counts_;
};
