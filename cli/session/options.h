// What the command line asked for.
#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "session/load_options.h"
#include "tarnixcore/obj_file_loader.h"
#include "terminal/palette.h"

namespace elfload {

enum class Command : uint8_t { info, modules, dump, find, where, section, stats, load, version };
// The rules by which debug information is read: the loader's own, or those of the published standards.
enum class DwarfRules : uint8_t { loader, published };

// Exit status of the program.
enum ExitStatus : int {
  EXIT_DONE = 0,        // the operation did what was asked
  EXIT_REFUSED = 1,     // the loader refused, or the file is partly corrupt, or something was not found
  EXIT_WRONG_LINE = 2,  // the command line is wrong
};

struct Options {
  Command command = Command::info;
  std::string file;
  bool json = false;
  bool verbose = false;
  bool force = false;  // object files are read too
  ColorChoice color = ColorChoice::automatic;
  std::string plugin;                // path of the module; empty: where it is installed
  std::optional<DwarfRules> rules;   // without the option RunCommandLine takes the environment's, else the published
  bool answerCancel = false;         // how message boxes are answered where nobody can be asked
  std::vector<std::string> modules;  // dump: index or name of each
  FindKind kind = FIND_ALL;          // find
  std::vector<std::string> what;     // find: names and addresses; where: addresses; checked
  std::string section;               // section
  std::string outputFile;            // section; empty: standard output
  bool release = false;              // stats: release each unit once it is counted
  std::optional<unsigned> jobs;      // dump, stats: threads that fill; without it by the rules, see Jobs
  LoadOptions load;

  bool ArePublished() const { return rules == DwarfRules::published; }

  // The threads that fill: with the loader's rules one, as a debugger has it, else as many as were asked for or as
  // the machine has processors.
  unsigned Jobs() const {
    if (!ArePublished()) return 1;
    return jobs.value_or(std::max(1u, std::thread::hardware_concurrency()));
  }
};

// The word that has `find` and `where` read their words from standard input.
constexpr std::string_view standardInput = "-";

enum class AddressBase : uint8_t { decimal = 10, hexadecimal = 16 };

// An address as the user writes it: 0x8010, $8010 and 8010h are hexadecimal, a number without a mark is of the base
// `unmarked`. False for anything else and above 32 bits.
bool ParseAddress(std::string_view text, AddressBase unmarked, uint32_t& address);

// Whether `find` takes a word for an address.
inline bool IsAddress(std::string_view word) {
  return !word.empty() && word[0] >= '0' && word[0] <= '9';
}

}  // namespace elfload
