// From the command line to the command.
#include "commands/command_line.h"
#include "commands/commands.h"
#include "tarnixcore/text.h"
#include "terminal/platform.h"
#include "terminal/standard_error.h"
#include "terminal/utf8.h"

namespace elfload {

namespace {

// Settles the rules and sets them for the loader, which asks for the key at each Build.
void SettleRules(Options& options) {
  constexpr char key[] = "DWARFRULES";
  constexpr int published = static_cast<int>(DwarfRules::published);
  if (!options.rules) options.rules = static_cast<DwarfRules>(TE_WhichByKey(key, "LOADER|PUBLISHED", published));
  SetEnvironment(key, *options.rules == DwarfRules::published ? "PUBLISHED" : "LOADER");
}

}  // namespace

ExitStatus RunCommandLine(int count, const char* const* arguments, Output& out) {
  using Run = ExitStatus (*)(Session&, const Options&, Output&);
  constexpr Run commands[] = {RunInfo,    RunModules, RunDump, RunFind,   RunWhere,
                              RunSection, RunStats,   RunLoad, RunVersion};  // by Command
  Options options;
  if (const auto result = ParseCommandLine(count, arguments, options)) {
    if (result->status == EXIT_DONE) {
      out.Write(result->text);
    } else {
      Complain("{}\nRun with --help for more information.", Printable(result->text));
    }
    return result->status;
  }
  SettleRules(options);
  // The loader prints why it refuses a file; the session says it better.
  if (!options.verbose) MuteStandardOutput();
  Session session(options, out);
  return commands[static_cast<size_t>(options.command)](session, options, out);
}

}  // namespace elfload
