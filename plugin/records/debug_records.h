// The debug records: what the loader hands to its host.
//
// This header is a memory contract. The host is given the head of the DescModule list and reads the records directly,
// so the structures are plain C and fields keep their order: a pointer or a 32-bit value takes its natural place, and a
// uint8_t one byte next to its neighbour. Both readers, DWARF 1 and DWARF 2, fill the same records.
//
// Rules that hold for all of them:
//   - Lists are singly linked through `next`, which stands first (second in DescCodeMark), and end in null.
//   - A string is never null once the reader is done with the record; without text it is the shared empty string.
//   - Target addresses, sizes and offsets have 32 bits.
//   - No record is freed alone. Contents of a module live in its heap; DescModule, DescModuleExt, shared types, frame
//     records and the texts of .debug_str live in the table heap, which Build gave to SymbolTable::Reset.
#pragma once

#include <cstddef>
#include <cstdint>

#include "tarnixcore/heap.h"
#include "tarnixcore/list.h"

class AbbrevTable;
struct DescAddrRange;
struct DescCodeMark;
struct DescDimension;
struct DescEnumerator;
struct DescFile;
struct DescGlobalName;
struct DescInlinedCall;
struct DescLineBlock;
struct DescLocation;
struct DescModuleExt;
struct DescProc;
struct DescType;
struct DescVar;
struct Dwarf2Fde;

// DescModule.language, from the unit's language attribute.
enum DescLanguage : uint32_t {
  LANGUAGE_UNKNOWN = 0,
  LANGUAGE_ASSEMBLY = 1,  // 0x41
  LANGUAGE_MODULA2 = 2,   // 10
  LANGUAGE_C = 3,         // 1, 2
  LANGUAGE_CXX = 4,       // 4
};

// One compilation unit, or a merged run of DWARF 1 units.
struct DescModule {
  DescModule* next;
  char* name;            // source file with extension, no directory; "%d:%s" where another module has the same name
  char* objectFile;      // path of the absolute file, as the host named it
  char* directory;       // compilation directory
  mem_desc* heap;        // the module heap
  DescType* types;       // all type records of the module, newest first
  uint32_t lowPc;        // low address of the unit
  uint32_t highPc;       // first address after the unit
  uint32_t loadedKinds;  // SYM_DelayLoadKind bits already loaded; set at the start of the fill, also of one that fails
  uint32_t hasRange;     // 1: lowPc and highPc hold
  DescProc* procs;       // labels by address, then procedures in file order, then the line-info procedures of Extend
  DescVar* vars;         // global and file-level variables
  DescFile* files;       // source files that have rows
  DescLineBlock* lineBlocks;
  uint32_t typeCount;  // records on `types`
  uint32_t language;   // DescLanguage
  DescModuleExt* ext;  // never null after Build
};

// What a fill needs to find its unit again, and what survives between Build and Extend. All 0 but bitNumbering.
struct DescModuleExt {
  uint32_t lineOffset;            // of the unit's program in .debug_line, or of its table in .line
  uint32_t firstEntry;            // of the first entry after the unit's own, in .debug_info or .debug
  AbbrevTable* abbrevs;           // DWARF 2: the reader's; null, since a fill reads the abbreviations when it begins
  uint8_t addressSize;            // DWARF 2: bytes, from the unit header
  Dwarf2Fde* frames;              // DWARF 2, first module only: all frame descriptions, ascending by low address
  uint32_t unitOffset;            // of the unit header in .debug_info, or of the unit's entry in .debug
  DescAddrRange* addrRanges;      // from .debug_aranges, newest first
  DescGlobalName* globalNames;    // from .debug_pubnames, newest first
  L_list* pendingArrays;          // DWARF 1: array types that Extend settles
  L_list* pendingFields;          // DescVar records with a bit offset, which Extend settles
  uint32_t bitNumbering;          // 2, or 1 for producers that count bits from the low end; above 1 Extend renumbers
  DescModule* mergedModules;      // DWARF 1: units folded into this one, last first
  DescInlinedCall* inlinedCalls;  // published rules: ascending by low address, outer calls before inner ones
};

enum DescCallKind : uint32_t {
  CALL_NORMAL = 0,
  CALL_VENDOR = 1,  // DW_AT_calling_convention 0x40
  CALL_NOCALL = 2,  // DW_CC_nocall
};

// A procedure, a label, or a line-info range.
struct DescProc {
  DescProc* next;
  char* name;
  DescType* returnType;
  uint32_t prototyped;  // 0 or 1
  uint32_t lowPc;
  uint32_t highPc;  // first address after the code; a label without one ends at the next label or with the module
  uintptr_t reserved1;
  DescLocation* returnAddress;  // DW_AT_return_addr, or null
  DescLocation* frameBase;      // DW_AT_frame_base, or null
  uintptr_t reserved2;
  uintptr_t reserved3;
  DescVar* locals;                    // in file order; the DWARF 1 reader flattens nested blocks into them
  DescVar* params;                    // in file order; DWARF 1 unspecified parameters stand here as "..."
  uint32_t callKind;                  // DescCallKind
  alignas(uint32_t) uint8_t segment;  // DW_AT_segment, low byte; in a word of its own
  DescCodeMark* codeMarks;            // DWARF 2: children with the vendor tag 0x6871, in file order
};

// A variable, parameter, structure member or base class ("baseclass").
struct DescVar {
  DescVar* next;
  char* name;
  DescType* type;
  int32_t byteSize;  // set by Extend for variables, locals and renumbered bit fields; else 0
  uint8_t bitOffset;
  uint8_t bitSize;  // width of a bit field, else 0
  uintptr_t reserved;
  DescLocation* location;  // or null; a member's is its data member location
  uint8_t segment;         // DW_AT_segment, low byte
};

// A location expression and the addresses for which it holds: 0 to 0xFFFFFFFF for a single expression, except in a
// DWARF 1 lexical block, where it is the block's range.
//
// The zeros after an expression end it for a consumer that walks its operations, and back the operands of a last
// operation that the file cuts short.
constexpr uint32_t EXPRESSION_PADDING = 9;

struct DescLocation {
  DescLocation* next;
  uint32_t lowPc;
  uint32_t highPc;
  uint8_t* expression;  // the file's bytes and EXPRESSION_PADDING bytes 0; the length is not stored
};

enum DescTypeKind : uint32_t {
  KIND_BASIC = 0,  // or a placeholder that no entry defined: name "undefined", size 0
  KIND_TYPEDEF = 1,
  KIND_POINTER = 2,  // DWARF 1: references too
  KIND_ENUM = 3,
  KIND_STRUCT = 4,
  KIND_UNION = 5,
  KIND_CLASS = 6,
  KIND_ARRAY = 7,
  KIND_FUNCTION = 8,
  KIND_REFERENCE = 9,  // DWARF 2 only, as the two below
  KIND_CONST = 10,
  KIND_VOLATILE = 11,
};

enum DescEncoding : uint32_t {
  ENCODING_NONE = 0,
  ENCODING_BOOLEAN = 1,
  ENCODING_UNSIGNED_CHAR = 2,
  ENCODING_SIGNED_CHAR = 3,
  ENCODING_UNSIGNED = 4,
  ENCODING_SIGNED = 5,
  ENCODING_FLOAT = 6,
  ENCODING_COMPLEX = 7,
  ENCODING_ADDRESS = 8,
};

constexpr uint32_t NO_KEY = 0xFFFFFFFF;         // DescType.key of a record without an entry of its own
constexpr uint8_t TYPE_FLAG_ADDRESS_CLASS = 8;  // DW_AT_address_class 1

struct DescTypeFlags {
  uint8_t reserved;
  uint8_t flags;
};

// The three words of a type whose meaning goes by its kind.
union DescTypeTarget {
  uintptr_t word;
  DescType* type;             // 1, 2, 8 (result), 9, 10, 11; of 0 in DWARF 2
  DescProc* memberFunctions;  // 4, 5, 6
  uint32_t count;             // 3: enumerators in DWARF 1, else 0; 7: dimensions minus one in DWARF 2, else 0
};
union DescTypeItems {
  uintptr_t word;
  uint32_t encoding;            // 0: DescEncoding
  DescEnumerator* enumerators;  // 3
  DescVar* members;             // 4, 5, 6
  DescDimension* dimensions;    // 7
  DescVar* params;              // 8
};
union DescTypeElement {
  uintptr_t word;
  DescTypeFlags flags;  // 1, 2, 9, 10, 11
  DescType* type;       // 7
  uint32_t prototyped;  // 8: 0 or 1
};

struct DescType {
  DescType* next;
  char* name;        // or the reader's fixed word for the kind
  uint32_t key;      // offset of the defining entry, or NO_KEY
  int32_t byteSize;  // above 0: bytes; 0: not settled; below 0, arrays: minus the size of an element
  uint32_t kind;     // DescTypeKind
  DescTypeTarget target;
  DescTypeItems items;
  DescTypeElement element;
};

struct DescFile {
  DescFile* next;
  char* baseName;  // points into fullName, after its last slash or backslash
  char* fullName;
};

// Rows of the line table of one source file, in the order of the program. The arrays run parallel.
struct DescLineBlock {
  DescLineBlock* next;
  char* fileName;
  int32_t count;
  uint32_t* addresses;
  uint32_t* lines;
  uint32_t* columns;  // 0: none; a null array in DWARF 1 where no row has a position
};

struct DescEnumerator {
  DescEnumerator* next;
  char* name;
  int32_t value;
};

struct DescDimension {
  DescDimension* next;
  int32_t low;
  int32_t high;  // included: the element count is high - low + 1
};

struct DescAddrRange {
  DescAddrRange* next;
  uint32_t low;
  uint32_t high;  // last address of the range
};

struct DescGlobalName {
  DescGlobalName* next;
  char* name;
};

// A call that the compiler replaced by the procedure's code: a record for each range of the code.
struct DescInlinedCall {
  DescInlinedCall* next;
  char* name;  // of the procedure that is called, qualified
  uint32_t lowPc;
  uint32_t highPc;  // first address after the range
  char* fileName;   // of the call
  uint32_t line;    // of the call; 0 for none, as the column
  uint32_t column;
  uint32_t depth;  // 1 for a call in the procedure itself, 2 for a call in that one's code
};

struct DescCodeMark {
  uint32_t address;
  DescCodeMark* next;
};

// Addresses covered by line rows, handed from a fill to Extend; not seen by the host.
struct DescLineRange {
  uint32_t low;
  uint32_t high;  // address of the last row
};

// Frame information of .debug_frame, with the call frame instructions as raw bytes.
struct Dwarf2Cie {
  Dwarf2Cie* next;  // used during the read only
  uint32_t offset;  // of the record in the section
  uint32_t codeAlignment;
  int32_t dataAlignment;
  uint32_t returnRegister;
  uint32_t instructionLength;
  uint8_t* instructions;
};

struct Dwarf2Fde {
  Dwarf2Fde* next;
  Dwarf2Cie* cie;
  uint32_t lowPc;
  uint32_t highPc;  // first address after it
  uint32_t instructionLength;
  uint8_t* instructions;
};

// Offsets of all fields where pointers have 4 bytes, and where they have 8.
constexpr size_t ByPointerSize(size_t with4, size_t with8) {
  return sizeof(void*) == 4 ? with4 : with8;
}
#define ELFLOADER_FIELD(record, field, offset4, offset8) \
  static_assert(offsetof(record, field) == ByPointerSize(offset4, offset8), #record "." #field)
#define ELFLOADER_SIZE(record, size4, size8) static_assert(sizeof(record) == ByPointerSize(size4, size8), #record)
#include "records/debug_records_layout.h"
#undef ELFLOADER_FIELD
#undef ELFLOADER_SIZE
