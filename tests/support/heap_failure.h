// Heaps that fail on purpose. The host library does not install this header of its own.
#pragma once

#include "../../host/src/heap_failure.h"
