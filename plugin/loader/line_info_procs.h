// Procedure records for code that has line rows and no procedure entry, so that a host that looks for the procedure at
// an address with rows always finds one.
#pragma once

#include "elf/work_allowance.h"
#include "tarnixcore/list.h"

struct DescModule;

// Covers, for each DescLineRange of `ranges`, what no procedure of the module covers. A step costs a walk over
// procedures. False when the allowance is used up or memory ran out, with the rest uncovered.
bool AddLineInfoProcs(DescModule* module, L_list* ranges, WorkAllowance* work);
