// The names of what encloses entries: namespaces, modules and classes, by the spans of entries that they hold.
//
//   ScopeNames scopes;
//   scopes.BeginUnit(unitStart);
//   const uint32_t number = scopes.Open(entry, "ns");    // all entries from here on
//   scopes.Close(number, end);
//   scopes.NameAt(unitStart, entry);                      // "ns", or null
#pragma once

#include <cstdint>

#include "records/growing_array.h"
#include "records/hash_index.h"

class ScopeNames {
 public:
  void Empty();

  // Begins a unit; the one before it gets no more scopes.
  void BeginUnit(uint32_t start);
  bool HasUnit(uint32_t start) const { return FindUnit(start) != nullptr; }

  // A scope inside those that are open, with all entries after its own. Without memory its entries count as those of what is around it.
  uint32_t Open(uint32_t entry, char* name);
  void Close(uint32_t number, uint32_t end);

  // The whole name of the innermost scope that holds an entry of a unit; null for none.
  char* NameAt(uint32_t unitStart, uint32_t entry) const;

 private:
  static constexpr uint32_t NONE = 0xFFFFFFFF;

  struct Scope {
    uint32_t begin;
    uint32_t end;
    uint32_t parent;  // number of the scope around it
    char* name;
  };
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
