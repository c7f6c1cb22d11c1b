// Lists of data pointers: a skip list, so that a sorted insertion finds its place in log n comparisons and the order is
// there at every moment. Level 0 is the list itself; a node takes part in each higher level with a chance of 1 in 4.
#include "tarnixcore/list.h"

#include <cstdint>
#include <cstdlib>
#include <new>

namespace {

constexpr int LEVELS = 12;  // 4^12 nodes before a search grows longer than logarithmic

struct Node {
  void* data;
  Node* next[1];  // as many as the node has levels
};

}  // namespace

struct L_list {
  mem_desc* heap;   // null: nodes come from the process's memory
  Node* cursor;     // the node whose data L_First or L_Next gave last
  uint32_t random;  // xorshift state: heights only, so a fixed seed keeps every run the same
  int levels;       // levels in use
  Node* first[LEVELS];
  Node* last[LEVELS];
};

namespace {

// Where a new node goes: behind behind[level] on each level, null for the front.
struct Place {
  Node* behind[LEVELS];
};

void* Allocate(mem_desc* heap, size_t size) {
  return heap != nullptr ? HEAP_Get(heap, size) : std::malloc(size);
}

int DrawHeight(L_list* list) {
  uint32_t random = list->random;
  random ^= random << 13;
  random ^= random >> 17;
  random ^= random << 5;
  list->random = random;
  int height = 1;
  while (height < LEVELS && (random & 3) == 0) {
    ++height;
    random >>= 2;
  }
  return height;
}

Node* Behind(const L_list* list, const Node* node, int level) {
  return node != nullptr ? node->next[level] : list->first[level];
}

Place FindSortedPlace(const L_list* list, L_Compare compare, const void* data) {
  Place place;
  Node* node = nullptr;
  const Node* after = nullptr;  // found to stand behind the place: a lower level meets it again
  for (int level = list->levels - 1; level >= 0; --level) {
    Node* next = Behind(list, node, level);
    while (next != after && compare(next->data, data) == 1) {
      node = next;
      next = next->next[level];
    }
    after = next;
    place.behind[level] = node;
  }
  return place;
}

Place FindPlace(const L_list* list, int mode, L_Compare compare, const void* data) {
  Place place;
  if (mode == L_AT_HEAD) {
    for (Node*& node : place.behind) {
      node = nullptr;
    }
    return place;
  }
  // Data that arrive in order, the common case of a sorted list, take one comparison.
  const bool atTail =
      mode != L_SORTED || compare == nullptr || list->last[0] == nullptr || compare(list->last[0]->data, data) == 1;
  if (!atTail) {
    return FindSortedPlace(list, compare, data);
  }
  for (int level = 0; level < LEVELS; ++level) {
    place.behind[level] = list->last[level];
  }
  return place;
}

int InsertAt(L_list* list, Place* place, void* data) {
  const int height = DrawHeight(list);
  void* memory = Allocate(list->heap, sizeof(Node) + sizeof(void*) * static_cast<size_t>(height - 1));
  if (memory == nullptr) {
    return 0;
  }
  auto* node = static_cast<Node*>(memory);
  node->data = data;
  for (; list->levels < height; ++list->levels) {
    place->behind[list->levels] = nullptr;
  }
  for (int level = 0; level < height; ++level) {
    Node* behind = place->behind[level];
    Node*& link = behind != nullptr ? behind->next[level] : list->first[level];
    node->next[level] = link;
    link = node;
    if (node->next[level] == nullptr) {
      list->last[level] = node;
    }
  }
  return 1;
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
  list->random = 0x9E3779B9;
  return list;
}

int L_InsertData(L_list* list, int mode, L_Compare compare, void* data) {
  if (list == nullptr) {
    return 0;
  }
  Place place = FindPlace(list, mode, compare, data);
  return InsertAt(list, &place, data);
}

void* L_First(L_list* list) {
  if (list == nullptr) {
    return nullptr;
  }
  list->cursor = list->first[0];
  return list->cursor != nullptr ? list->cursor->data : nullptr;
}

void* L_Next(L_list* list) {
  if (list == nullptr || list->cursor == nullptr) {
    return nullptr;
  }
  list->cursor = list->cursor->next[0];
  return list->cursor != nullptr ? list->cursor->data : nullptr;
}

int L_AddList(L_list* to, const L_list* from) {
  if (to == nullptr) {
    return 0;
  }
  const Node* node = from != nullptr ? from->first[0] : nullptr;
  const Node* last = from != nullptr ? from->last[0] : nullptr;  // noted now: a list may be added to itself
  while (node != nullptr) {
    if (L_InsertData(to, L_AT_TAIL, L_Nop, node->data) == 0) {
      return 0;
    }
    node = node != last ? node->next[0] : nullptr;
  }
  return 1;
}

void L_FreeList(L_list** list, L_Function /*function*/) {
  if (list == nullptr || *list == nullptr) {
    return;
  }
  if ((*list)->heap == nullptr) {
    for (Node* node = (*list)->first[0]; node != nullptr;) {
      Node* next = node->next[0];
      std::free(node);
      node = next;
    }
    std::free(*list);
  }
  *list = nullptr;
}
