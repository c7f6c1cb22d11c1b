#include "loader/processors.h"

#include "elf/elf_constants.h"

namespace {

constexpr uint32_t NOTE_VALUE_HCS08 = 0x30;

struct ProcessorRow {
  uint32_t machine;        // the standard e_machine, 0 when there is none
  uint32_t vendorMachine;  // a vendor's value for the same processor, 0 when there is none
  Processor processor;
};

// clang-format off
constexpr ProcessorRow processorRows[] = {
    {EM_PPC,    0,      {"PPC",   4}},
    {EM_MCORE,  0x4DFF, {"MCORE", 4}},
    {EM_68K,    0x4D32, {"M68K",  4}},
    {EM_68HC16, 0x4D16, {"HC16",  2}},
    {EM_68HC12, 0x4D12, {"HC12",  2}},
    {EM_68HC11, 0x4D11, {"HC11",  2}},
    {EM_68HC05, 0x4D05, {"HC05",  2}},
    {EM_68HC08, 0x4D08, {"HC08",  2}},
    {EM_ST7,    0x5D07, {"ST7",   2}},
    {EM_ST19,   0,      {"ST19X", 2}},
    {EM_H8_500, 0,      {"H8500", 2}},
    {0,         0x5D01, {"XA",    2}},
};
// clang-format on

constexpr Processor unknownProcessor = {"", 4};

}  // namespace

Processor FindProcessor(uint32_t machine, uint32_t noteValue) {
  for (const ProcessorRow& row : processorRows) {
    if (machine == 0 || (machine != row.machine && machine != row.vendorMachine)) {
      continue;
    }
    if (row.machine == EM_68HC08 && noteValue == NOTE_VALUE_HCS08) {
      return {"HCS08", row.processor.intSize};
    }
    return row.processor;
  }
  return unknownProcessor;
}
