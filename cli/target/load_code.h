// The loader's side of LoadCode, the flags that it takes and the blocks that it writes. All of elfload that calls it or
// is called by it includes this header.
#pragma once

#include "loader/code_download.h"
