// elfload: the debug records of an absolute ELF file, through the loader module that a debugger loads.
#include <cstdio>
#include <exception>

#include "commands/commands.h"
#include "terminal/platform.h"
#include "terminal/standard_error.h"
#include "terminal/utf8.h"

int main(int count, char** arguments) {
  using namespace elfload;
  // What the loader prints on standard output goes to standard error from here on.
  std::FILE* file = TakeStandardOutput();
  int status = EXIT_REFUSED;
  try {
    Output out(file);
    status = RunCommandLine(count, arguments, out);
    out.Flush();
    if (out.failed()) {
      Complain("the output cannot be written");
      status = EXIT_REFUSED;
    }
  } catch (const std::bad_alloc&) {
    Complain("out of memory");
  } catch (const std::exception& error) {
    Complain("{}", Printable(error.what()));
  }
  if (file != nullptr && std::fclose(file) != 0) status = EXIT_REFUSED;
  return status;
}
