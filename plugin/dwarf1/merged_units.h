// Adjacent units of one source file as one module: the merge at the scan, and what the fills of folded units hand over.
#pragma once

#include "records/failure.h"
#include "records/type_table.h"

namespace dwarf1 {

// Folds every unit of the list into the one before it where directory and name are the same and not both empty. The
// folded ones are on `mergedModules`, last first. A merged module has no range of its own.
void MergeAdjacentUnits(DescModule* modules);

// Moves procedures, variables, line blocks, files and pending records of the folded units to the module. Types stay
// where they are; a reference from one of the module's types to one of a folded unit, or back, gets its definition.
// `types` has the module's.
void TakeOverFoldedUnits(DescModule* module, const TypeTable& types, Failure* failure);

}  // namespace dwarf1
