// Heaps that fail on purpose, for tests of what survives when memory runs out. The function is exported from builds
// with tests only, and is no part of the library's interface.
#pragma once

#include <cstddef>
#include <cstdint>

#include "tarnixcore/export.h"

#if defined(TARNIXCORE_BUILD) && !defined(TARNIXCORE_TESTED)
#define TARNIX_TESTED_API
#else
#define TARNIX_TESTED_API TARNIX_API
#endif

// Lets `count` calls of HEAP_Get and HEAP_Create return null, beginning with the `call`-th from now on, counted from 1.
// A `call` of 0 ends that. Returns how many calls have failed so since it was called before. All heaps are used by the
// calling thread.
TARNIX_TESTED_API std::size_t HEAP_FailFrom(std::size_t call, std::size_t count = SIZE_MAX);
