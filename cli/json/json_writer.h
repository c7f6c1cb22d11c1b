// JSON as a stream: RapidJSON's Writer over Output, with short cuts for what a dump writes by the million.
//
//   JsonWriter json(out);
//   json.BeginObject();
//   json.Key("lowPc"), json.Number(module->lowPc);
//   json.Key("name"), json.Text(module->name);
//   json.EndObject();
#pragma once

#include <rapidjson/internal/itoa.h>
#include <rapidjson/writer.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string_view>

#include "terminal/output.h"
#include "terminal/utf8.h"

namespace elfload {

// Characters that a JSON string takes as they are: all of ASCII but controls, quote and backslash.
constexpr std::array<bool, 256> MakePlainCharacters() {
  std::array<bool, 256> plain{};
  for (size_t c = 0x20; c < 0x80; c++) plain[c] = c != '"' && c != '\\';
  return plain;
}
inline constexpr std::array<bool, 256> plainCharacters = MakePlainCharacters();

// Memory of RapidJSON's stack of levels. RapidJSON does not look at the result of its own allocator, and would write
// through null.
struct JsonStackMemory {
  static constexpr bool kNeedFree = true;

  void* Malloc(size_t size) { return Realloc(nullptr, 0, size); }
  void* Realloc(void* memory, size_t /*oldSize*/, size_t size) {
    if (size == 0) {
      Free(memory);
      return nullptr;
    }
    void* moved = std::realloc(memory, size);
    if (moved == nullptr) throw std::bad_alloc();
    return moved;
  }
  static void Free(void* memory) { std::free(memory); }
};

using JsonBase = rapidjson::Writer<Output, rapidjson::UTF8<>, rapidjson::UTF8<>, JsonStackMemory>;

class JsonWriter : private JsonBase {
 public:
  explicit JsonWriter(Output& out) : JsonBase(out) {}

  void BeginObject() { StartObject(); }
  // Unlike RapidJSON's it flushes nothing where the document ends.
  void EndObject() {
    level_stack_.Pop<Level>(1);
    WriteEndObject();
  }
  void BeginArray() { StartArray(); }
  void EndArray() { JsonBase::EndArray(); }
  void Null() { JsonBase::Null(); }

  // A member's name, a literal of plain characters.
  template <size_t size>
  void Key(const char (&name)[size]) {
    static_assert(size < 64);
    Prefix(rapidjson::kStringType);
    char* room = os_->Reserve(size + 1);
    room[0] = '"';
    std::memcpy(room + 1, name, size - 1);
    room[size] = '"';
    os_->Advance(room + size + 1);
  }

  // A member's name that is only known at run time.
  void Key(std::string_view name) { Text(name); }

  void Number(uint32_t value) {
    Prefix(rapidjson::kNumberType);
    os_->Advance(rapidjson::internal::u32toa(value, os_->Reserve(10)));
  }
  void Number(int32_t value) {
    Prefix(rapidjson::kNumberType);
    os_->Advance(rapidjson::internal::i32toa(value, os_->Reserve(11)));
  }

  void Number(uint64_t value) { Uint64(value); }
  void Number(double value) { Double(value); }

  // Unchanged when it is valid UTF-8, else with every byte from 0x80 on as a character of its own.
  void Text(std::string_view text) {
    Prefix(rapidjson::kStringType);
    if (!WritePlain(text)) WriteAnyText(text);
  }
  // A string field of a record; null, which only a record that ran out of memory has, is empty.
  void Text(const char* text) { Text(text != nullptr ? std::string_view(text) : std::string_view()); }

  // Lower-case hexadecimal text.
  void Hex(const uint8_t* bytes, size_t size) {
    constexpr char digits[] = "0123456789abcdef";
    constexpr size_t chunk = Output::reserveLimit / 2;
    Prefix(rapidjson::kStringType);
    os_->Put('"');
    for (size_t done = 0; done < size;) {
      const size_t end = size - done < chunk ? size : done + chunk;
      char* room = os_->Reserve(2 * (end - done));
      for (; done < end; done++) {
        *room++ = digits[bytes[done] >> 4];
        *room++ = digits[bytes[done] & 0xF];
      }
      os_->Advance(room);
    }
    os_->Put('"');
  }

  // Text made of a letter or two and numbers, written by `write(room)` into room for 64 plain characters; it returns
  // the end.
  template <typename Write>
  void ShortText(Write write) {
    Prefix(rapidjson::kStringType);
    char* room = os_->Reserve(66);
    *room++ = '"';
    room = write(room);
    *room++ = '"';
    os_->Advance(room);
  }

  // Begins another document after one that ended.
  void Restart() { Reset(*os_); }

  // White space between values, so that long documents have lines.
  void NewLine() { os_->Put('\n'); }

 private:
  // Writes text that needs no escapes; false, with nothing written, for all other text.
  bool WritePlain(std::string_view text) {
    if (text.size() + 2 > Output::reserveLimit) return false;
    char* room = os_->Reserve(text.size() + 2);
    *room++ = '"';
    for (const char c : text) {
      if (!plainCharacters[static_cast<uint8_t>(c)]) return false;
      *room++ = c;
    }
    *room++ = '"';
    os_->Advance(room);
    return true;
  }

  void WriteAnyText(std::string_view text) {
    if (IsUtf8(text)) {
      WriteString(text.data(), static_cast<rapidjson::SizeType>(text.size()));
    } else {
      const std::string wide = WidenToUtf8(text);
      WriteString(wide.data(), static_cast<rapidjson::SizeType>(wide.size()));
    }
  }
};

}  // namespace elfload
