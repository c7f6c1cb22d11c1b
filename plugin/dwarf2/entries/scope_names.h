// The names of what encloses entries: namespaces, modules and classes, by the spans of entries that they hold.
//
//   ScopeNames scopes;
//   scopes.BeginUnit(unitStart);
//   const uint32_t number = scopes.Open(entry, DW_TAG_namespace, "ns", nullptr);    // all entries from here on
//   scopes.Close(number, end);
//   scopes.Find(unitStart, entry);                        // the number of that scope, or NONE
#pragma once

#include <cstdint>

#include "records/growing_array.h"
#include "records/hash_index.h"

class ScopeNames {
 public:
  static constexpr uint32_t NONE = 0xFFFFFFFF;

  struct Scope {
    uint32_t begin;
    uint32_t end;
    uint32_t parent;  // number of the scope around it, or NONE
    uint32_t tag;     // DW_TAG_
    char* name;       // its own
    char* whole;      // with what encloses it; null until someone asks
  };

  void Empty();

  // Begins a unit; the one before it gets no more scopes. False without memory.
  bool BeginUnit(uint32_t start);
  bool HasUnit(uint32_t start) const { return FindUnit(start) != nullptr; }

  // A scope inside those that are open, with all entries after its own. NONE without memory.
  uint32_t Open(uint32_t entry, uint32_t tag, char* name, char* whole);
  void Close(uint32_t number, uint32_t end);

  // The innermost scope that holds an entry of a unit, or NONE.
  uint32_t Find(uint32_t unitStart, uint32_t entry) const;
  Scope& operator[](uint32_t number) { return scopes_[number]; }

 private:
  struct Unit {
    uint32_t start;
    uint32_t first;  // its first scope
    uint32_t last;   // after its last one
  };

  const Unit* FindUnit(uint32_t start) const;

  GrowingArray<Scope> scopes_;
  GrowingArray<Unit> units_;
  HashIndex unitsByStart_;  // the unit's number plus 1 in place of a record
  uint32_t current_ = NONE;
};
