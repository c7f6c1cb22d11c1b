// Lists of data pointers with one cursor. A list owns its nodes, never the data.
#pragma once

#include "tarnixcore/export.h"
#include "tarnixcore/heap.h"

struct L_list;

using L_Compare = int (*)(const void* a, const void* b);
using L_Function = int (*)(const void* a, const void* b);

enum L_InsertMode {
  L_AT_HEAD = 0,
  L_AT_TAIL = 1,
  L_SORTED = 3,  // by `compare`, which gives 1 where a may stand before b
};

// Stands where an operation asks for a function and none is needed. Does nothing, gives 0.
TARNIX_API int L_Nop(const void* a, const void* b);

// A new list whose nodes come from `heap`, or from the process's memory when `heap` is null. Null when there is none.
TARNIX_API L_list* L_Create(mem_desc* heap);

// Inserts `data`; 1 when done, 0 when there is no memory or no list. With L_SORTED the data goes behind all data that
// may stand before it, so equal data stay in the order of insertion; n insertions cost n log n comparisons.
TARNIX_API int L_InsertData(L_list* list, int mode, L_Compare compare, void* data);

// The first data, and the one behind the data that L_First or L_Next gave last. Null at the end and for a null list.
TARNIX_API void* L_First(L_list* list);
TARNIX_API void* L_Next(L_list* list);

// Appends the data of `from` to `to`, in order. `from` keeps its nodes. 1 when done, 0 when there is no memory.
TARNIX_API int L_AddList(L_list* to, const L_list* from);

// Frees the nodes of `*list` and the list, and clears the handle. The data stay; `function` is L_Nop. A null handle is
// allowed.
TARNIX_API void L_FreeList(L_list** list, L_Function function);
