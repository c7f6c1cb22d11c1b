// Procedure records for code that has line rows and no procedure entry, so that a host that looks for the procedure at
// an address with rows always finds one.
#pragma once

#include "tarnixcore/list.h"

struct DescModule;

// Covers, for each DescLineRange of `ranges`, what no procedure of the module covers.
void AddLineInfoProcs(DescModule* module, L_list* ranges);
