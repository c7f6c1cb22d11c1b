// Attribute values into the fields of a record, by the plan of the entry's abbreviation.
#include "dwarf2/entries/entry_walk.h"
#include "dwarf2/entries/fields.h"

namespace {

constexpr uint32_t COST_OF_NO_BYTES = 16;  // in bytes: of a value that has none, as addresses of size 0

template <bool LITTLE>
uint32_t Word(const uint8_t* bytes) {
  return LITTLE ? Cursor::Little32(bytes) : Cursor::Big32(bytes);
}

}  // namespace

// The common cases, with a pointer of their own that runs over the cursor's window: at a pointer up to `limit` every
// value of a fixed size, and every number, may be read. All else is done at the cursor.
template <bool LITTLE>
void EntryWalk::RunSteps(Cursor* cursor, const Step* step, char* record) {
  const uint8_t* next = cursor->Next();
  const uint8_t* limit = cursor->Limit();
  for (;; ++step) {
    if (limit - next < static_cast<ptrdiff_t>(step->distance)) {
      cursor->SetNext(next);
      cursor->Skip(step->distance);
      if (step->op == Op::end) {
        return;
      }
      cursor->Ask();
      next = cursor->Next();
      limit = cursor->Limit();
    } else {
      next += step->distance;
    }
    switch (step->op) {
      case Op::end:
        cursor->SetNext(next);
        return;
      case Op::skipUleb:
        if (!*failure_) {
          DecodeUleb(&next);
        }
        continue;
      case Op::typeRef4:
        FieldAt<DescType*>(record, *step) = types_.FindOrAdd(Word<LITTLE>(next) + unit_.unitBase);
        next += 4;
        continue;
      case Op::textStrp:
        FieldAt<char*>(record, *step) = TextAt(Word<LITTLE>(next));
        next += 4;
        continue;
      case Op::nameStrp: {
        char*& name = FieldAt<char*>(record, *step);
        char* fallback = step->action == Action::enumeratorName ? FixedWord("enum") : name;
        name = TextAt(Word<LITTLE>(next));
        pendingNames_.Add(&name, fallback);
        next += 4;
        continue;
      }
      case Op::word1:
        FieldAt<uint32_t>(record, *step) = *next++;
        continue;
      case Op::word2:
        FieldAt<uint32_t>(record, *step) = cursor->Read16(next);
        next += 2;
        continue;
      case Op::word4:
      case Op::address4:
        FieldAt<uint32_t>(record, *step) = Word<LITTLE>(next);
        next += 4;
        continue;
      case Op::wordUleb:
        FieldAt<uint32_t>(record, *step) = *failure_ ? 0 : DecodeUleb(&next);
        continue;
      case Op::wordSleb:
        FieldAt<uint32_t>(record, *step) = static_cast<uint32_t>(DecodeSleb(&next));
        continue;
      case Op::flag:
        FieldAt<uint32_t>(record, *step) = *next++ != 0 ? 1 : 0;
        continue;
      case Op::declaration:
        facts_.isDeclaration = *next++ != 0;
        hasFacts_ = true;
        continue;
      case Op::declarationPresent:
        facts_.isDeclaration = hasFacts_ = true;
        continue;
      default:
        break;
    }
    cursor->SetNext(next);
    switch (step->op) {
      case Op::skipText:
        SkipText(cursor);
        break;
      case Op::skipBlock1:
        cursor->Skip(cursor->U8());
        break;
      case Op::textInline:
        FieldAt<char*>(record, *step) = ReadInlineText(cursor);
        break;
      case Op::nameInline: {
        char* text = ReadInlineText(cursor);
        char*& name = FieldAt<char*>(record, *step);
        if (text[0] != 0) {
          name = text;
        } else if (step->action == Action::enumeratorName) {
          name = FixedWord("enum");
        }
        break;
      }
      case Op::locationBlock1:
        FieldAt<DescLocation*>(record, *step) = ReadExpression(cursor, cursor->U8(), 0, 0xFFFFFFFF);
        break;
      default:
        if (unit_.rules->readsUnitsByVersion) {
          RunByVersion(cursor, *step, record);
          break;
        }
        RunOther(cursor, *step, record);
        if (cursor->Section().name != sections_->info.name) {
          RunAstray(cursor, step + 1, record);
          return;
        }
        break;
    }
    next = cursor->Next();
    limit = cursor->Limit();
  }
}

template void EntryWalk::RunSteps<true>(Cursor* cursor, const Step* step, char* record);
template void EntryWalk::RunSteps<false>(Cursor* cursor, const Step* step, char* record);

void EntryWalk::RunOther(Cursor* cursor, const Step& step, char* record) {
  const uint32_t form = step.form;
  const uint8_t size = unit_.addressSize;
  if (size == 0 && RowOfForm(form).shape == FormShape::address) {
    cursor->Charge(COST_OF_NO_BYTES);
  }
  switch (step.action) {
    case Action::skip:
      SkipForm(cursor, form, size);
      break;
    case Action::text:
      FieldAt<char*>(record, step) = ReadText(cursor, form);
      break;
    case Action::name: {
      char* text = ReadText(cursor, form);
      FieldAt<char*>(record, step) = text[0] != 0 ? text : FieldAt<char*>(record, step);
      break;
    }
    case Action::enumeratorName: {
      char* text = ReadText(cursor, form);
      FieldAt<char*>(record, step) = text[0] != 0 ? text : FixedWord("enum");
      break;
    }
    case Action::type:
      FieldAt<DescType*>(record, step) = types_.FindOrAdd(ReadReferenceForm(cursor, form, unit_));
      break;
    case Action::word:
      FieldAt<uint32_t>(record, step) = ReadConstantForm(cursor, form, size);
      break;
    case Action::bitOffset:
      isBitField_ = true;
      [[fallthrough]];
    case Action::byte:
      FieldAt<uint8_t>(record, step) = static_cast<uint8_t>(ReadConstantForm(cursor, form, size));
      break;
    case Action::address:  // the offset of later editions is consumed and reads as 0
      FieldAt<uint32_t>(record, step) = ReadAddressForm(cursor, form, size);
      break;
    case Action::location:
      FieldAt<DescLocation*>(record, step) = ReadLocation(cursor, form);
      break;
    case Action::flag:
      FieldAt<uint32_t>(record, step) = ReadFlagForm(cursor, form, size);
      break;
    case Action::callKind: {
      auto& callKind = FieldAt<uint32_t>(record, step);
      callKind = CallKindOf(ReadConstantForm(cursor, form, size), callKind);
      break;
    }
    case Action::specification:
      specification_ = ReadReferenceForm(cursor, form, unit_);
      break;
    case Action::encoding: {
      const uint32_t value = ReadConstantForm(cursor, form, size);
      auto& encoding = FieldAt<uint32_t>(record, step);
      encoding = EncodingOf(value, encoding);
      break;
    }
    case Action::addressClass:
      if (ReadConstantForm(cursor, form, size) == ADDRESS_CLASS_FLAGGED) {
        FieldAt<DescTypeFlags>(record, step).flags |= TYPE_FLAG_ADDRESS_CLASS;
      }
      break;
    case Action::sizeOnce: {
      const auto value = static_cast<int32_t>(ReadConstantForm(cursor, form, size));
      auto& byteSize = FieldAt<int32_t>(record, step);
      byteSize = byteSize == 0 ? value : byteSize;
      break;
    }
    case Action::stride: {
      const auto bits = static_cast<int32_t>(ReadConstantForm(cursor, form, size));
      FieldAt<int32_t>(record, step) = -(bits / BITS_PER_BYTE);
      break;
    }
    default:  // facts of published rules
      break;
  }
}

// A location list that failed leaves its entry's other values to be read from where it ended, in .debug_loc, up to a
// value that is kept in another section: after it the same offset of .debug_info is read.
void EntryWalk::RunAstray(Cursor* cursor, const Step* step, char* record) {
  for (;; ++step) {
    cursor->Skip(step->distance);
    if (step->op == Op::end) {
      return;
    }
    RunOther(cursor, *step, record);
    const bool isText = step->form == DW_FORM_strp && step->action != Action::skip;
    const bool isList = step->action == Action::location && RowOfForm(step->form).shape != FormShape::block;
    if (isText || isList) {
      cursor->Seek(sections_->info, cursor->Offset());
    }
  }
}

// A form that is no text's is passed over.
char* EntryWalk::ReadText(Cursor* cursor, uint32_t form) {
  switch (form) {
    case DW_FORM_string:
      return ReadInlineText(cursor);
    case DW_FORM_strp:
      return TextAt(cursor->U32());
    default:
      SkipForm(cursor, form, unit_.addressSize);
      return EmptyString();
  }
}

char* EntryWalk::ReadInlineText(Cursor* cursor) {
  if (*failure_) {
    cursor->U8();  // one byte is taken, and the text is empty
    return EmptyString();
  }
  cursor->Ask();
  uint32_t length = 0;
  const uint8_t* bytes = cursor->TextInWindow(&length);
  if (bytes != nullptr) {
    char* text = heap_->CopyText(bytes, length);
    cursor->SetNext(bytes + length + 1);
    return text;
  }
  bool ended = false;
  length = cursor->TextLength(&ended);
  char* text = heap_->NewText(length);
  if (text != nullptr) {
    const uint32_t got = cursor->Read(text, length);
    std::memset(text + got, 0, length - got);  // less only when the file changes meanwhile
  } else {
    cursor->Skip(length);
  }
  if (ended) {
    cursor->Skip(1);
  } else {
    cursor->Fail("a text without end");
  }
  return text != nullptr ? text : EmptyString();
}

char* EntryWalk::TextAt(uint32_t offset) {
  if (*failure_) {
    return EmptyString();
  }
  char* text = build_->strings.At(offset, file_, failure_);
  return text != nullptr ? text : CopyTextAt(sections_->str, offset);
}

// A text that does not end in the section.
char* EntryWalk::CopyTextAt(const SectionPlace& section, uint32_t offset) {
  text_.Seek(section, offset);
  if (*failure_) {
    return EmptyString();
  }
  char* text = ReadInlineText(&text_);
  text_.Charge(text_.Offset() - offset);
  return text;
}
