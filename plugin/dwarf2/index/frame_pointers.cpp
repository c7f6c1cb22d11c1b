#include "dwarf2/index/frame_pointers.h"

#include "dwarf/leb128.h"
#include "dwarf2/forms.h"

namespace {

// An encoding: the format in the low four bits, what the value is counted from in the next three, and whether it is the
// address of the pointer.
enum FramePointerEncoding : uint8_t {
  DW_EH_PE_absptr = 0x00,
  DW_EH_PE_uleb128 = 0x01,
  DW_EH_PE_udata2 = 0x02,
  DW_EH_PE_udata4 = 0x03,
  DW_EH_PE_udata8 = 0x04,
  DW_EH_PE_signed = 0x08,
  DW_EH_PE_sleb128 = 0x09,
  DW_EH_PE_sdata2 = 0x0A,
  DW_EH_PE_sdata4 = 0x0B,
  DW_EH_PE_sdata8 = 0x0C,
  DW_EH_PE_pcrel = 0x10,
  DW_EH_PE_datarel = 0x30,
};
constexpr uint8_t FORMAT = 0x0F;
constexpr uint8_t BASE = 0xF0;  // with the bit of an indirect pointer, whose target only the running program has

uint32_t SignExtended16(uint32_t value) {
  return static_cast<uint32_t>(static_cast<int32_t>(static_cast<int16_t>(value)));
}

// The low 32 bits of a number of eight bytes.
uint32_t ReadLowWord(Cursor* cursor) {
  const uint32_t first = cursor->U32();
  const uint32_t second = cursor->U32();
  return cursor->IsLittleEndian() ? first : second;
}

}  // namespace

bool ReadFrameNumber(Cursor* cursor, uint8_t encoding, uint8_t addressSize, uint32_t* number) {
  switch (encoding & FORMAT) {
    case DW_EH_PE_absptr:
    case DW_EH_PE_signed:
      *number = ReadAddress(cursor, addressSize);
      return true;
    case DW_EH_PE_uleb128:
      *number = ReadUleb(cursor);
      return true;
    case DW_EH_PE_sleb128:
      *number = static_cast<uint32_t>(ReadSleb(cursor));
      return true;
    case DW_EH_PE_udata2:
      *number = cursor->U16();
      return true;
    case DW_EH_PE_sdata2:
      *number = SignExtended16(cursor->U16());
      return true;
    case DW_EH_PE_udata4:
    case DW_EH_PE_sdata4:
      *number = cursor->U32();
      return true;
    case DW_EH_PE_udata8:
    case DW_EH_PE_sdata8:
      *number = ReadLowWord(cursor);
      return true;
    default:
      return false;
  }
}

bool ReadFramePointer(Cursor* cursor, uint8_t encoding, uint8_t addressSize, const FramePointerBases& bases,
                      uint32_t* address) {
  const uint32_t place = bases.section + cursor->Offset();
  if (!ReadFrameNumber(cursor, encoding, addressSize, address)) {
    return false;
  }
  switch (encoding & BASE) {
    case 0:
      return true;
    case DW_EH_PE_pcrel:
      *address += *address != 0 ? place : 0;  // 0 is no address, whatever it is counted from
      return true;
    case DW_EH_PE_datarel:
      *address += *address != 0 ? bases.data : 0;
      return bases.hasData;
    default:
      return false;
  }
}
