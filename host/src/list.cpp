// Lists of data pointers: singly linked nodes. Sorted insertions that do not belong at the tail wait on a chain of
// their own, and are sorted and merged into the list when it is read or gets data of another kind. So the cost is
// n log n comparisons in the worst case, whatever the order of insertion.
#include "tarnixcore/list.h"

#include <climits>
#include <cstdlib>
#include <new>

namespace {

struct Node {
  void* data;
  Node* next;
};

}  // namespace

struct L_list {
  mem_desc* heap;             // null: nodes come from the process's memory
  Node* cursor;               // the node whose data L_First or L_Next returned last
  mutable Node* first;        // merging what waits is no change that a caller could see
  mutable Node* last;         // null: the list is empty, and nothing waits
  mutable Node* waiting;      // sorted insertions, the newest first; none of them goes after `last`
  mutable L_Compare compare;  // of those that wait
};

namespace {

void* Allocate(mem_desc* heap, size_t size) {
  return heap != nullptr ? HEAP_Get(heap, size) : std::malloc(size);
}

// Merges two chains that each begin with what comes last in the list. Data of `newer` go after all data of `older` that
// may be before them.
Node* Merge(Node* newer, Node* older, L_Compare compare) {
  Node* merged = nullptr;
  Node** link = &merged;
  while (newer != nullptr && older != nullptr) {
    Node*& taken = compare(older->data, newer->data) == 1 ? newer : older;
    *link = taken;
    link = &taken->next;
    taken = taken->next;
  }
  *link = newer != nullptr ? newer : older;
  return merged;
}

// Sorts a chain that begins with the newest data; the result begins with what comes last in the list.
Node* Sort(Node* chain, L_Compare compare) {
  constexpr int RUNS = sizeof(size_t) * CHAR_BIT;
  Node* runs[RUNS] = {};  // runs[i] is empty or has 2^i nodes, newer than those of runs[i - 1]
  while (chain != nullptr) {
    Node* run = chain;
    chain = chain->next;
    run->next = nullptr;
    int i = 0;
    for (; runs[i] != nullptr; ++i) {
      run = Merge(runs[i], run, compare);
      runs[i] = nullptr;
    }
    runs[i] = run;
  }
  Node* sorted = nullptr;
  for (Node* run : runs) {
    sorted = Merge(run, sorted, compare);
  }
  return sorted;
}

Node* Reverse(Node* chain) {
  Node* reversed = nullptr;
  while (chain != nullptr) {
    Node* next = chain->next;
    chain->next = reversed;
    reversed = chain;
    chain = next;
  }
  return reversed;
}

// Merges what waits into the list.
void Settle(const L_list* list) {
  if (list->waiting == nullptr) {
    return;
  }
  Node* backwards = Merge(Sort(list->waiting, list->compare), Reverse(list->first), list->compare);
  list->waiting = nullptr;
  list->last = backwards;
  list->first = Reverse(backwards);
}

void AppendNode(L_list* list, Node* node) {
  node->next = nullptr;
  (list->last != nullptr ? list->last->next : list->first) = node;
  list->last = node;
}

void InsertSorted(L_list* list, L_Compare compare, Node* node) {
  if (list->compare != compare) {
    Settle(list);
    list->compare = compare;
  }
  if (list->last == nullptr || compare(list->last->data, node->data) == 1) {
    AppendNode(list, node);
  } else {
    node->next = list->waiting;
    list->waiting = node;
  }
}

void InsertAtHead(L_list* list, Node* node) {
  Settle(list);
  node->next = list->first;
  list->first = node;
  if (list->last == nullptr) {
    list->last = node;
  }
}

void FreeNodes(Node* node) {
  while (node != nullptr) {
    Node* next = node->next;
    std::free(node);
    node = next;
  }
}

}  // namespace

int L_Nop(const void* /*a*/, const void* /*b*/) {
  return 0;
}

L_list* L_Create(mem_desc* heap) {
  void* memory = Allocate(heap, sizeof(L_list));
  if (memory == nullptr) {
    return nullptr;
  }
  auto* list = new (memory) L_list{};
  list->heap = heap;
  return list;
}

int L_InsertData(L_list* list, int mode, L_Compare compare, void* data) {
  void* memory = list != nullptr ? Allocate(list->heap, sizeof(Node)) : nullptr;
  if (memory == nullptr) {
    return 0;
  }
  Node* node = new (memory) Node{data, nullptr};
  if (mode == L_AT_HEAD) {
    InsertAtHead(list, node);
  } else if (mode == L_SORTED && compare != nullptr) {
    InsertSorted(list, compare, node);
  } else {
    Settle(list);
    AppendNode(list, node);
  }
  return 1;
}

void* L_First(L_list* list) {
  if (list == nullptr) {
    return nullptr;
  }
  Settle(list);
  list->cursor = list->first;
  return list->cursor != nullptr ? list->cursor->data : nullptr;
}

void* L_Next(L_list* list) {
  if (list == nullptr || list->cursor == nullptr) {
    return nullptr;
  }
  Settle(list);
  list->cursor = list->cursor->next;
  return list->cursor != nullptr ? list->cursor->data : nullptr;
}

int L_AddList(L_list* to, const L_list* from) {
  if (to == nullptr) {
    return 0;
  }
  if (from == nullptr) {
    return 1;
  }
  Settle(from);
  const Node* last = from->last;  // noted now: a list may be added to itself
  for (const Node* node = from->first; node != nullptr; node = node != last ? node->next : nullptr) {
    if (L_InsertData(to, L_AT_TAIL, L_Nop, node->data) == 0) {
      return 0;
    }
  }
  return 1;
}

void L_FreeList(L_list** list, L_Function /*function*/) {
  if (list == nullptr || *list == nullptr) {
    return;
  }
  if ((*list)->heap == nullptr) {
    FreeNodes((*list)->first);
    FreeNodes((*list)->waiting);
    std::free(*list);
  }
  *list = nullptr;
}
