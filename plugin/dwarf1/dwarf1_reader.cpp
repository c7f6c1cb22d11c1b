// The DWARF 1 reader's place: a file with `.debug` opens, and its debug information is reported as unreadable.
#include "dwarf1/dwarf1_reader.h"

int ReadDwarf1Modules(ElfImage* /*image*/, mem_desc* /*tableHeap*/, DescModule** modules, int32_t /*intSize*/) {
  *modules = nullptr;
  return 0;
}

int FillDwarf1Module(ElfImage* /*image*/, DescModule* /*module*/, L_list* /*ranges*/) {
  return 0;
}
