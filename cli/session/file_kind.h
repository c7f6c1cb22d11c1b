// What a file is that the loader does not read, or reads to no use, in words for its user: what it is, and what to do.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace elfload {

// The bytes of a file's beginning that KindByContent looks at.
constexpr size_t KIND_BYTES = 512;

// The kind of a file by its first bytes: "a 64-bit ELF file; only ...". Empty for a 32-bit ELF file
// that a loader may read.
std::string KindByContent(std::string_view start);

// The kind of something that is no regular file: "a pipe; copy it to a file first". Empty for a regular file, and for
// what is not there.
std::string KindOfPlace(const std::string& path);

// Types of ELF files that say more than the loader does.
enum class ElfType : uint16_t { none = 0, object = 1, program = 2, sharedLibrary = 3, core = 4 };

// The type of a 32-bit ELF file by its first bytes; `none` for any other file and for a type that is not listed.
ElfType TypeByContent(std::string_view start);

// What a file of this type is, and what to do; empty for a program and for `none`.
std::string TypeText(ElfType type);

}  // namespace elfload
