#include "dwarf2/unit_texts.h"

#include <algorithm>

void UnitTexts::Use(const ByteSource* file, bool littleEndian, const Dwarf2Sections* sections) {
  sections_ = sections;
  for (Cursor* cursor : {&inline_, &str_, &lineStr_}) {
    cursor->Use(file, littleEndian);
  }
}

void UnitTexts::CopyFrom(Cursor* cursor, uint32_t offset, Text* text) {
  if (!cursor->Section().exists) {  // its offsets are no places in the file
    text->text[0] = 0;
    return;
  }
  bool ended = false;
  const uint32_t length = cursor->TextLength(&ended);
  const uint32_t kept = std::min(length, LONGEST - 1);
  const uint32_t got = cursor->Read(text->text, kept);
  text->text[got] = 0;
  cursor->Charge(length);
  if (!ended) {
    cursor->failure().Note(cursor->Section().name, offset, "a text without end");
  }
}

bool UnitTexts::Copy(const AttributeValue& value, const Cursor& cursor, Text* text) {
  if (value.valueClass == text->valueClass && value.number == text->offset &&
      value.valueClass != ValueClass::inlineText) {
    return false;
  }
  text->valueClass = value.valueClass;
  text->offset = value.number;
  switch (value.valueClass) {
    case ValueClass::inlineText:
      inline_.LookInto(cursor, value.place);
      CopyFrom(&inline_, value.place, text);
      break;
    case ValueClass::text:
      str_.Seek(sections_->str, value.number, LONGEST / 8);
      CopyFrom(&str_, value.number, text);
      break;
    case ValueClass::lineText:
      lineStr_.Seek(sections_->lineStr, value.number, LONGEST / 8);
      CopyFrom(&lineStr_, value.number, text);
      break;
    default:
      text->text[0] = 0;
      break;
  }
  return true;
}
