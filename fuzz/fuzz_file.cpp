// A hostile file.
#include "host_run.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  RunAsHost(RawBytes(data, data + size));
  return 0;
}
