// The two sets of rules by which DWARF 2 to 5 is read: the loader's own, which hosts of old expect, and those of the
// published formats. A host chooses one for each build; docs/rules.md lists every difference.
//
// A rule is a fact that a reader asks for where it decides. No reader asks which set it is in.
#pragma once

struct Dwarf2Rules {
  // Units.
  bool readsUnitsByVersion;  // header, forms and classes by the unit's version; else all are read as version 2
  bool keepsUnitsApart;      // a unit that cannot be read costs itself only; else the file is refused

  // Entries.
  bool resolvesOrigins;  // what an entry refers to gives what it does not say itself; else the later value wins
  bool qualifiesNames;   // names of procedures, variables and types have what encloses them in front
  bool walksScopes;      // namespaces, blocks, inlined calls and nested procedures; else what is in them is passed over
  bool readsAllTypes;    // all tags of types, counts and bounds as published
  bool settlesBitFields;  // bit fields in one form whatever the version; else as the entry has them

  // Locations, lines, indexes.
  bool readsListsAbsolutely;  // ranges of location lists are target addresses; else what the list has
  bool dropsDeadCode;         // code that the linker threw away has no addresses and no rows
  bool runsLinesAsPublished;  // line programs as published; else with the loader's own opcodes
  bool readsNewIndexes;       // indexes and frames of later versions too
};

inline constexpr Dwarf2Rules loaderRules = {};

inline constexpr Dwarf2Rules publishedRules = {
    .readsUnitsByVersion = true,
    .keepsUnitsApart = true,
    .resolvesOrigins = true,
    .qualifiesNames = true,
    .walksScopes = true,
    .readsAllTypes = true,
    .settlesBitFields = true,
    .readsListsAbsolutely = true,
    .dropsDeadCode = true,
    .runsLinesAsPublished = true,
    .readsNewIndexes = true,
};
