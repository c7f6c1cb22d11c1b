// elfload: the debug records of an absolute ELF file, through the loader module that a debugger loads.
#include <fmt/format.h>

#include <cstdio>
#include <exception>

#include "command_line.h"
#include "commands.h"
#include "platform.h"

namespace elfload {

namespace {

// Tells the loader by which rules to read line programs. Where the user and the environment say nothing, `where` takes
// the published ones, since what it is asked about is mostly a GNU tool's output; all else takes the loader's own.
void ChooseLineRules(const Options& options) {
  const bool isAutomatic = options.lines == LineRules::automatic;
  const bool asPublished = isAutomatic ? options.command == Command::where : options.lines == LineRules::dwarf2;
  SetEnvironment("LINEPROGRAM", asPublished ? "DWARF2" : "LOADER", !isAutomatic);
}

ExitStatus RunCommand(const Options& options, Output& out) {
  using Run = ExitStatus (*)(Session&, const Options&, Output&);
  constexpr Run commands[] = {RunInfo,    RunModules, RunDump, RunFind,   RunWhere,
                              RunSection, RunStats,   RunLoad, RunVersion};  // by Command
  ChooseLineRules(options);
  Session session(options, out);
  return commands[static_cast<size_t>(options.command)](session, options, out);
}

ExitStatus Run(int count, const char* const* arguments, Output& out) {
  Options options;
  if (const auto result = ParseCommandLine(count, arguments, options)) {
    if (result->status == EXIT_DONE) {
      out.Write(result->text);
    } else {
      fmt::print(stderr, "elfload: {}", result->text);
    }
    return result->status;
  }
  return RunCommand(options, out);
}

}  // namespace

}  // namespace elfload

int main(int count, char** arguments) {
  using namespace elfload;
  // What the loader prints on standard output goes to standard error from here on.
  std::FILE* file = TakeStandardOutput();
  int status = EXIT_REFUSED;
  try {
    Output out(file);
    status = Run(count, arguments, out);
    out.Flush();
    if (out.failed()) {
      fmt::print(stderr, "elfload: the output cannot be written\n");
      status = EXIT_REFUSED;
    }
  } catch (const std::exception& error) {
    fmt::print(stderr, "elfload: {}\n", error.what());
  }
  if (file != nullptr && std::fclose(file) != 0) status = EXIT_REFUSED;
  return status;
}
