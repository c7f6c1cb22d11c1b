// Distinct names for the modules of a build.
#pragma once

struct DescModule;

// Gives the modules of each run of equal names the name "%d:%s", numbered from 1 in the order of the list. Where there
// is no memory a module keeps its name.
void MakeUnique(DescModule* modules);
