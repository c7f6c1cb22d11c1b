// The fill of the unit in hand: its entries become procedures, variables and types, its line table line blocks.
//
// The walk goes from sibling to sibling. What it meets is read by one function, ReadEntry, which goes by tag and place;
// an entry's attributes become EntryValues, from which its record is made.
#pragma once

#include <cstdint>

#include "dwarf1/dwarf1_build.h"
#include "dwarf1/entry_cursor.h"
#include "dwarf1/file.h"
#include "dwarf1/trail.h"
#include "records/desc_proc.h"
#include "records/type_table.h"

namespace dwarf1 {

// Where the locations of a scope hold: everywhere, or in the addresses of its lexical block.
struct AddressRange {
  uint32_t low = 0;
  uint32_t high = 0xFFFFFFFF;
};

// Where entries are met, and the lists that theirs go to.
struct Scope {
  explicit Scope(Place where) : place(where) {}
  Scope(const Scope&) = delete;
  Scope& operator=(const Scope&) = delete;

  Place place;
  AddressRange range;
  LabelChain* labels = nullptr;  // null: labels are on no list
  DescProc* procs = nullptr;
  DescVar* vars = nullptr;
  DescVar* params = nullptr;
  ListTail<DescProc> procsEnd{&procs};
  ListTail<DescVar> varsEnd{&vars};
  ListTail<DescVar> paramsEnd{&params};
};

// What the attributes of an entry say. The defaults are those of an entry without the attribute.
struct EntryValues {
  explicit EntryValues(DescType* defaultType, AddressRange defaultRange = {})
      : type(defaultType), range(defaultRange) {}

  DescType* type;
  AddressRange range;  // of code; of a variable, where its location holds
  char* name = EmptyString();
  DescLocation* location = nullptr;
  uint8_t bitOffset = 0;
  uint8_t bitSize = 0;
  bool isBitField = false;
  bool isPrototyped = false;
  bool isArray = false;  // keeps its first size
  int32_t byteSize = 0;
  DescDimension* dimensions = nullptr;
  DescEnumerator* enumerators = nullptr;
  uint32_t enumeratorCount = 0;
};

class UnitFill {
 public:
  UnitFill(const File* file, EntryCursor* debug, Cursor* lines, Failure* failure, Allowance* allowance);

  // Fills the module from its unit, and hands over to it what its folded units have, which must be filled. Appends the
  // addresses that its rows cover to `ranges`. What was read before a failure is kept.
  void Run(DescModule* module, L_list* ranges);

 private:
  // Walks.
  void Begin(DescModule* module);
  void ReadUnit();
  void WalkChildren(uint32_t endOffset, Scope* scope);
  bool GoesOn();

  // Entries. The AT_sibling goes to `sibling`, if there is one.
  void ReadEntry(Scope* scope, const EntryHeader& entry, uint32_t* sibling);
  void SkipTree(const EntryHeader& entry, uint32_t* sibling);
  DescProc* ReadSubroutine(const EntryHeader& entry, uint32_t* sibling);
  DescProc* ReadProcedure(const EntryHeader& entry, uint32_t* sibling);
  DescVar* ReadVariable(const EntryHeader& entry, AddressRange range, char* word, uint32_t* sibling);
  void ReadBlock(Scope* scope, const EntryHeader& entry, uint32_t* sibling);
  void ReadType(const TypeRow& row, const EntryHeader& entry, uint32_t* sibling);

  // Attributes: the bytes that the value counts for are returned.
  bool ReadAttributes(const EntryHeader& entry, AttributeSet taken, EntryValues* values, uint32_t* sibling);
  uint32_t ReadValue(uint32_t name, uint32_t form, EntryValues* values);
  uint32_t ReadTypeAttribute(uint32_t name, uint32_t form, DescType** slot);
  uint32_t ReadModifiedType(uint32_t name, DescType** slot);
  DescType** ReadModifiers(int32_t count, DescType** slot);
  uint32_t ReadLocation(EntryValues* values);
  uint32_t ReadSize(uint32_t name, uint32_t form, EntryValues* values);
  uint32_t ReadElementList(EntryValues* values);
  uint32_t ReadSubscriptData(EntryValues* values);
  bool ReadSubscript(uint32_t format, uint32_t* left, ListTail<DescDimension>* dimensions);
  bool ReadBound(bool isExpression, uint32_t* left, int32_t* bound);

  // Records.
  DescType* TypeOf(uint32_t key);
  DescType* DefineType(const TypeRow& row, uint32_t key);
  DescType* NewPointer();
  void AddPending(L_list** list, void* record);
  template <typename Record>
  Record* Made(Record* record) {
    isOutOfMemory_ = isOutOfMemory_ || record == nullptr;
    return record;
  }

  const File* file_;
  EntryCursor& debug_;
  Cursor& lines_;
  Failure& failure_;
  Allowance& allowance_;

  DescModule* module_ = nullptr;
  Dwarf1Build* build_ = nullptr;
  RecordHeap heap_;
  TypeTable types_;
  DescType* newestPointer_ = nullptr;  // a record without a key: what a reference to NO_KEY finds
  Trail trail_;                        // of the walk along the unit
  uint32_t nesting_ = 0;               // levels of entries around the one in hand
  bool isOutOfMemory_ = false;         // ends the walks
};

}  // namespace dwarf1
