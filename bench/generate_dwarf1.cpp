// DWARF 1 files that grow in one direction, for the checks of growth: no compiler writes them any more.
//
// elfload_generate_dwarf1 SHAPE COUNT FILE writes one of these shapes:
// - units: so many units of 5 groups of entries each, with line tables and indexes
// - groups: one unit with so many groups
// - merged: so many units of one source that use each other's types
// - megabytes: units of 200 groups, until `.debug` has that size
//
// A group is a structure with three members, a variable, and a procedure with a parameter and two locals. The count of
// units and entries goes to standard output.
#include <charconv>
#include <cstdio>
#include <fstream>
#include <string>
#include <string_view>

#include "support/dwarf1_builder.h"

namespace {

constexpr uint32_t FIRST_ADDRESS = 0x10000;
constexpr uint32_t GROUP_BYTES = 0x40;  // of code
constexpr uint32_t GROUP_ENTRIES = 9;
constexpr uint32_t ROWS_OF_GROUP = 8;

struct Shape {
  uint32_t units;
  uint32_t groups;  // of a unit
  bool isMerged;
  uint64_t enough;  // bytes of `.debug` that end the file early
};

// Sections that grow unit by unit. References are resolved at once: a large file has too many labels to keep them.
class Program {
 public:
  void AddUnit(uint32_t number, const Shape& shape) {
    const std::string n = shape.isMerged ? "" : std::to_string(number);
    const uint32_t low = FIRST_ADDRESS + number * shape.groups * GROUP_BYTES;
    Dwarf1Entries unit = Dwarf1Unit({at::name("unit" + n + ".c"), at::data4(AT_language, 1), at::lowPc(low),
                                     at::highPc(low + shape.groups * GROUP_BYTES), at::stmtList("lines")},
                                    "unit");
    for (uint32_t i = 0; i < shape.groups; ++i) {
      AddGroup(&unit, i, number * shape.groups + i, shape.isMerged && number > 0);
    }
    std::vector<LineRow> rows;
    for (uint32_t i = 0; i <= shape.groups * ROWS_OF_GROUP; ++i) {
      rows.push_back({i + 1, i * GROUP_BYTES / ROWS_OF_GROUP});
    }
    const Chunk entries = unit.finish();
    Labels labels;
    for (const auto& [name, offset] : entries.labels()) {
      labels[name] = offset + static_cast<uint32_t>(debug.size());
    }
    labels["lines"] = static_cast<uint32_t>(lines.size());
    labels["first structure"] = firstStructure_ = number == 0 ? labels["structure0"] : firstStructure_;
    Append(&debug, entries, labels);
    Append(&lines, LineTable("lines", low, rows), labels);
    Append(&names, NameSet("unit", {"variable" + std::to_string(number * shape.groups)}), labels);
    Append(&ranges, RangeSet("unit", {{low, shape.groups * GROUP_BYTES}}), labels);
  }

  RawBytes debug, lines, names, ranges;

 private:
  void AddGroup(Dwarf1Entries* unit, uint32_t inUnit, uint32_t inFile, bool usesFirstUnit) {
    const std::string label = "structure" + std::to_string(inUnit);
    const std::string n = std::to_string(inFile);
    const std::string user = usesFirstUnit && inUnit % 2 == 0 ? "first structure" : label;
    const auto variable = [&] {
      unit->entry(TAG_global_variable,
                  {at::name("variable" + n), at::userType(user), at::address(0x2000000 + 8 * inFile)});
    };
    if (inFile % 2 == 0) {  // every other variable comes before its structure
      variable();
    }
    unit->label(label).parent(TAG_structure_type, {at::name("structure" + n), at::byteSize(12)});
    for (const char* member : {"value", "count", "next"}) {
      const bool isPointer = member[0] == 'n';
      unit->entry(TAG_member,
                  {at::name(member), isPointer ? at::modUserType({MOD_pointer_to}, label) : at::fundType(FT_long),
                   at::location(Bytes().u8(OP_CONST).u32(4).u8(OP_ADD))});
    }
    unit->end();
    if (inFile % 2 != 0) {
      variable();
    }
    const uint32_t low = FIRST_ADDRESS + inFile * GROUP_BYTES;
    unit->parent(TAG_global_subroutine,
                 {at::name("procedure" + n), at::fundType(FT_integer), at::lowPc(low), at::highPc(low + GROUP_BYTES)});
    for (const char* variableName : {"list", "index", "result"}) {
      const bool isParameter = variableName[0] == 'l';
      unit->entry(
          isParameter ? TAG_formal_parameter : TAG_local_variable,
          {at::name(variableName), isParameter ? at::modUserType({MOD_pointer_to}, user) : at::fundType(FT_integer),
           at::location(Bytes().u8(OP_BASEREG).u32(14).u8(OP_CONST).u32(8).u8(OP_ADD))});
    }
    unit->end();
  }

  static void Append(RawBytes* section, const Chunk& chunk, const Labels& labels) {
    const RawBytes bytes = chunk.In(ByteOrder::big, labels);
    section->insert(section->end(), bytes.begin(), bytes.end());
  }
  uint32_t firstStructure_ = 0;
};

bool Write(const char* path, const Shape& shape) {
  Program program;
  uint32_t units = 0;
  while (units < shape.units && program.debug.size() < shape.enough) {
    program.AddUnit(units++, shape);
  }
  const ElfFile file = ElfFile(ByteOrder::big)
                           .segment(PT_LOAD, FIRST_ADDRESS, Bytes().u32(0))
                           .section(".debug", Bytes().raw(program.debug))
                           .section(".line", Bytes().raw(program.lines))
                           .section(".debug_pubnames", Bytes().raw(program.names))
                           .section(".debug_aranges", Bytes().raw(program.ranges));
  const RawBytes bytes = file.build();
  std::ofstream out(path, std::ios::binary);
  out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  std::printf("units %u entries %u debug %zu\n", units, units * (1 + shape.groups * GROUP_ENTRIES),
              program.debug.size());
  return static_cast<bool>(out.flush());
}

}  // namespace

int main(int argc, char** argv) {
  const std::string_view name = argc == 4 ? argv[1] : "";
  const std::string_view number = argc == 4 ? argv[2] : "";
  uint32_t count = 0;
  const auto [stop, error] = std::from_chars(number.data(), number.data() + number.size(), count);
  constexpr uint64_t NEVER = ~uint64_t{0};
  Shape shape = {0, 0, false, NEVER};
  if (name == "units") {
    shape = {count, 5, false, NEVER};
  } else if (name == "groups") {
    shape = {1, count, false, NEVER};
  } else if (name == "merged") {
    shape = {count, 50, true, NEVER};
  } else if (name == "megabytes") {
    shape = {0xFFFFFF, 200, false, uint64_t{count} << 20};
  }
  if (shape.units == 0 || error != std::errc() || count == 0) {
    std::fprintf(stderr, "usage: elfload_generate_dwarf1 units|groups|merged|megabytes COUNT FILE\n");
    return 2;
  }
  if (!Write(argv[3], shape)) {
    std::fprintf(stderr, "elfload_generate_dwarf1: %s cannot be written\n", argv[3]);
    return 1;
  }
  return 0;
}
