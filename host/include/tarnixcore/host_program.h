// What a host program plugs into the library: where messages go, the target, and what was recorded for it.
//
// Handlers and target belong to the process. Set them while no component runs in another thread.
#pragma once

#include "tarnixcore/export.h"
#include "tarnixcore/target.h"

// Handlers of the host program. Each gets `context` and is called on the thread that the component runs on; texts are
// never null. For a null handler the library has a default: texts go to standard error, boxes are answered with IDOK,
// progress is not shown and never cancelled.
struct HostHandlers {
  void* context = nullptr;
  void (*message)(void* context, const char* text) = nullptr;
  // The arguments and the result of MessageBoxA (tarnixcore/messages.h).
  int (*messageBox)(void* context, const char* text, const char* caption, unsigned style) = nullptr;
  void (*progressCreate)(void* context, const char* title, unsigned long total) = nullptr;  // `total` bytes
  int (*progressSet)(void* context, unsigned long count) = nullptr;  // `count` bytes are done; 0 cancels
  void (*progressClose)(void* context) = nullptr;
  void (*versionInfo)(void* context, const char* name, unsigned long version, const char* text) = nullptr;
};

// Sets the handlers and returns those that were set before.
TARNIX_API HostHandlers HOST_SetHandlers(const HostHandlers& handlers);

// Sets the result of GetTheTarget; null for none. The target must outlive its use.
TARNIX_API void HOST_SetTarget(Target* target);

// The directory that SetAbsFileDir recorded last, in any thread; "" at start. The text is the calling thread's own and
// stays until that thread calls again or ends.
TARNIX_API const char* HOST_AbsFileDir();
