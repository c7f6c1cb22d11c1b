// The one file that includes CLI11, which compiles slowly.
#include "commands/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <map>
#include <sstream>

#include "text/nearest_name.h"

namespace elfload {

namespace {

struct CommandRow {
  Command command;
  const char* name;
  const char* description;
  const char* example;
};
constexpr CommandRow commandRows[] = {
    // by Command
    {Command::info, "info", "Show processor, entry, debug format, segments, sections", "elfload info firmware.elf"},
    {Command::modules, "modules", "List the compilation units, filling none", "elfload modules firmware.elf"},
    {Command::dump, "dump", "Show the debug records of all units or of some",
     "elfload dump --json --module 0 --module main.c firmware.elf"},
    {Command::find, "find", "Find the units that hold names or addresses",
     "elfload find --kind code firmware.elf main 0x2000"},
    {Command::where, "where", "Show procedure and source line of addresses",
     "elfload where firmware.elf 0x2014 0x2080"},
    {Command::section, "section", "Write the bytes of a section",
     "elfload section firmware.elf .debug_line -o line.bin"},
    {Command::stats, "stats", "Count what the units hold, and measure what reading them costs",
     "elfload stats firmware.elf"},
    {Command::load, "load", "Load code and data into a target, verified",
     "elfload load --target gdb:localhost:1234 firmware.elf"},
    {Command::version, "version", "Show the versions of program and loader", "elfload version"},
};

std::string MainFooter() {
  std::string text = "Examples:\n";
  for (const CommandRow& row : commandRows) text += std::string("  ") + row.example + "\n";
  return text +
         "\nExit status: 0 done; 1 refused, partly corrupt or not found; 2 wrong command line.\n"
         "`elfload help COMMAND` shows the options of a command.";
}

// Lets an option take words instead of numbers.
CLI::Validator Choice(const std::map<std::string, int>& values) {
  return {[values](std::string& text) -> std::string {
            const auto found = values.find(text);
            if (found == values.end()) {
              std::string words;
              for (const auto& value : values) words += (words.empty() ? "" : ", ") + value.first;
              return "'" + text + "' is not one of " + words;
            }
            text = std::to_string(found->second);
            return "";
          },
          ""};
}

// Adds a command with its own words, which also takes the options that all commands share.
CLI::App* AddCommand(CLI::App& line, Options& options, Command command) {
  const CommandRow& row = commandRows[static_cast<size_t>(command)];
  CLI::App* app = line.add_subcommand(row.name, row.description);
  app->fallthrough();
  app->footer(std::string("Example:\n  ") + row.example);
  app->callback([&options, command] { options.command = command; });
  return app;
}

CLI::App* AddFileCommand(CLI::App& line, Options& options, Command command) {
  CLI::App* app = AddCommand(line, options, command);
  if (command != Command::section) app->add_flag("--json", options.json, "write one JSON document");
  app->add_flag("--force", options.force, "read an object file too, as if it were linked");
  app->add_option("FILE", options.file, "absolute ELF file")->required()->type_name("");
  return app;
}

void AddSharedOptions(CLI::App& line, Options& options) {
  line.add_option("--color", options.color, "colour: auto, always or never (NO_COLOR turns auto off)")
      ->transform(Choice({{"auto", 0}, {"always", 1}, {"never", 2}}))
      ->type_name("WHEN");
  line.add_option("--plugin", options.plugin, "the loader module to use")->type_name("PATH");
  line.add_option("--rules", options.rules, "how debug information is read: published (the default) or loader")
      ->transform(Choice(
          {{"loader", static_cast<int>(DwarfRules::loader)}, {"published", static_cast<int>(DwarfRules::published)}}))
      ->type_name("RULES");
  line.add_option("--answer", options.answerCancel,
                  "how to answer message boxes without a terminal: ok (the default) or cancel")
      ->transform(Choice({{"ok", 0}, {"cancel", 1}}))
      ->type_name("ANSWER");
  line.set_version_flag("-V,--version", "", "show the versions of program and loader");
  line.add_flag("-v,--verbose", options.verbose,
                "say on standard error which units were filled, and why, and what the loader says");
}

void AddJobs(CLI::App& command, Options& options) {
  constexpr unsigned most = 256;
  command
      .add_option("-j,--jobs", options.jobs,
                  "threads that fill units (all processors); with the loader's rules it is one")
      ->check(CLI::Range(1u, most))
      ->type_name("N");
}

void AddLoad(CLI::App& line, Options& options) {
  LoadOptions& load = options.load;
  CLI::App* app = AddFileCommand(line, options, Command::load);
  app->add_option("--target", load.target, "mem (the default), gdb:HOST:PORT, gdb:[IPV6]:PORT or gdb:unix:PATH")
      ->type_name("TARGET");
  app->add_option(
         "--verify", load.verify,
         "what to read back: none, full, quick (4 bytes of each 512), or write nothing and compare: only, only-quick; "
         "full for gdb:, none for mem")
      ->transform(Choice({{"none", 0}, {"full", 1}, {"quick", 2}, {"only", 3}, {"only-quick", 4}}))
      ->type_name("HOW");
  app->add_option("--region", load.regions, "a range of the target's memory, as 0x8000-0xFFFF:rx; may be repeated")
      ->type_name("RANGE")
      ->allow_extra_args(false);
  app->add_option("--addresses", load.physical, "where segments go: virtual or physical")
      ->transform(Choice({{"virtual", 0}, {"physical", 1}}))
      ->type_name("WHICH");
  app->add_option("--out", load.outputFile, "write the memory to this file at the end")->type_name("OUT");
  app->add_option("--format", load.format, "format of OUT: hex, srec or bin; without it, the extension of OUT decides")
      ->transform(Choice({{"hex", 0}, {"srec", 1}, {"bin", 2}}))
      ->type_name("FORMAT");
  app->add_flag("--fill-gaps", load.fillGaps, "write a raw file even when its gaps make it larger than 64 MiB");
  app->add_option("--timeout", load.timeout, "how long to wait for each answer of a stub (5)")->type_name("SECONDS");
  app->add_option("--leave", load.leaveRunning,
                  "state of a stub's target after the download: halted (the default) or running")
      ->transform(Choice({{"halted", 0}, {"running", 1}}))
      ->type_name("STATE");
  app->add_option("--progress", load.progress, "how to show progress: auto (a bar on a terminal), json or none")
      ->transform(Choice({{"auto", 0}, {"json", 1}, {"none", 2}}))
      ->type_name("HOW");
  app->add_flag("-q,--quiet", load.quiet, "no progress, no way to cancel, no line at the end");
  app->add_flag("--dry-run", load.dryRun, "only make the range checks");
}

void AddCommands(CLI::App& line, Options& options) {
  AddFileCommand(line, options, Command::info);
  AddFileCommand(line, options, Command::modules);

  CLI::App* dump = AddFileCommand(line, options, Command::dump);
  dump->add_option("-m,--module", options.modules, "only this unit, by index or name; may be repeated")
      ->type_name("INDEX|NAME")
      ->allow_extra_args(false);

  AddJobs(*dump, options);

  CLI::App* find = AddFileCommand(line, options, Command::find);
  find->add_option("--kind", options.kind, "what to search: all, code or data")
      ->transform(Choice({{"all", FIND_ALL}, {"code", FIND_CODE}, {"data", FIND_DATA}}))
      ->type_name("KIND");
  find->add_option("WHAT", options.what, "names, or addresses when they start with a digit; - reads a name a line")
      ->required()
      ->type_name("");

  CLI::App* where = AddFileCommand(line, options, Command::where);
  where
      ->add_option("ADDRESS", options.what,
                   "hexadecimal: 8010, 0x8010, 8010h or $8010; - reads them from standard input")
      ->required()
      ->type_name("");

  CLI::App* section = AddFileCommand(line, options, Command::section);
  section->add_option("NAME", options.section, "name of the section")->required()->type_name("");
  section->add_option("-o,--output", options.outputFile, "write to this file instead of standard output")
      ->type_name("OUT");

  CLI::App* stats = AddFileCommand(line, options, Command::stats);
  stats->add_flag("--release", options.release, "release each unit's records before the next unit is filled");
  AddJobs(*stats, options);

  AddLoad(line, options);
  AddCommand(line, options, Command::version);
}

// Puts the arguments in the order that CLI11 wants, which takes the options of a command after the command alone, and
// says what is mistyped.
class ArgumentOrder {
 public:
  explicit ArgumentOrder(const CLI::App& line) : line_(line) {}

  // The command with all arguments after it. Without a command they stay as they are.
  std::vector<std::string> Sort(int count, const char* const* arguments) {
    std::vector<std::string> sorted;
    bool isValue = false;
    bool isAfterCommand = false;
    bool areOptions = true;
    for (int i = 1; i < count; i++) {
      const std::string word = arguments[i];
      const bool isOption = areOptions && !isValue && word.size() > 1 && word[0] == '-';
      if (isOption) {
        areOptions = word != "--";
        options_.push_back(NameOf(word));
        isValue = areOptions && TakesNext(word);
      } else if (!isValue && !isAfterCommand) {
        isAfterCommand = true;
        if (word == "help") {
          isHelp_ = true;
          isAfterCommand = !isHelp_;  // the command is the next word
          continue;
        }
        command_ = word;
        sorted.insert(sorted.begin(), word);
        continue;
      } else {
        isValue = false;
      }
      sorted.push_back(word);
    }
    if (isHelp_) {
      return command_.empty() ? std::vector<std::string>{"--help"} : std::vector{command_, std::string("--help")};
    }
    return sorted;
  }

  // What is wrong with the words; empty when all are known.
  std::string Mistake() const {
    const CLI::App* command = FindCommand(command_);
    if (command == nullptr && !command_.empty()) {
      NearestName nearest(command_);
      for (const CommandRow& row : commandRows) nearest.Offer(row.name);
      nearest.Offer("help");
      return "no command '" + command_ + "'" + nearest.Question("; `elfload --help` lists the commands");
    }
    for (const std::string& option : options_) {
      if (option == "--" || Find(option, command) != nullptr) continue;
      if (FindAnywhere(option) == nullptr) {
        return "no option '" + option + "'" + NearestOption(option, command).Question();
      }
      return command != nullptr ? "'" + option + "' is no option of " + command_ : "a command is missing";
    }
    return "";
  }

 private:
  // "--name" of "--name=value", "-n" of "-nvalue".
  static std::string NameOf(const std::string& word) {
    return word[1] == '-' ? word.substr(0, word.find('=')) : word.substr(0, 2);
  }

  static bool IsValueApart(const std::string& word) {
    return word[1] == '-' ? word.find('=') == std::string::npos : word.size() == 2;
  }

  bool TakesNext(const std::string& word) const {
    const CLI::Option* option = FindAnywhere(NameOf(word));
    return option != nullptr && option->get_items_expected_min() > 0 && IsValueApart(word);
  }

  const CLI::App* FindCommand(const std::string& name) const {
    const auto found = line_.get_subcommands([&name](const CLI::App* command) { return command->get_name() == name; });
    return found.empty() ? nullptr : found[0];
  }

  // CLI11's own search ends the program when memory fails.
  static const CLI::Option* FindIn(const CLI::App& app, const std::string& name) {
    const bool isLong = name.starts_with("--");
    for (const CLI::Option* option : app.get_options()) {
      const std::vector<std::string>& names = isLong ? option->get_lnames() : option->get_snames();
      const std::string_view wanted = std::string_view(name).substr(isLong ? 2 : 1);
      if (std::find(names.begin(), names.end(), wanted) != names.end()) return option;
    }
    return nullptr;
  }

  // Of a command, or shared by all.
  const CLI::Option* Find(const std::string& name, const CLI::App* command) const {
    const CLI::Option* option = command != nullptr ? FindIn(*command, name) : nullptr;
    return option != nullptr ? option : FindIn(line_, name);
  }

  const CLI::Option* FindAnywhere(const std::string& name) const {
    for (const CommandRow& row : commandRows) {
      if (const CLI::Option* option = Find(name, FindCommand(row.name))) return option;
    }
    return nullptr;
  }

  NearestName NearestOption(const std::string& word, const CLI::App* command) const {
    NearestName nearest(word);
    for (const CLI::App* app : {command, &line_}) {
      if (app == nullptr) continue;
      for (const CLI::Option* option : app->get_options()) {
        for (const std::string& name : option->get_lnames()) nearest.Offer("--" + name);
      }
    }
    return nearest;
  }

  const CLI::App& line_;
  std::string command_;
  bool isHelp_ = false;
  std::vector<std::string> options_;  // names of all that were given
};

// What CLI11 cannot check by itself. Empty when all is well.
std::string CheckValues(Options& options) {
  if (options.command == Command::load) return CheckLoadOptions(options.load);
  if (options.command != Command::find && options.command != Command::where) return "";
  for (const std::string& what : options.what) {
    if (what == standardInput) continue;
    uint32_t address = 0;
    const bool isSound = options.command == Command::where
                             ? ParseAddress(what, AddressBase::hexadecimal, address)
                             : !what.empty() && (!IsAddress(what) || ParseAddress(what, AddressBase::decimal, address));
    if (!isSound) return "'" + what + "' is not a 32-bit address";
  }
  return "";
}

}  // namespace

bool ParseAddress(std::string_view text, AddressBase unmarked, uint32_t& address) {
  int base = 16;
  if (text.starts_with("0x") || text.starts_with("0X")) {
    text.remove_prefix(2);
  } else if (text.starts_with("$")) {
    text.remove_prefix(1);
  } else if (text.ends_with("h") || text.ends_with("H")) {
    text.remove_suffix(1);
  } else {
    base = static_cast<int>(unmarked);
  }
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, address, base);
  return error == std::errc() && stop == end;
}

std::optional<LineResult> ParseCommandLine(int count, const char* const* arguments, Options& options) {
  CLI::App line("Shows the debug records of 32-bit ELF files, as the elfloader module hands them to a debugger.",
                "elfload");
  line.allow_windows_style_options(false);  // a name may begin with a slash everywhere
  line.require_subcommand(0, 1);
  line.footer(MainFooter());
  AddSharedOptions(line, options);
  AddCommands(line, options);
  ArgumentOrder order(line);
  std::vector<std::string> words = order.Sort(count, arguments);
  if (const std::string mistake = order.Mistake(); !mistake.empty()) return LineResult{EXIT_WRONG_LINE, mistake};
  std::reverse(words.begin(), words.end());  // as CLI11 takes them
  try {
    line.parse(words);
  } catch (const CLI::CallForVersion&) {
    options.command = Command::version;
    return std::nullopt;
  } catch (const CLI::Success& help) {
    std::ostringstream text;
    line.exit(help, text, text);
    return LineResult{EXIT_DONE, text.str()};
  } catch (const CLI::ParseError& error) {
    return LineResult{EXIT_WRONG_LINE, error.what()};
  }
  const std::string wrong = line.get_subcommands().empty() ? "a command is missing" : CheckValues(options);
  if (!wrong.empty()) return LineResult{EXIT_WRONG_LINE, wrong};
  return std::nullopt;
}

}  // namespace elfload
