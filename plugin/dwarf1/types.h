// Types by key, the four type attributes, and typedefs.
//
// A type's key is the offset of its entry in `.debug`. A reference to an entry not yet read makes a placeholder under
// that key, and the entry's reader fills this very record, so a pointer to a type stays good.
#pragma once

#include <cstdint>

#include "dwarf1/attributes.h"
#include "records/debug_records.h"

namespace dwarf1 {

// The name of every record that no entry has defined; placeholders are known by this pointer.
extern char undefinedName[];

// Begins and ends the look-up of one module's types.
void ForgetTypes();

// A record at the head of the module's `types`.
DescType* NewDwarf1Type(DescModule* module, uint32_t kind, int32_t byteSize, uint32_t key = NO_KEY);

// The record with that key that the fill has made; null when there is none. Of records without a key (NO_KEY) it is the
// newest.
DescType* FindType(uint32_t key);

// The same, with a new placeholder where there is none.
DescType* TypeForKey(DescModule* module, uint32_t key);

// The record that an entry defines, with the words of its kind cleared.
DescType* DefineType(DescModule* module, uint32_t key, uint32_t kind, const char* name);

// True for a record that no entry has defined.
bool IsPlaceholder(const DescType& type);

// Reads a type attribute into `slot`; any other is skipped by its form. Gives the bytes consumed.
uint32_t ReadTypeAttribute(DescModule* module, uint32_t name, uint32_t form, DescType** slot);

void ReadTypedefEntry(DescModule* module, uint32_t key, uint32_t remaining, uint32_t* nextOffset);

}  // namespace dwarf1
