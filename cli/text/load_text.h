// The outcome of a download as a line for the user.
#pragma once

#include "session/options.h"
#include "target/load_report.h"
#include "terminal/output.h"

namespace elfload {

// Writes nothing for a download that failed, whose message is on standard error, and with --quiet.
void WriteLoadText(const LoadReport& report, const Options& options, Output& out);

}  // namespace elfload
