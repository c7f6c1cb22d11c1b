// The commands of the program, one source file each. Each opens the session's file, writes to `out` and returns the
// exit status; with --json it writes one document, whatever the loader says.
#pragma once

#include "session/options.h"
#include "session/session.h"
#include "terminal/output.h"

namespace elfload {

ExitStatus RunInfo(Session& session, const Options& options, Output& out);
ExitStatus RunModules(Session& session, const Options& options, Output& out);
ExitStatus RunDump(Session& session, const Options& options, Output& out);
ExitStatus RunFind(Session& session, const Options& options, Output& out);
ExitStatus RunWhere(Session& session, const Options& options, Output& out);
ExitStatus RunSection(Session& session, const Options& options, Output& out);
ExitStatus RunStats(Session& session, const Options& options, Output& out);
ExitStatus RunLoad(Session& session, const Options& options, Output& out);
ExitStatus RunVersion(Session& session, const Options& options, Output& out);

// Parses the line and runs its command.
ExitStatus RunCommandLine(int count, const char* const* arguments, Output& out);

}  // namespace elfload
