// The types that all modules of a build share. The readers' states hold those of the last scan; a loader keeps its own
// and puts them back before a fill, so that loaders can be used in turns.
#pragma once

#include "dwarf1/reader_state.h"
#include "dwarf2/reader_state.h"

struct SharedTypes {
  Dwarf1SharedTypes dwarf1;
  Dwarf2SharedTypes dwarf2;

  void Keep() {
    dwarf1 = dwarf1State;
    dwarf2 = dwarf2State;
  }
  void PutBack() const {
    static_cast<Dwarf1SharedTypes&>(dwarf1State) = dwarf1;
    static_cast<Dwarf2SharedTypes&>(dwarf2State) = dwarf2;
  }
};
