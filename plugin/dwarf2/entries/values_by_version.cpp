// Attribute values as published, by form and version: into the fields of a record, and into the facts of its entry. A
// value of another class than the attribute takes counts as absent.
#include "dwarf2/entries/entry_walk.h"
#include "dwarf2/entries/fields.h"

// A text of another file is empty.
char* EntryWalk::TextOf(const AttributeValue& value, const Cursor& cursor) {
  if (*failure_) {
    return EmptyString();
  }
  switch (value.valueClass) {
    case ValueClass::text:
      return TextAt(value.number);
    case ValueClass::lineText: {
      if (!build_->lineStrings.IsMade()) {
        build_->lineStrings.Make(build_->tableHeap, file_, sections_->lineStr);
      }
      char* text = build_->lineStrings.At(value.number, file_, failure_);
      return text != nullptr ? text : CopyTextAt(sections_->lineStr, value.number);
    }
    case ValueClass::inlineText:
      text_.LookInto(cursor, value.place);
      return ReadInlineText(&text_);
    default:
      return EmptyString();
  }
}

// The type that a value refers to. One that cannot be found is undefined.
DescType* EntryWalk::TypeOf(const AttributeValue& value) {
  uint32_t entry = 0;
  switch (value.valueClass) {
    case ValueClass::reference:
      return types_.FindOrAdd(value.number);
    case ValueClass::signature:
      return build_->units.TypeOf(value.number, value.high, &entry) ? types_.FindOrAdd(entry) : build_->undefinedType;
    default:
      return build_->undefinedType;
  }
}

// A step of a plan that is no common case.
void EntryWalk::RunByVersion(Cursor* cursor, const Step& step, char* record) {
  switch (step.action) {
    case Action::skip:
      FormValues::Skip(cursor, step.form, unit_);
      return;
    case Action::location:
    case Action::memberLocation: {
      using Constants = LocationReader::Constants;
      const bool isMember = step.action == Action::memberLocation;
      FieldAt<DescLocation*>(record, step) = locations_.Read(
          cursor, step.form, step.value, isMember ? Constants::areDistances : Constants::areAbsent, unit_);
      return;
    }
    case Action::text:
      if (step.form == DW_FORM_string) {
        FieldAt<char*>(record, step) = ReadInlineText(cursor);
        return;
      }
      break;
    default:
      break;
  }
  const AttributeValue value = values_.Read(cursor, step.form, step.value, unit_);
  hasFacts_ = hasFacts_ || step.action >= Action::lowPc;
  switch (step.action) {
    case Action::text:
      FieldAt<char*>(record, step) = TextOf(value, *cursor);
      break;
    case Action::name:
    case Action::enumeratorName: {
      char* text = TextOf(value, *cursor);
      if (text[0] != 0) {
        FieldAt<char*>(record, step) = text;
      } else if (step.action == Action::enumeratorName) {
        FieldAt<char*>(record, step) = FixedWord("enum");
      }
      break;
    }
    case Action::type:
      FieldAt<DescType*>(record, step) = TypeOf(value);
      break;
    case Action::flag:
      FieldAt<uint32_t>(record, step) = value.valueClass == ValueClass::flag ? value.number : 0;
      break;
    case Action::address:
      FieldAt<uint32_t>(record, step) = value.valueClass == ValueClass::address ? value.number : 0;
      break;
    case Action::specification:
      if (value.valueClass == ValueClass::reference) {
        specification_ = value.number;
      } else if (value.valueClass == ValueClass::signature) {
        build_->units.TypeOf(value.number, value.high, &specification_);
      }
      break;
    case Action::lowPc:
      if (value.valueClass == ValueClass::address) {
        facts_.hasLowPc = true;
        FieldAt<uint32_t>(record, step) = value.number;
      }
      break;
    case Action::highPc:
      if (value.valueClass == ValueClass::address || value.IsConstant()) {
        facts_.highPcIsSize = value.IsConstant();
        FieldAt<uint32_t>(record, step) = value.number;
      }
      break;
    case Action::ranges:
      facts_.ranges = value;
      break;
    case Action::constValue:
      TakeConstValue(value, *cursor);
      break;
    case Action::declaration:
      facts_.isDeclaration = value.valueClass == ValueClass::flag && value.number != 0;
      break;
    case Action::external:
      facts_.isExternal = value.valueClass == ValueClass::flag && value.number != 0;
      break;
    case Action::entryPc:
      TakeEntryPc(value);
      break;
    case Action::stringLength:
      facts_.array.hasStringLength = true;
      break;
    case Action::signature:
      AddAlias(reinterpret_cast<DescType*>(record), value);
      if (value.valueClass == ValueClass::signature) {  // its name, at once, for what it encloses
        build_->units.TypeOf(value.number, value.high, &specification_);
      }
      break;
    default:
      if (value.IsConstant()) {
        TakeConstant(step, value, record);
      } else if (step.action == Action::bound || step.action == Action::count) {
        facts_.array.isOpen = true;
      }
      break;
  }
}

// As an address, or as a distance from the entry's first address, which is added later.
void EntryWalk::TakeEntryPc(const AttributeValue& value) {
  facts_.hasEntryPc = value.valueClass == ValueClass::address || value.IsConstant();
  facts_.entryPcIsDistance = value.IsConstant();
  facts_.entryPc = value.number;
}

void EntryWalk::TakeConstant(const Step& step, const AttributeValue& value, char* record) {
  switch (step.action) {
    case Action::word:
    case Action::bound:
      FieldAt<uint32_t>(record, step) = value.number;
      break;
    case Action::bitOffset:
      facts_.bitOffset = static_cast<int32_t>(value.number);
      break;
    case Action::byte:
      FieldAt<uint8_t>(record, step) = static_cast<uint8_t>(value.number);
      break;
    case Action::callKind: {
      auto& callKind = FieldAt<uint32_t>(record, step);
      callKind = CallKindOf(value.number, callKind);
      break;
    }
    case Action::encoding: {
      auto& encoding = FieldAt<uint32_t>(record, step);
      encoding = PublishedEncodingOf(value.number, encoding);
      break;
    }
    case Action::addressClass:
      if (value.number == ADDRESS_CLASS_FLAGGED) {
        FieldAt<DescTypeFlags>(record, step).flags |= TYPE_FLAG_ADDRESS_CLASS;
      }
      break;
    case Action::sizeOnce: {
      auto& byteSize = FieldAt<int32_t>(record, step);
      byteSize = byteSize == 0 ? static_cast<int32_t>(value.number) : byteSize;
      break;
    }
    case Action::bitStride:
      facts_.array.bitStride = value.number;
      break;
    case Action::byteStride:
      facts_.array.byteStride = value.number;
      break;
    case Action::inlined:
      facts_.isAbstract = value.number != 0;
      break;
    case Action::count:
      facts_.array.hasCount = true;
      facts_.array.count = value.number;
      break;
    case Action::dataBitOffset:
      facts_.hasDataBitOffset = true;
      facts_.dataBitOffset = value.number;
      break;
    case Action::bitSize:
      facts_.bitSize = value.number;
      FieldAt<uint8_t>(record, step) = static_cast<uint8_t>(value.number);
      break;
    case Action::storageSize:
      facts_.storageSize = value.number;
      break;
    default:
      break;
  }
}
