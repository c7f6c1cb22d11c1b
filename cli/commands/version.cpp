// elfload version: the program's version, and the loader's through its command VER.
#include "commands/commands.h"

namespace elfload {

ExitStatus RunVersion(Session& session, const Options&, Output& out) {
  out.Write("elfload " ELFLOAD_VERSION "\n");
  char line[] = "VER";
  if (session.Loader() == nullptr || session.Loader()->Execute(line) == 0) return EXIT_REFUSED;
  out.Print("{}\n", session.VersionLine());
  return EXIT_DONE;
}

}  // namespace elfload
