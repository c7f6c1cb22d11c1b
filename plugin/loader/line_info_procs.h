// Procedure records for code that has line rows and no procedure entry, so that a host that looks for the procedure at
// an address with rows always finds one.
#pragma once

#include "records/allowance.h"
#include "tarnixcore/list.h"

struct DescModule;

// Covers, for each DescLineRange of `ranges` in turn, what no procedure of the module covers: all of it, or with
// `coversOnlyRows` from its first row on. Without memory the rest stays uncovered.
//
// Each time that a procedure meets a range, or the rest of one, is charged to the allowance; nothing is added once it
// is used up. Where ranges and procedures are disjoint among themselves, each procedure meets a range twice at the
// most.
void AddLineInfoProcs(DescModule* module, L_list* ranges, bool coversOnlyRows, Allowance* allowance);
