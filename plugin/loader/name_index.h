// Whether a module has a name in its index, for hosts that look up names by the hundred.
//
//   const NameIndex::Name wanted = names.LookUp("main", first);  // one for each look-up
//   if (wanted.IsIn(module)) ...
//
// A look-up walks the index of each module, some 100 us where a file has 40,000 names. From the FIRST_INDEXED look-up
// of a build on a hash answers for all modules of the build, which takes as long to make as that many walks.
#pragma once

#include <cstdint>

#include "records/hash_index.h"

struct BuildRecords;
struct DescModule;

class NameIndex {
 public:
  static constexpr uint32_t FIRST_INDEXED = 64;

  // A name that is looked for.
  class Name {
   public:
    bool IsIn(const DescModule* module) const;

   private:
    friend class NameIndex;
    const char* text_ = nullptr;
    uint32_t hash_ = 0;
    const HashIndex* index_ = nullptr;  // null: the module's index is walked
  };

  // Begins with the modules of a build, or with none.
  void Reset(DescModule* modules);

  // `first` is any module of the build that is asked for, and must not be null. `text` must outlive the result.
  Name LookUp(const char* text, const DescModule* first);

 private:
  bool Make();

  DescModule* modules_ = nullptr;
  const BuildRecords* build_ = nullptr;  // of the modules
  uint32_t lookups_ = 0;
  bool isMade_ = false;
  HashIndex names_;  // by the hash of module and name together
};
