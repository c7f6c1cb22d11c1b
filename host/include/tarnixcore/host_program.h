// What a host program plugs into the library: where messages go, the target, and what was recorded for it.
#pragma once

#include "tarnixcore/export.h"
#include "tarnixcore/target.h"

// Handlers of the host program. A null one leaves the library's default: text to standard error, boxes answered with
// OK, progress not shown and never cancelled. `context` is handed to each.
struct HostHandlers {
  void* context = nullptr;
  void (*message)(void* context, const char* text) = nullptr;
  int (*messageBox)(void* context, const char* text, const char* caption, unsigned style) = nullptr;
  void (*progressCreate)(void* context, const char* title, unsigned long total) = nullptr;
  int (*progressSet)(void* context, unsigned long count) = nullptr;  // 0 cancels
  void (*progressClose)(void* context) = nullptr;
  void (*versionInfo)(void* context, const char* name, unsigned long version, const char* text) = nullptr;
};

// Sets the handlers and gives those that held before.
TARNIX_API HostHandlers HOST_SetHandlers(const HostHandlers& handlers);

// Sets what GetTheTarget gives; null for none.
TARNIX_API void HOST_SetTarget(Target* target);

// The directory that SetAbsFileDir recorded last; empty at start.
TARNIX_API const char* HOST_AbsFileDir();
