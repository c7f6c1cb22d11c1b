// Memory that is about to be written.
#pragma once

#include <cstddef>

#include "tarnixcore/export.h"

// Has the system find, at once, the pages that are wholly in the `size` bytes from `memory`, instead of one by one when
// they are touched first. The contents stay. It is a wish, which a system may ignore: nothing depends on it, and errors
// are not reported. Any size is allowed, 0 among them.
TARNIX_API void PrepareMemory(void* memory, std::size_t size);
