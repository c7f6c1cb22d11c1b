// Distinct names for the modules of a build.
#pragma once

#include "records/allowance.h"

struct DescModule;

// Names the modules of each run of equal names "%d:%s", numbered from 1 in the order of the list. Without memory, or
// when the allowance of it is used up, a module keeps its name.
void MakeUnique(DescModule* modules, Allowance* allowance);
