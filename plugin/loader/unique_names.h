// Distinct names for the modules of a build.
#pragma once

struct DescModule;

// Gives the modules of each run of equal names the name "%d:%s", numbered from 1 in the order of the list. False
// when memory ran out, and a module kept its name for it.
bool MakeUnique(DescModule* modules);
