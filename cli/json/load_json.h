// The outcome of a download as a document. docs/download.md describes it.
#pragma once

#include "session/options.h"
#include "session/session.h"
#include "target/load_report.h"
#include "terminal/output.h"

namespace elfload {

void WriteLoadJson(const LoadReport& report, const Options& options, const Session& session, Output& out);

}  // namespace elfload
