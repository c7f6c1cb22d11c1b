// Memory that runs out at any call of a command: it throws or says so by its status, or has written the whole text.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <new>
#include <string>

#include "commands/commands.h"
#include "support/failing_malloc.h"

namespace elfload {
namespace {

struct Outcome {
  int status = EXIT_REFUSED;  // also of a command that threw
  std::string text;
};

// Runs a command with memory that fails once, at that call from its beginning on; 0 for none.
Outcome RunWith(const std::vector<const char*>& line, size_t call) {
  std::FILE* file = std::tmpfile();
  Outcome outcome;
  failed = false;
  callsUntilFailure = call;
  try {
    Output out(file);
    outcome.status = RunCommandLine(static_cast<int>(line.size()), line.data(), out);
    out.Flush();
  } catch (const std::bad_alloc&) {
    outcome.status = EXIT_REFUSED;
  }
  callsUntilFailure = 0;
  outcome.text.resize(static_cast<size_t>(std::ftell(file)));
  std::rewind(file);
  outcome.text.resize(std::fread(outcome.text.data(), 1, outcome.text.size(), file));
  std::fclose(file);
  if (line[3] == std::string_view("load")) outcome.text.resize(outcome.text.rfind(", ") + 1);  // the time it took
  return outcome;
}

TEST(FailingMemory, IsNeverTakenForSuccess) {
  const std::vector<std::vector<const char*>> lines = {
      {"info"},
      {"info", "--json"},
      {"modules"},
      {"dump", "--jobs", "1"},
      {"dump", "--json", "--jobs", "1"},
      {"dump", "--json", "--jobs", "3"},
      {"load", "--verify", "full"},
  };
  for (std::vector<const char*> line : lines) {
    line.insert(line.begin(), {"elfload", "--plugin", ELFLOAD_MODULE});
    line.push_back(ELFLOAD_SAMPLE);
    const Outcome sound = RunWith(line, 0);
    ASSERT_EQ(sound.status, EXIT_DONE);
    for (size_t call = 1;; call++) {
      const Outcome outcome = RunWith(line, call);
      if (!failed) break;
      EXPECT_TRUE(outcome.status != EXIT_DONE || outcome.text == sound.text) << line[3] << " at call " << call;
    }
  }
}

}  // namespace
}  // namespace elfload
