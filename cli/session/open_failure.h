// Why a file cannot be opened, or has no units, in words for its user. The loader decides; it says little of why.
#pragma once

#include <string>

#include "session/file_kind.h"
#include "session/loader_module.h"

namespace elfload {

struct OpenFailure {
  FailureReason reason;
  bool isRead;  // the file could be read, and the reason is what it holds
};

// Why the loader did not open `file`. `reason` is what the loader says, if anything; it holds where nothing better is
// known: "a 64-bit ELF file; only 32-bit files are read".
OpenFailure ExplainOpen(const std::string& file, const std::optional<FailureReason>& reason);

// Why an open file has no debug information: it is compressed, in another file, or there is none.
FailureReason ExplainNoDebugInformation(const std::string& file);

// The type of an ELF file of 32 bits.
ElfType TypeOfFile(const std::string& file);

// "fw.elf: a text file; ..." or "cannot read fw.elf: a pipe; ...".
std::string OpenFailureText(const std::string& file, const OpenFailure& failure);

// The path that the search for absolute files finds `file` under; `file` itself when it finds none.
std::string FoundPath(const std::string& file);

}  // namespace elfload
