// The process's own memory, made to fail where the C library lets its functions be replaced. Included by one file of a
// program.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdlib>

inline std::atomic<size_t> callsUntilFailure = 0;  // of all threads; 0: none fails
inline bool failsOnce = true;                      // or from that call on
inline std::atomic<bool> failed = false;

#if defined(__GLIBC__) && !defined(ELFLOAD_SANITIZED)
#define FAILING_MALLOC 1

inline bool Fails() {
  size_t left = callsUntilFailure;
  while (left != 0 && !callsUntilFailure.compare_exchange_weak(left, left == 1 && !failsOnce ? 1 : left - 1)) {
  }
  if (left == 1) failed = true;
  return left == 1;
}

// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl*,readability-inconsistent-*,misc-definitions-in-headers): glibc's
// own
extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* memory, size_t size);

void* malloc(size_t size) { return Fails() ? nullptr : __libc_malloc(size); }
void* calloc(size_t count, size_t size) { return Fails() ? nullptr : __libc_calloc(count, size); }
void* realloc(void* memory, size_t size) { return Fails() ? nullptr : __libc_realloc(memory, size); }
}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl*,readability-inconsistent-*,misc-definitions-in-headers)
#endif
