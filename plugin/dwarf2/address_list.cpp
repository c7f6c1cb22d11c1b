#include "dwarf2/address_list.h"

#include <algorithm>
#include <iterator>

#include "dwarf/leb128.h"

namespace {

constexpr uint32_t FIRST_VERSION_BY_KIND = 5;
constexpr uint32_t COUNT_SIZE = 4;  // of the count in front of a table of lists
constexpr const char* PAST_SECTION = "a list goes on past the end of its section";

// What an entry of version 5 has. Both kinds of lists have the same entries under different numbers.
enum class EntryKind : uint8_t {
  end,
  baseIndex,       // index of an address
  indexes,         // indexes of both addresses
  indexAndLength,  // index of an address, length
  offsets,         // two distances from the base
  everywhere,      // nothing: the location holds where no other does
  base,            // an address
  addresses,       // two addresses
  addressAndLength,
  viewPair,  // two numbers that say nothing about addresses
};

constexpr EntryKind rangeKinds[] = {
    EntryKind::end,              // DW_RLE_end_of_list
    EntryKind::baseIndex,        // DW_RLE_base_addressx
    EntryKind::indexes,          // DW_RLE_startx_endx
    EntryKind::indexAndLength,   // DW_RLE_startx_length
    EntryKind::offsets,          // DW_RLE_offset_pair
    EntryKind::base,             // DW_RLE_base_address
    EntryKind::addresses,        // DW_RLE_start_end
    EntryKind::addressAndLength  // DW_RLE_start_length
};
static_assert(std::size(rangeKinds) == DW_RLE_start_length + 1);

constexpr EntryKind locationKinds[] = {
    EntryKind::end,               // DW_LLE_end_of_list
    EntryKind::baseIndex,         // DW_LLE_base_addressx
    EntryKind::indexes,           // DW_LLE_startx_endx
    EntryKind::indexAndLength,    // DW_LLE_startx_length
    EntryKind::offsets,           // DW_LLE_offset_pair
    EntryKind::everywhere,        // DW_LLE_default_location
    EntryKind::base,              // DW_LLE_base_address
    EntryKind::addresses,         // DW_LLE_start_end
    EntryKind::addressAndLength,  // DW_LLE_start_length
    EntryKind::viewPair,          // DW_LLE_GNU_view_pair
};
static_assert(std::size(locationKinds) == DW_LLE_GNU_view_pair + 1);

}  // namespace

void AddressList::Use(const ByteSource* file, bool littleEndian, const Dwarf2Sections* sections,
                      const DeadCode* deadCode, FormValues* values) {
  sections_ = sections;
  deadCode_ = deadCode;
  values_ = values;
  bytes_.Use(file, littleEndian);
}

bool AddressList::Begin(const UnitForms& unit, const AttributeValue& value) {
  const bool isIndexed = value.valueClass == ValueClass::listIndex;
  if (!isIndexed && !value.IsOffset(unit)) {
    return false;
  }
  unit_ = &unit;
  base_ = unit.lowPc;
  lastAddress_ = unit.addressSize < 4 ? (1U << 8 * unit.addressSize) - 1 : UINT32_MAX;
  const bool isByKind = unit.version >= FIRST_VERSION_BY_KIND;
  const SectionPlace& section = kind_ == Kind::ranges ? (isByKind ? sections_->rnglists : sections_->ranges)
                                                      : (isByKind ? sections_->loclists : sections_->loc);
  if (!section.exists) {
    bytes_.failure().Note(section.name, value.number, "the section is missing");
    return false;
  }
  if (bytes_.Section().name != section.name) {
    bytes_.Seek(section, 0);
  }
  if (isIndexed) {
    return SeekIndexed(value.number);
  }
  bytes_.Seek(value.number);
  start_ = value.number;
  end_ = EndOfSection();
  return true;
}

// The first address of the section that the file does not have.
uint32_t AddressList::EndOfSection() {
  const uint64_t end = bytes_.Offset() + bytes_.BytesLeft();
  return static_cast<uint32_t>(std::min<uint64_t>(end, bytes_.Section().size));
}

// A table of offsets is at the unit's base, with the count of them in front of it. The offsets count from the base.
bool AddressList::SeekIndexed(uint32_t index) {
  const uint32_t base = kind_ == Kind::ranges ? unit_->rnglistsBase : unit_->loclistsBase;
  start_ = base;
  bytes_.Seek(base < COUNT_SIZE ? 0 : base - COUNT_SIZE);
  end_ = EndOfSection();
  const uint64_t place = base + uint64_t{index} * unit_->offsetSize;
  if (base < COUNT_SIZE || base > end_ || index >= bytes_.U32() || place + unit_->offsetSize > end_) {
    bytes_.failure().Note(bytes_.Section().name, base, "there is no list %u", static_cast<unsigned>(index));
    return false;
  }
  bytes_.Seek(static_cast<uint32_t>(place));
  const uint64_t start = uint64_t{base} + FormValues::ReadOffset(&bytes_, unit_->offsetSize);
  start_ = static_cast<uint32_t>(std::min<uint64_t>(start, UINT32_MAX));
  bytes_.Seek(start_);
  return true;
}

bool AddressList::Next(AddressRange* range) {
  const bool isByKind = unit_->version >= FIRST_VERSION_BY_KIND;
  const bool isThere = isByKind ? NextByKind(range) : NextPair(range);
  if (isThere && bytes_.Offset() > end_) {
    bytes_.Fail("%s", PAST_SECTION);
    return false;
  }
  return isThere && !bytes_.failure();
}

bool AddressList::NextLocation(uint32_t* length) {
  *length = unit_->version >= FIRST_VERSION_BY_KIND ? ReadUleb(&bytes_) : bytes_.U16();
  if (uint64_t{bytes_.Offset()} + *length > end_) {
    bytes_.Fail("%s", PAST_SECTION);
    return false;
  }
  return true;
}

bool AddressList::End() {
  return bytes_.Charge(bytes_.Offset() - start_) && !bytes_.failure();
}

// Versions 2 to 4. An entry is a pair of addresses: both 0 end the list, a first one of all bits makes the second the
// base, and all others count from the base.
bool AddressList::NextPair(AddressRange* range) {
  while (!bytes_.failure()) {
    if (bytes_.Offset() >= end_) {
      bytes_.Fail("%s", PAST_SECTION);
      return false;
    }
    const uint32_t begin = ReadAddress(&bytes_, unit_->addressSize);
    const uint32_t end = ReadAddress(&bytes_, unit_->addressSize);
    if (begin == lastAddress_ && unit_->addressSize != 0) {
      base_ = end;
      continue;
    }
    if (begin == 0 && end == 0) {
      return false;
    }
    *range = begin < end ? Live(base_, base_ + begin, end - begin) : AddressRange{0, 0};
    return true;
  }
  return false;
}

bool AddressList::NextByKind(AddressRange* range) {
  const bool isOfRanges = kind_ == Kind::ranges;
  const EntryKind* kinds = isOfRanges ? rangeKinds : locationKinds;
  const size_t count = isOfRanges ? std::size(rangeKinds) : std::size(locationKinds);
  const auto address = [this] { return ReadAddress(&bytes_, unit_->addressSize); };
  const auto indexed = [this] { return values_->AddressAt(ReadUleb(&bytes_), *unit_); };
  while (!bytes_.failure()) {
    if (bytes_.Offset() >= end_) {
      bytes_.Fail("%s", PAST_SECTION);
      return false;
    }
    const uint32_t kind = bytes_.U8();
    if (kind >= count) {
      bytes_.Fail("0x%X begins no entry of a list", static_cast<unsigned>(kind));
      return false;
    }
    uint32_t first = 0;
    switch (kinds[kind]) {
      case EntryKind::end:
        return false;
      case EntryKind::baseIndex:
        base_ = indexed();
        continue;
      case EntryKind::base:
        base_ = address();
        continue;
      case EntryKind::viewPair:
        ReadUleb(&bytes_);
        ReadUleb(&bytes_);
        continue;
      case EntryKind::offsets: {
        first = ReadUleb(&bytes_);
        const uint32_t second = ReadUleb(&bytes_);
        *range = first < second ? Live(base_, base_ + first, second - first) : AddressRange{0, 0};
        return true;
      }
      case EntryKind::indexes:
        first = indexed();
        *range = FromTo(first, indexed());
        return true;
      case EntryKind::addresses:
        first = address();
        *range = FromTo(first, address());
        return true;
      case EntryKind::indexAndLength:
        first = indexed();
        *range = Live(first, first, ReadUleb(&bytes_));
        return true;
      case EntryKind::addressAndLength:
        first = address();
        *range = Live(first, first, ReadUleb(&bytes_));
        return true;
      case EntryKind::everywhere:
        *range = {0, UINT32_MAX};
        return true;
    }
  }
  return false;
}

AddressRange AddressList::FromTo(uint32_t begin, uint32_t end) const {
  return begin < end ? Live(begin, begin, end - begin) : AddressRange{0, 0};
}

// A range that ends after the last address ends at it.
AddressRange AddressList::Live(uint32_t base, uint32_t begin, uint32_t length) const {
  begin &= lastAddress_;
  if (length == 0 || deadCode_->IsCountedFromMark(base, begin, unit_->addressSize)) {
    return {0, 0};
  }
  return {begin, begin + std::min(length, UINT32_MAX - begin)};
}
