// Adjacent units of one source file as one module: the merge at the scan, and what the folded units' fills hand over.
#pragma once

struct DescModule;

namespace dwarf1 {

// Folds every unit of the list into the one before it where directory and name are the same and not both empty. The
// folded ones stand on `mergedModules`, last first.
void MergeAdjacentUnits(DescModule* modules);

// Moves procedures, variables, line blocks, files and pending records of the folded units, which are filled, to the
// module, which is filled too. Types stay where they are; a reference from one of the module's types to one of a folded
// unit, or back, gets its definition.
void TakeOverFoldedUnits(DescModule* module);

}  // namespace dwarf1
