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
  L_SORTED = 3,  // by `compare`, which returns 1 if `a` may be before `b`, else any other value
};

// Passed where an operation takes a function and needs none. Does nothing and returns 0.
TARNIX_API int L_Nop(const void* a, const void* b);

// A new, empty list. Its nodes come from `heap`, or from the process's memory when `heap` is null. Null when there is
// no memory.
TARNIX_API L_list* L_Create(mem_desc* heap);

// Inserts `data`. 1 when done; 0 when there is no memory or `list` is null, and then nothing has changed. `mode` is an
// L_InsertMode; any other value inserts at the tail, as L_SORTED does when `compare` is null.
// L_SORTED puts the data after all data that may be before them, so equal data keep the order of insertion. `compare`
// must be a total order in which data may be equal. A row of n sorted insertions with one `compare` costs at most
// n * (log2(n) + 2) comparisons, in whatever order the data arrive; some of them are made by the next operation on the
// list that is not such an insertion, which also walks the list once.
TARNIX_API int L_InsertData(L_list* list, int mode, L_Compare compare, void* data);

// L_First returns the first data and moves the cursor there. L_Next moves the cursor on and returns the data after
// those that L_First or L_Next returned last, also when data were inserted in between. Null at the end, and for a null
// list.
TARNIX_API void* L_First(L_list* list);
TARNIX_API void* L_Next(L_list* list);

// Appends the data of `from` to `to`, in order; a null `from` is an empty list. `from` keeps its nodes and may be `to`.
// 1 when done; 0 when `to` is null or there is no memory, and then `to` keeps what was appended so far.
TARNIX_API int L_AddList(L_list* to, const L_list* from);

// Frees the list and its nodes and sets `*list` to null; the data are not freed, and `function` is L_Nop. What came
// from a heap is freed with the heap. A null `list` or `*list` is allowed.
TARNIX_API void L_FreeList(L_list** list, L_Function function);
