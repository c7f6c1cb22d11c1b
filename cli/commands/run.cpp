// From the command line to the command.
#include "commands/command_line.h"
#include "commands/commands.h"
#include "terminal/platform.h"
#include "terminal/standard_error.h"

namespace elfload {

namespace {

// Tells the loader by which rules to read line programs. Where neither the user nor the environment says,
// `where` takes the published ones, since it is mostly asked about the output of GNU tools; all else takes the
// loader's.
void ChooseLineRules(const Options& options) {
  const bool isAutomatic = options.lines == LineRules::automatic;
  const bool asPublished = isAutomatic ? options.command == Command::where : options.lines == LineRules::dwarf2;
  SetEnvironment("LINEPROGRAM", asPublished ? "DWARF2" : "LOADER", !isAutomatic);
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
      Complain("{}", result->text.substr(0, result->text.find_last_not_of('\n') + 1));
    }
    return result->status;
  }
  ChooseLineRules(options);
  Session session(options, out);
  return commands[static_cast<size_t>(options.command)](session, options, out);
}

}  // namespace elfload
