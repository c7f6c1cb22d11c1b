// The records of one section of frame information: common information entries (CIE) and frame descriptions (FDE).
//
//   FrameReader reader(cursor, &heap, rules, &frames);
//   reader.ReadInOrder(section);     // loader rules
//   reader.ReadPublished(section);   // versions, both formats, augmentations
#pragma once

#include "dwarf2/dead_code.h"
#include "dwarf2/index/frame_pointers.h"
#include "dwarf2/index/sorted_frames.h"
#include "elf/cursor.h"
#include "records/hash_index.h"
#include "records/record_heap.h"

// What decides how the records of a section are read.
struct FrameRules {
  bool asPublished;
  bool isEhFrame;       // CIEs have the id 0, and CIE_pointer is counted back from itself
  uint8_t addressSize;  // where a CIE does not say one
  FramePointerBases bases;
  const DeadCode* deadCode;  // descriptions of such code are left out; null: none is
  const FrameCover* cover;   // descriptions of this code are left out; null: none is
};

class FrameReader {
 public:
  FrameReader(Cursor* cursor, RecordHeap* heap, const FrameRules& rules, SortedFrames* frames)
      : cursor_(cursor), heap_(heap), rules_(rules), frames_(frames) {}

  // Reads one record after another from the cursor's place. A description may name a CIE that comes later, or none. The
  // first record that cannot be read ends the reading.
  void ReadInOrder(uint32_t sectionSize);

  // Reads all CIEs, then the descriptions, each record by its length. What cannot be read costs only itself; the first
  // such record is the reason that is noted.
  void ReadPublished(uint32_t sectionSize);

 private:
  struct Record {
    uint32_t offset;    // in the section
    uint32_t length;    // of the bytes from `idOffset` on
    uint32_t idOffset;  // of CIE_id or CIE_pointer
    uint32_t cie;       // offset of the CIE: of the record itself, or of the one that it names
    bool isCie;
    bool isPassedOver;  // published: it has no id
  };

  // What a description needs to know of its CIE.
  struct Cie : Dwarf2Cie {
    uint8_t addressSize;
    uint8_t segmentSize;      // bytes of a segment in front of an address
    uint8_t pointerEncoding;  // of the addresses
    bool hasData;             // the description has augmentation data after its addresses
    bool isWhole;             // published: it was read to its end
  };

  Cie* FindCie(uint32_t offset);
  Cie* FindOrAddCie(uint32_t offset);
  void ReadHeader(Record* record);
  bool ReadPublishedHeader(uint32_t sectionSize, Record* record);
  void WalkPublished(uint32_t sectionSize, bool takesCies);
  void ReadCie(Cie* cie, const Record& record);
  bool ReadSizes(Cie* cie, uint32_t version, const char* augmentation, const Record& record);
  bool ReadAugmentation(Cie* cie, const char* letters, const Record& record);
  void ReadFde(Cie* cie, const Record& record);
  bool ReadCode(const Cie& cie, const Record& record, Dwarf2Fde* fde);
  bool IsLeftOut(const Cie& cie, const Dwarf2Fde& fde) const {
    return (rules_.deadCode != nullptr && rules_.deadCode->IsMark(fde.lowPc, cie.addressSize)) ||
           (rules_.cover != nullptr && rules_.cover->Holds(fde.lowPc, fde.highPc));
  }
  const char* AugmentationOf(const Record& record);
  uint8_t* ReadBytes(int64_t count);
  bool Spoil(const Record& record, const char* reason);

  // What is left of a record; below 0 when more was read than it has.
  int64_t BytesLeft(const Record& record) const {
    return static_cast<int64_t>(record.length) - (cursor_->Offset() - record.idOffset);
  }

  Cursor* cursor_;
  RecordHeap* heap_;
  FrameRules rules_;
  SortedFrames* frames_;
  HashIndex cies_;                // by offset
  Cie* lastCie_ = nullptr;        // that was found: the next description as a rule names it too
  const char* spoilt_ = nullptr;  // why a record cannot be read: of the first one
  uint32_t spoiltOffset_ = 0;
};
