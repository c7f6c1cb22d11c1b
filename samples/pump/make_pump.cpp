// Writes pump.elf: the firmware of a dosing pump as a compiler of the DWARF 1 days would have linked it, for a
// big-endian 68000. The program's code is filler; its debug information is what matters.
//
//   make_pump samples/pump/pump.elf
#include <fstream>
#include <iostream>

#include "support/dwarf1_builder.h"

namespace {

constexpr uint32_t CODE = 0x1000;  // address of the code; the data follows at DATA
constexpr uint32_t DATA = 0x20000;
constexpr uint8_t FRAME = 14;     // a6
constexpr uint32_t UNIT_END = 6;  // bytes of the null entry that ends a unit
constexpr uint32_t ROW = 6;       // bytes of code for a line

// What the units have left in the other sections.
struct Program {
  uint32_t nextAddress = CODE;
  uint32_t nextData = DATA;
  Bytes debug, lines, names, ranges;
};

Dwarf1Attr OnFrame(int32_t offset) {
  return at::location(Bytes().u8(OP_BASEREG).u32(FRAME).u8(OP_CONST).u32(static_cast<uint32_t>(offset)).u8(OP_ADD));
}
Dwarf1Attr InRegister(uint32_t number) {
  return at::location(Bytes().u8(OP_REG).u32(number));
}
Dwarf1Attr InMember(uint32_t offset) {
  return at::location(Bytes().u8(OP_CONST).u32(offset).u8(OP_ADD));
}
Dwarf1Attr Bits(uint32_t offset) {
  return at::data2(AT_bit_offset, offset);
}
Dwarf1Attr BitSize(uint32_t size) {
  return at::data4(AT_bit_size, size);
}

// A unit in the making: entries, line rows, and the names and addresses for the indexes.
class Source : public Dwarf1Entries {
 public:
  Source(Program* program, std::string file, uint32_t language, std::string producer)
      : program_(program), file_(std::move(file)), language_(language), producer_(std::move(producer)) {}

  // The addresses of the next `lineCount` lines.
  Dwarf1Attr low(uint32_t lineCount) {
    address_ = program_->nextAddress;
    for (uint32_t i = 0; i < lineCount; ++i) {
      // Every seventh line has two statements, the second with a position of its own.
      const auto offset = static_cast<uint32_t>(program_->nextAddress - start_);
      rows_.push_back({line_, offset});
      if (line_ % 7 == 0) {
        rows_.push_back({line_, offset + 2, static_cast<uint16_t>(line_ % 60)});
      }
      ++line_;
      program_->nextAddress += ROW;
    }
    line_ += 3;
    return at::lowPc(address_);
  }
  Dwarf1Attr high() const { return at::highPc(program_->nextAddress); }
  uint32_t address() const { return address_; }

  // A procedure, open for its children.
  Source& proc(uint32_t tag, const std::string& name, uint32_t lineCount, Dwarf1Attrs attrs) {
    attrs.insert(attrs.begin(), at::name(name));
    attrs.push_back(low(lineCount));
    attrs.push_back(high());
    publish(tag == TAG_global_subroutine, name);
    parent(tag, attrs);
    return *this;
  }
  Source& global(const std::string& name, uint32_t size, const Dwarf1Attr& type, bool isPublic = true) {
    publish(isPublic, name);
    entry(isPublic ? TAG_global_variable : TAG_local_variable, {at::name(name), type, at::address(program_->nextData)});
    program_->nextData += size;
    return *this;
  }
  Source& member(const std::string& name, uint32_t offset, const Dwarf1Attr& type, const Dwarf1Attrs& more = {}) {
    Dwarf1Attrs attrs = {at::name(name), at::data4(AT_member, 0), type, InMember(offset)};
    attrs.insert(attrs.end(), more.begin(), more.end());
    entry(TAG_member, attrs);
    return *this;
  }
  // Types have a label for the source that declares them.
  Source& type(const std::string& name) { return label(file_ + name), *this; }
  Dwarf1Attr user(const std::string& name) const { return at::userType(file_ + name); }
  Dwarf1Attr user(const RawBytes& modifiers, const std::string& name) const {
    return at::modUserType(modifiers, file_ + name);
  }

  // Ends the unit and adds it to the program.
  void close(const Dwarf1Attrs& more = {}) {
    const std::string unitLabel = "unit " + std::to_string(start_);
    Dwarf1Attrs attrs = {at::text(AT_producer, producer_),
                         at::data4(AT_language, language_),
                         at::name(file_),
                         at::text(AT_comp_dir, "/work3/pump"),
                         at::lowPc(start_),
                         at::highPc(program_->nextAddress),
                         at::stmtList(unitLabel + " lines")};
    attrs.insert(attrs.end(), more.begin(), more.end());
    program_->debug.append(Dwarf1Unit(attrs, unitLabel).append(*this).end(UNIT_END));
    rows_.push_back({0, program_->nextAddress - start_});
    program_->lines.append(LineTable(unitLabel + " lines", start_, rows_));
    program_->names.append(NameSet(unitLabel, names_));
    program_->ranges.append(RangeSet(unitLabel, {{start_, program_->nextAddress - start_}}));
  }

 private:
  void publish(bool isPublic, const std::string& name) {
    if (isPublic) {
      names_.push_back(name);
    }
  }
  Program* program_;
  std::string file_;
  uint32_t language_;
  std::string producer_;
  uint32_t start_ = program_->nextAddress;
  uint32_t address_ = 0;
  uint32_t line_ = 12;
  std::vector<LineRow> rows_;
  std::vector<std::string> names_;
};

const char* const COMPILER = "MCC 2.4 -g -O";

// Reset code: labels alone, and code without a procedure.
void StartUnit(Program* program) {
  Source unit(program, "start.s", 0x41, "MAS 2.1");
  for (const char* name : {"_start", "clear_bss", "halt"}) {
    const Dwarf1Attr low = unit.low(8);
    unit.entry(TAG_label, {at::name(name), low});
  }
  unit.close();
}

// The types that several units of C declare, each for itself.
void CommonTypes(Source* unit) {
  unit->entry(TAG_typedef, {at::name("int"), at::fundType(FT_integer), at::byteSize(4)});
  unit->type("BYTE").entry(TAG_typedef, {at::name("BYTE"), at::fundType(FT_unsigned_char)});
  unit->type("state").entry(TAG_enumeration_type,
                            {at::name("state"), at::data2(AT_byte_size, 2),
                             at::elements({{-1, "FAULT"}, {0, "IDLE"}, {1, "RUN"}, {7, "PURGE"}})});
  unit->type("status").parent(TAG_structure_type, {at::name("status"), at::byteSize(6)});
  unit->member("ready", 0, at::fundType(FT_unsigned_short), {Bits(0), BitSize(1)});
  unit->member("channel", 0, at::fundType(FT_unsigned_short), {Bits(1), BitSize(4)});
  unit->member("level", 2, at::fundType(FT_signed_short));
  unit->member("mode", 4, unit->user("state"));
  unit->end();
}

void MainUnit(Program* program) {
  Source unit(program, "src/main.c", 1, COMPILER);
  CommonTypes(&unit);
  unit.global("pump_status", 6, unit.user("status"))
      .global("ticks", 4, at::modFundType({MOD_volatile}, FT_unsigned_long));
  unit.global("banner", 4, at::modFundType({MOD_pointer_to, MOD_const}, FT_char), false);
  unit.proc(TAG_global_subroutine, "main", 40, {at::fundType(FT_integer), at::text(AT_prototyped, "")})
      .entry(TAG_formal_parameter, {at::name("argc"), at::fundType(FT_integer), OnFrame(8)})
      .entry(TAG_formal_parameter,
             {at::name("argv"), at::modFundType({MOD_pointer_to, MOD_pointer_to}, FT_char), OnFrame(12)})
      .entry(TAG_local_variable, {at::name("now"), unit.user("status"), OnFrame(-6)})
      .parent(TAG_lexical_block, {at::lowPc(unit.address() + 24), at::highPc(unit.address() + 120)})
      .entry(TAG_local_variable, {at::name("i"), at::fundType(FT_short), InRegister(3)})
      .parent(TAG_lexical_block, {at::lowPc(unit.address() + 48), at::highPc(unit.address() + 96)})
      .entry(TAG_local_variable, {at::name("sum"), at::fundType(FT_long), InRegister(4)})
      .entry(TAG_label, {at::name("again"), at::lowPc(unit.address() + 60)})
      .end()
      .entry(TAG_local_variable, {at::name("error"), unit.user("state"), InRegister(5)})
      .end()
      .end();
  unit.proc(TAG_subroutine, "report", 16, {at::text(AT_prototyped, "")})
      .entry(TAG_formal_parameter,
             {at::name("format"), at::modFundType({MOD_pointer_to, MOD_const}, FT_char), OnFrame(8)})
      .entry(TAG_unspecified_parameters)
      .end();
  const Dwarf1Attr low = unit.low(4);
  unit.entry(TAG_label, {at::name("fatal"), low, unit.high()});
  unit.close();
}

// The compiler gave functions of main.c that lie in sections of their own a unit each; they end up as one module.
void MainUnitsBehind(Program* program) {
  Source boot(program, "src/main.c", 1, COMPILER);
  boot.proc(TAG_global_subroutine, "boot", 24, {boot.user({MOD_pointer_to}, "boot record")})
      .entry(TAG_local_variable, {at::name("record"), boot.user({MOD_pointer_to}, "boot record"), InRegister(10)})
      .end();
  boot.type("boot record").parent(TAG_structure_type, {at::name("boot_record"), at::byteSize(12)});
  boot.member("magic", 0, at::fundType(FT_unsigned_long)).member("next", 4, boot.user({MOD_pointer_to}, "boot record"));
  boot.member("entry", 8, boot.user({MOD_pointer_to}, "boot entry"));
  boot.end();
  boot.type("boot entry")
      .parent(TAG_subroutine_type, {at::name(""), at::fundType(FT_void), at::text(AT_prototyped, "")});
  boot.entry(TAG_formal_parameter, {at::fundType(FT_pointer)}).end();
  boot.close();

  Source watchdog(program, "src/main.c", 1, COMPILER);
  watchdog.proc(TAG_subroutine, "watchdog", 12, {})
      .entry(TAG_local_variable, {at::name("last"), watchdog.user("status"), OnFrame(-8)})
      .end();
  // The last status as the interrupt saw it, through a pointer and a short pointer.
  watchdog.entry(TAG_local_variable, {at::name("seen"), watchdog.user("status"),
                                      at::location(Bytes().u8(OP_ADDR).u32(DATA).u8(OP_DEREF4))});
  watchdog.entry(TAG_local_variable, {at::name("near"), watchdog.user("boot record"),
                                      at::location(Bytes().u8(OP_ADDR).u32(DATA).u8(OP_DEREF2))});
  watchdog.close();
}

// Arrays and a table of more than 1024 rows, which a generator wrote.
void MotorUnit(Program* program) {
  Source unit(program, "src/motor.c", 2, COMPILER);
  CommonTypes(&unit);
  unit.type("ramp").entry(TAG_array_type,
                          {at::data2(AT_ordering, 0), Subscripts({{0, 3}, {0, 15}}, at::fundType(FT_signed_short))});
  unit.type("phases").entry(TAG_array_type, {at::data2(AT_stride_size, 16), at::byteSize(8),
                                             Subscripts({{0, 3}}, at::fundType(FT_unsigned_short))});
  unit.type("motors").entry(TAG_array_type, {Subscripts({{1, 2}}, unit.user("motor"))});
  unit.type("motor").parent(TAG_structure_type, {at::name("motor"), at::byteSize(20)});
  unit.member("position", 0, at::fundType(FT_long)).member("phases", 4, unit.user("phases"));
  unit.member("value", 12, unit.user("value")).member("on_step", 16, unit.user({MOD_pointer_to}, "handler"));
  unit.end();
  unit.type("value").parent(TAG_union_type, {at::name("value"), at::byteSize(4)});
  unit.member("f", 0, at::fundType(FT_float))
      .member("raw", 0, at::fundType(FT_unsigned_long))
      .member("bytes", 0, unit.user("four"));
  unit.end();
  unit.type("four").entry(TAG_array_type, {Subscripts({{0, 3}}, unit.user("BYTE"))});
  unit.type("handler").parent(TAG_subroutine_type,
                              {at::name("handler"), at::fundType(FT_integer), at::text(AT_prototyped, "")});
  unit.entry(TAG_formal_parameter, {unit.user({MOD_pointer_to}, "motor")}).entry(TAG_unspecified_parameters).end();
  unit.global("ramp", 128, unit.user("ramp")).global("motors", 40, unit.user("motors"));
  unit.global("scale", 8, at::fundType(FT_dbl_prec_float)).global("wide", 16, at::fundType(FT_ext_prec_float), false);
  unit.proc(TAG_global_subroutine, "motor_step", 1300, {at::fundType(FT_integer)})
      .entry(TAG_formal_parameter, {at::name("which"), unit.user({MOD_pointer_to}, "motor"), OnFrame(8)})
      .entry(TAG_local_variable, {at::name("delta"), at::fundType(FT_long), InRegister(2)})
      .end();
  unit.proc(TAG_subroutine, "motor_stop", 10, {}).end();
  unit.u32(14).u16(TAG_padding).pad(8);
  unit.proc(TAG_subroutine, "motor_home", 900, {unit.user("state")}).end();
  unit.close();
}

// C++: classes with member functions, and entries that leave no record.
void QueueUnit(Program* program) {
  Source unit(program, "src/queue.cc", 4, COMPILER);
  unit.type("Queue").parent(TAG_class_type, {at::name("Queue"), at::byteSize(16)});
  unit.entry(0x1C, {unit.user("Base")});  // TAG_inheritance
  unit.member("head", 4, unit.user({MOD_pointer_to}, "Node")).member("count", 8, at::fundType(FT_unsigned_integer));
  unit.proc(TAG_global_subroutine, "Queue::push", 18, {at::fundType(FT_boolean)})
      .entry(TAG_formal_parameter, {at::name("this"), unit.user({MOD_pointer_to, MOD_const}, "Queue"), OnFrame(8)})
      .entry(TAG_formal_parameter, {at::name("item"), unit.user({MOD_reference_to}, "Node"), OnFrame(12)})
      .end();
  unit.type("Node").parent(TAG_class_type, {at::name("Queue::Node"), at::byteSize(8)});
  unit.member("next", 0, unit.user({MOD_pointer_to}, "Node")).member("data", 4, at::fundType(FT_pointer));
  unit.end().end();
  unit.type("Base").parent(TAG_class_type, {at::name("Base"), at::byteSize(4)});
  unit.member("vptr", 0, unit.user({MOD_pointer_to}, "vtable")).end();
  unit.type("vtable").entry(TAG_array_type, {Subscripts({{0, 3}}, at::modFundType({MOD_pointer_to}, FT_void))});
  unit.global("jobs", 16, unit.user("Queue"));
  unit.proc(TAG_global_subroutine, "drain", 30, {at::fundType(FT_void)})
      .parent(TAG_string_type, {at::byteSize(8)})
      .entry(TAG_structure_type, {at::name("inside a skipped entry"), at::data8(AT_byte_size, 2, 0)})
      .end()
      .entry(TAG_local_variable, {at::name("it"), unit.user({MOD_pointer_to}, "Node"), InRegister(11)})
      .end();
  unit.close({at::text(0x260, "queue.h")});
}

// Modula-2: every subscript format, index types, complex numbers.
void RecipeUnit(Program* program) {
  Source unit(program, "recipe.mod", 10, COMPILER);
  unit.type("colour").entry(TAG_enumeration_type, {at::name("Colour"), at::data2(AT_byte_size, 1),
                                                   at::elements({{0, "red"}, {1, "green"}, {2, "blue"}})});
  const std::string colour = "recipe.modcolour";
  const auto bound = [](uint32_t value) { return Bytes().u32(value); };
  const Bytes expression = Bytes().u16(6).u8(OP_ADDR).u32(DATA).u8(OP_DEREF4);
  Bytes items;
  items.u8(FMT_FT_C_C).u16(FT_integer).append(bound(1)).append(bound(8));
  items.u8(FMT_FT_C_X).u16(FT_integer).append(bound(1)).append(expression);
  items.u8(FMT_FT_X_C).u16(FT_integer).append(expression).append(bound(9));
  items.u8(FMT_FT_X_X).u16(FT_integer).append(expression).append(expression);
  items.u8(FMT_UT_C_C).ref(colour).append(bound(0)).append(bound(2));
  items.u8(FMT_UT_C_X).ref(colour).append(bound(0)).append(expression);
  items.u8(FMT_UT_X_C).ref(colour).append(expression).append(bound(2));
  items.u8(FMT_UT_X_X).ref(colour).append(expression).append(expression);
  const Dwarf1Attr element = at::modFundType({MOD_pointer_to}, FT_complex);
  unit.type("table").entry(TAG_array_type, {at::subscripts(items.u8(FMT_ET).u16(element.code).append(element.value))});
  unit.global("table", 256, unit.user("table")).global("phase", 16, at::fundType(FT_dbl_prec_complex));
  unit.global("wave", 32, at::data4(AT_fund_type, FT_ext_prec_complex)).global("here", 0, at::fundType(FT_label));
  unit.proc(TAG_global_subroutine, "Recipe_Run", 22, {at::fundType(FT_boolean)}).end();
  unit.entry(TAG_entry_point, {at::name("Recipe_Resume"), at::lowPc(unit.address() + 12)});
  unit.close();
}

// A compiler that numbers bits from the low end.
void PanelUnit(Program* program) {
  Source unit(program, "src/panel.c", 1, "QUILLFORGE");
  CommonTypes(&unit);
  unit.global("leds", 6, unit.user("status")).global("shown", 2, unit.user("state"));
  unit.proc(TAG_global_subroutine, "panel_show", 26, {})
      .entry(TAG_formal_parameter,
             {at::name("what"), unit.user({MOD_pointer_to, MOD_const, MOD_volatile}, "status"), OnFrame(8)})
      .end();
  unit.close();
}

RawBytes Pump() {
  Program program;
  StartUnit(&program);
  MainUnit(&program);
  MainUnitsBehind(&program);
  MotorUnit(&program);
  QueueUnit(&program);
  RecipeUnit(&program);
  PanelUnit(&program);

  Bytes code;
  while (code.size() < program.nextAddress - CODE) {
    code.u16(0x4E71);  // nop
  }
  ElfFile file(ByteOrder::big);
  file.machine(EM_68K).entry(CODE);
  file.segment(PT_LOAD, CODE, code).segment(PT_LOAD, DATA, Bytes().pad(program.nextData - DATA));
  file.set(&ElfProgramHeader::p_flags, PF_R | PF_W);
  // The section names the bytes of the first segment, behind the headers.
  constexpr uint32_t SHF_ALLOC_EXECINSTR = 6;
  file.section(".text", Bytes()).set(&ElfSectionHeader::sh_flags, SHF_ALLOC_EXECINSTR);
  file.set(&ElfSectionHeader::sh_addr, CODE).set(&ElfSectionHeader::sh_offset, 52 + 2 * 32);
  file.set(&ElfSectionHeader::sh_size, code.size());
  file.section(".debug", program.debug).section(".line", program.lines);
  file.section(".debug_pubnames", program.names).section(".debug_aranges", program.ranges);
  return file.build();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: make_pump FILE\n";
    return 2;
  }
  const RawBytes bytes = Pump();
  std::ofstream file(argv[1], std::ios::binary);
  file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  return file.flush() ? 0 : 1;
}
