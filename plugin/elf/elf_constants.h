// Codes of the ELF format that the reader looks at, in the spelling of the System V ABI.
#pragma once

#include <cstdint>

enum ElfIdent : uint8_t { EI_CLASS = 4, EI_DATA = 5, EI_NIDENT = 16 };
enum ElfData : uint8_t { ELFDATA2LSB = 1, ELFDATA2MSB = 2 };
enum ElfSegmentType : uint32_t { PT_LOAD = 1 };
enum ElfSegmentFlag : uint32_t { PF_X = 1, PF_W = 2, PF_R = 4 };
enum ElfSectionType : uint32_t { SHT_NOTE = 7, SHT_NOBITS = 8 };
enum ElfSectionFlag : uint32_t { SHF_ALLOC = 2, SHF_EXECINSTR = 4 };

enum ElfMachine : uint32_t {
  EM_68K = 4,
  EM_PPC = 20,
  EM_ARM = 40,
  EM_MCORE = 39,
  EM_H8_500 = 49,
  EM_68HC12 = 53,
  EM_ST7 = 68,
  EM_68HC16 = 69,
  EM_68HC11 = 70,
  EM_68HC08 = 71,
  EM_68HC05 = 72,
  EM_ST19 = 74,
};
