// Parts of the debug information that this file does not have in a form that can be read: compressed sections, and what
// is in a supplementary file.
#pragma once

#include "dwarf2/sections.h"
#include "records/failure.h"

// Notes the first such part, and takes compressed sections out of `sections`. False when nothing can be read without
// it.
bool NoteMissingParts(const ElfImage* image, Dwarf2Sections* sections, Failure* failure);
