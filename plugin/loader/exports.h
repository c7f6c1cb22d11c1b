// The two functions through which a host finds the component, exported with C linkage.
//
//   uint32_t version;
//   if (GetCompVersions(&version) == COMPONENT_INTERFACE_VERSION) loader = static_cast<ObjFileLoader*>(GetComponent());
#pragma once

#include <cstdint>

#include "tarnixcore/component.h"

extern "C" {
// Stores the component's version, and returns the version of the interface that it was built for.
TARNIX_EXPORT unsigned long GetCompVersions(uint32_t* componentVersion);

// A new component, which the caller owns and ends through its destructor; null when there is no memory.
TARNIX_EXPORT Component* GetComponent();
}
