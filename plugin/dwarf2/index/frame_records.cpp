#include "dwarf2/index/frame_records.h"

#include <cstring>

#include "dwarf/leb128.h"
#include "dwarf2/forms.h"

namespace {

constexpr uint32_t CIE_ID = 0xFFFFFFFF;
constexpr uint32_t LONG_LENGTH = 0xFFFFFFFF;  // the length is in the eight bytes that follow
constexpr uint32_t SHORT_SIZE = 4;            // bytes of a length and an id
constexpr uint32_t LONG_SIZE = 8;

bool IsKnownVersion(uint32_t version) {
  return version == 1 || version == 3 || version == 4;
}

}  // namespace

FrameReader::Cie* FrameReader::FindCie(uint32_t offset) {
  if (lastCie_ == nullptr || lastCie_->offset != offset) {
    lastCie_ = cies_.Find<Cie>(offset, [](const Cie*) { return true; });
  }
  return lastCie_;
}

FrameReader::Cie* FrameReader::FindOrAddCie(uint32_t offset) {
  auto* cie = FindCie(offset);
  if (cie != nullptr) {
    return cie;
  }
  cie = heap_->New<Cie>();
  if (cie == nullptr || !cies_.Insert(offset, static_cast<void*>(cie))) {
    cursor_->failure().NoteNoMemory();
    return nullptr;
  }
  cie->offset = offset;
  cie->addressSize = rules_.addressSize;
  return cie;
}

// `count` raw bytes, in the block of the section where they are, else copied. Null, with the failure noted, for a count
// that is negative or that the file does not have.
uint8_t* FrameReader::ReadBytes(int64_t count) {
  if (count < 0 || static_cast<uint64_t>(count) > cursor_->BytesLeft()) {
    cursor_->Fail("a frame record of %lld instruction bytes", static_cast<long long>(count));
    return nullptr;
  }
  const uint8_t* bytes = cursor_->Next();
  if (cursor_->IsInWhole(bytes) && count <= cursor_->End() - bytes) {
    cursor_->SetNext(bytes + count);
    return const_cast<uint8_t*>(bytes);  // the block is the table heap's
  }
  auto* copy = heap_->NewArray<uint8_t>(static_cast<size_t>(count));
  if (copy != nullptr) {
    const uint32_t got = cursor_->Read(copy, static_cast<uint32_t>(count));
    std::memset(copy + got, 0, static_cast<size_t>(count) - got);
  }
  return copy;
}

// Keeps the reason of the first record that cannot be read. False always.
bool FrameReader::Spoil(const Record& record, const char* reason) {
  if (spoilt_ == nullptr) {
    spoilt_ = reason;
    spoiltOffset_ = record.offset;
  }
  return false;
}

// Common information entry, after CIE_id: version 1, augmentation (text), from version 4 on address_size 1 and
// segment_selector_size 1, code_alignment_factor (ULEB128), data_alignment_factor (SLEB128), return_address_register (1
// byte, from version 3 on ULEB128), augmentation data where the text begins with "z", instructions.
void FrameReader::ReadCie(Cie* cie, const Record& record) {
  const uint32_t version = cursor_->U8();
  const char* augmentation = rules_.asPublished ? AugmentationOf(record) : nullptr;
  SkipText(cursor_);
  if (rules_.asPublished && !ReadSizes(cie, version, augmentation, record)) {
    return;
  }
  cie->codeAlignment = ReadUleb(cursor_);
  cie->dataAlignment = ReadSleb(cursor_);
  cie->returnRegister = rules_.asPublished && version >= 3 ? ReadUleb(cursor_) : cursor_->U8();
  if (rules_.asPublished && !ReadAugmentation(cie, augmentation, record)) {
    return;
  }
  const int64_t count = BytesLeft(record);
  cie->instructions = ReadBytes(count);
  cie->instructionLength = cie->instructions != nullptr ? static_cast<uint32_t>(count) : 0;
  cie->isWhole = cie->instructions != nullptr;
}

// The text at the cursor, or null when it does not end in the record.
const char* FrameReader::AugmentationOf(const Record& record) {
  const int64_t left = BytesLeft(record);
  const uint8_t* text = cursor_->Next();
  const bool isHere = left > 0 && cursor_->IsInWhole(text) && left <= cursor_->End() - text;
  return isHere && std::memchr(text, 0, static_cast<size_t>(left)) != nullptr ? reinterpret_cast<const char*>(text)
                                                                              : nullptr;
}

// What comes between the augmentation and the numbers of all versions. False for a CIE that is passed over, with all
// that name it: no one knows what those of another augmentation have.
bool FrameReader::ReadSizes(Cie* cie, uint32_t version, const char* augmentation, const Record& record) {
  if (!IsKnownVersion(version)) {
    return Spoil(record, "the version of a frame record is not known");
  }
  if (augmentation == nullptr) {
    return Spoil(record, "the augmentation of a frame record has no end");
  }
  if (version >= 4) {
    cie->addressSize = cursor_->U8();
    cie->segmentSize = cursor_->U8();
  }
  if (std::strcmp(augmentation, "eh") == 0) {
    cursor_->Skip(cie->addressSize);  // of a table of exceptions
    return true;
  }
  return *augmentation == 0 || *augmentation == 'z' || std::strcmp(augmentation, "armcc+") == 0;
}

// The augmentation data: a length (ULEB128), then what each letter after the "z" stands for.
bool FrameReader::ReadAugmentation(Cie* cie, const char* letters, const Record& record) {
  if (*letters != 'z') {
    return true;
  }
  const uint32_t length = ReadUleb(cursor_);
  const uint32_t start = cursor_->Offset();
  if (static_cast<int64_t>(length) > BytesLeft(record)) {
    return Spoil(record, "the augmentation data of a frame record is longer than the record");
  }
  uint32_t personality = 0;
  for (++letters; *letters != 0; ++letters) {
    switch (*letters) {
      case 'R':
        cie->pointerEncoding = cursor_->U8();
        break;
      case 'L':  // encoding of a pointer in the descriptions' data
        cursor_->Skip(1);
        break;
      case 'P': {  // a pointer, after its encoding
        const uint8_t encoding = cursor_->U8();
        if (!ReadFrameNumber(cursor_, encoding, cie->addressSize, &personality)) {
          return false;
        }
        break;
      }
      case 'S':  // the frame of a signal
      case 'B':  // return addresses are signed
        break;
      default:
        return false;
    }
  }
  if (cursor_->Offset() - start > length) {
    return Spoil(record, "the augmentation data of a frame record is longer than its length says");
  }
  cursor_->Seek(start + length);
  cie->hasData = true;
  return true;
}

// Frame description entry, after CIE_pointer: initial_location, address_range, augmentation data as in the CIE,
// instructions.
void FrameReader::ReadFde(Cie* cie, const Record& record) {
  Dwarf2Fde fde = {};
  fde.cie = cie;
  if (!ReadCode(*cie, record, &fde) || IsLeftOut(*cie, fde)) {
    return;
  }
  const uint32_t dataLength = cie->hasData ? ReadUleb(cursor_) : 0;
  if (rules_.asPublished && BytesLeft(record) < static_cast<int64_t>(dataLength)) {
    Spoil(record, "a frame description is shorter than its fields");
    return;
  }
  cursor_->Skip(dataLength);
  auto* copy = heap_->New(fde);
  if (copy == nullptr) {
    return;
  }
  const int64_t count = BytesLeft(record);
  copy->instructions = ReadBytes(count);
  copy->instructionLength = copy->instructions != nullptr ? static_cast<uint32_t>(count) : 0;
  frames_->Append(copy);
}

// initial_location and address_range. False for a pointer that has no meaning here.
bool FrameReader::ReadCode(const Cie& cie, const Record& record, Dwarf2Fde* fde) {
  if (cie.pointerEncoding == FRAME_POINTER_PLAIN) {
    cursor_->Skip(cie.segmentSize);
    fde->lowPc = ReadAddress(cursor_, cie.addressSize);
    fde->highPc = fde->lowPc + ReadAddress(cursor_, cie.addressSize);
    return true;
  }
  uint32_t range = 0;
  if (!ReadFramePointer(cursor_, cie.pointerEncoding, cie.addressSize, rules_.bases, &fde->lowPc) ||
      !ReadFrameNumber(cursor_, cie.pointerEncoding, cie.addressSize, &range)) {
    return Spoil(record, "the pointers of a frame description have no meaning in a file");
  }
  fde->highPc = fde->lowPc + range;
  return true;
}

// length 4, then CIE_id or CIE_pointer 4, which `length` counts.
void FrameReader::ReadHeader(Record* record) {
  record->offset = cursor_->Offset();
  record->length = cursor_->U32();
  record->idOffset = cursor_->Offset();
  const uint32_t id = cursor_->U32();
  record->isCie = id == CIE_ID;
  record->cie = record->isCie ? record->offset : id;
}

void FrameReader::ReadInOrder(uint32_t sectionSize) {
  while (cursor_->Offset() < sectionSize && !cursor_->failure()) {
    Record record = {};
    ReadHeader(&record);
    Cie* cie = FindOrAddCie(record.cie);
    if (cie == nullptr) {
      continue;
    }
    if (record.isCie) {
      ReadCie(cie, record);
    } else {
      ReadFde(cie, record);
    }
  }
}

// The same, and in the 64-bit format the length has eight bytes more; the id has eight too, except in .eh_frame. False
// at the end of the records, and where the section does not have the whole record. A record of length 0 ends .eh_frame;
// elsewhere it is no record.
bool FrameReader::ReadPublishedHeader(uint32_t sectionSize, Record* record) {
  record->offset = cursor_->Offset();
  if (sectionSize - record->offset < SHORT_SIZE) {
    return false;
  }
  record->length = cursor_->U32();
  const bool isLong = record->length == LONG_LENGTH;
  uint32_t high = 0;
  if (isLong) {
    const uint32_t first = cursor_->U32();
    const uint32_t second = cursor_->U32();
    record->length = cursor_->IsLittleEndian() ? first : second;
    high = cursor_->IsLittleEndian() ? second : first;
  }
  record->idOffset = cursor_->Offset();
  if (record->length == 0 && high == 0) {
    record->isPassedOver = true;
    return !rules_.isEhFrame;
  }
  if (high != 0 || record->idOffset > sectionSize || record->length > sectionSize - record->idOffset) {
    return Spoil(*record, "a frame record leads outside the section");
  }
  const uint32_t idSize = isLong && !rules_.isEhFrame ? LONG_SIZE : SHORT_SIZE;
  if (record->length < idSize) {
    Spoil(*record, "a frame record is shorter than its fields");
    record->isPassedOver = true;
    return true;
  }
  const uint32_t first = cursor_->U32();
  const uint32_t second = idSize == LONG_SIZE ? cursor_->U32() : 0;
  const bool isFirstLow = idSize == SHORT_SIZE || cursor_->IsLittleEndian();
  const uint32_t id = isFirstLow ? first : second;
  const uint32_t idHigh = isFirstLow ? second : first;
  record->isCie = rules_.isEhFrame ? id == 0 : id == CIE_ID && (idSize == SHORT_SIZE || idHigh == CIE_ID);
  record->cie = record->isCie ? record->offset : rules_.isEhFrame ? record->idOffset - id : id;
  return true;
}

void FrameReader::WalkPublished(uint32_t sectionSize, bool takesCies) {
  uint32_t offset = 0;
  while (!cursor_->failure()) {
    Record record = {};
    cursor_->Seek(offset);
    if (!ReadPublishedHeader(sectionSize, &record)) {
      return;
    }
    offset = record.idOffset + record.length;
    if (record.isPassedOver || record.isCie != takesCies) {
      continue;
    }
    Cie* cie = takesCies ? FindOrAddCie(record.cie) : FindCie(record.cie);
    if (takesCies && cie != nullptr) {
      ReadCie(cie, record);
    } else if (cie != nullptr && cie->isWhole) {
      ReadFde(cie, record);
    } else if (cie == nullptr) {
      Spoil(record, "a frame description names no common entry");
    }
  }
}

void FrameReader::ReadPublished(uint32_t sectionSize) {
  WalkPublished(sectionSize, true);
  WalkPublished(sectionSize, false);
  if (spoilt_ != nullptr) {
    cursor_->failure().Note(cursor_->Section().name, spoiltOffset_, "%s", spoilt_);
  }
}
