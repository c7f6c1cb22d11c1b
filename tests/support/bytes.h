// Bytes of a section as a test writes them, in either byte order.
//
//   Bytes().u16(2).u32(0x10).text("main.c").uleb(300).raw({0xFF, 0x7F})
//   Bytes().length().label("here").ref("there")  // lengths and offsets are filled in when the file is written
//
// Numbers stay neutral until In() writes them in an order, so one description serves both. Labels are offsets in
// their section, and can be named from any section of the file, before or after their place.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <initializer_list>
#include <iostream>
#include <map>
#include <string>
#include <string_view>
#include <vector>

enum class ByteOrder { little, big };
constexpr ByteOrder bothOrders[] = {ByteOrder::little, ByteOrder::big};

using RawBytes = std::vector<uint8_t>;
using Labels = std::map<std::string, uint32_t>;

// What a chain of calls has collected.
class Chunk {
 public:
  uint32_t size() const { return static_cast<uint32_t>(bytes_.size()); }
  const Labels& labels() const { return labels_; }
  const Chunk& finish() const { return *this; }

  RawBytes In(ByteOrder order, const Labels& labels = {}) const {
    Chunk copy = *this;
    copy.CloseLengths();
    for (const Patch& patch : copy.patches_) {
      const auto found = labels.find(patch.label);
      if (found == labels.end()) {
        std::cerr << "no label " << patch.label << '\n';
        std::abort();
      }
      copy.Store(patch.offset, found->second + patch.addend, patch.size);
    }
    if (order == ByteOrder::big) {
      for (const Field& field : copy.fields_) {
        std::reverse(copy.bytes_.begin() + field.offset, copy.bytes_.begin() + field.offset + field.size);
      }
    }
    return copy.bytes_;
  }

 protected:
  struct Field {
    uint32_t offset;
    uint32_t size;
  };
  struct Patch {
    uint32_t offset;
    uint32_t size;
    std::string label;
    uint32_t addend;
    bool relative;  // to the start of the chunk
  };

  void Add(uint64_t value, uint32_t count) {
    fields_.push_back({size(), count});
    bytes_.resize(bytes_.size() + count);
    Store(size() - count, value, count);
  }
  void Store(uint32_t offset, uint64_t value, uint32_t count) {
    for (uint32_t i = 0; i < count; ++i) bytes_[offset + i] = i < 8 ? static_cast<uint8_t>(value >> 8 * i) : uint8_t{0};
  }
  void CloseLengths() {
    for (const Field& field : lengths_) Store(field.offset, size() - field.offset - field.size, field.size);
    lengths_.clear();
  }
  void Join(Chunk other) {
    other.CloseLengths();
    const uint32_t shift = size();
    bytes_.insert(bytes_.end(), other.bytes_.begin(), other.bytes_.end());
    for (const Field& field : other.fields_) fields_.push_back({field.offset + shift, field.size});
    for (Patch& patch : other.patches_) {
      patch.offset += shift;
      patch.addend -= patch.relative ? shift : 0;
      patches_.push_back(patch);
    }
    for (const auto& [name, offset] : other.labels_) labels_[name] = offset + shift;
  }

  RawBytes bytes_;
  std::vector<Field> fields_;   // numbers, stored low byte first
  std::vector<Field> lengths_;  // numbers that hold the count of bytes after them
  std::vector<Patch> patches_;
  Labels labels_;
};

// The calls, for any builder that derives from it: each returns the builder.
template <class Self>
class ByteChain : public Chunk {
 public:
  Self& number(uint64_t value, uint32_t size) { return Add(value, size), self(); }
  Self& u8(uint64_t value) { return number(value, 1); }
  Self& u16(uint64_t value) { return number(value, 2); }
  Self& u32(uint64_t value) { return number(value, 4); }
  Self& u64(uint64_t value) { return number(value, 8); }
  Self& uleb(uint64_t value) {
    for (; value > 0x7F; value >>= 7) bytes_.push_back(static_cast<uint8_t>(value | 0x80));
    return u8(value);
  }
  Self& sleb(int64_t value) {
    for (; value > 0x3F || value < -0x40; value >>= 7) bytes_.push_back(static_cast<uint8_t>(value | 0x80));
    return u8(static_cast<uint64_t>(value & 0x7F));
  }
  Self& text(std::string_view characters) { return raw(RawBytes(characters.begin(), characters.end())).u8(0); }
  Self& raw(const RawBytes& bytes) { return bytes_.insert(bytes_.end(), bytes.begin(), bytes.end()), self(); }
  Self& pad(uint32_t count, uint8_t byte = 0) { return raw(RawBytes(count, byte)); }

  Self& label(const std::string& name) {
    if (!name.empty()) labels_[name] = size();
    return self();
  }

  // The label's offset in its section, plus `addend`; and the same less the start of this chunk.
  Self& ref(const std::string& name, uint32_t bytes = 4, uint32_t addend = 0) {
    patches_.push_back({size(), bytes, name, addend, false});
    return number(0, bytes);
  }
  Self& relativeRef(const std::string& name, uint32_t bytes = 4) {
    patches_.push_back({size(), bytes, name, 0, true});
    return number(0, bytes);
  }

  // A length field: counts the bytes after it up to the end of the chunk.
  Self& length(uint32_t bytes = 4) {
    lengths_.push_back({size(), bytes});
    return number(0, bytes);
  }

  template <class Other>
  Self& append(const Other& other) {
    return Join(other.finish()), self();
  }

 private:
  Self& self() { return static_cast<Self&>(*this); }
};

class Bytes : public ByteChain<Bytes> {};

// Chunks one after the other, as one section holds them.
template <class... Chunks>
Bytes Joined(const Chunks&... chunks) {
  Bytes all;
  (all.append(chunks), ...);
  return all;
}
