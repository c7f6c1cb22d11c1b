#include "text/call_frames.h"

#include <fmt/format.h>

#include <string_view>

namespace elfload {

namespace {

enum class Form : uint8_t {
  none,
  low,  // the step in the code's low bits
  step1,
  step2,
  step4,
  step8,              // a step as a number of that many bytes
  target,             // the next address itself
  lowRegister,        // the register in the code's low bits
  lowRegisterOffset,  // the same, and a factored offset
  reg,                // ULEB128 from here on
  regReg,             // "in" another register
  regOffset,
  regFactored,
  regFactoredSigned,
  regNegated,
  cfaOffset,
  cfaFactoredSigned,
  cfa,
  cfaSigned,
  size,
  block,
  regBlock,  // a register, then an expression
};

struct InstructionRow {
  std::string_view name;
  uint8_t code;
  Form form;
};

// Codes with a value in their low 6 bits.
constexpr InstructionRow shortInstructions[] = {
    {},  // by the high 2 bits
    {"DW_CFA_advance_loc", 0x40, Form::low},
    {"DW_CFA_offset", 0x80, Form::lowRegisterOffset},
    {"DW_CFA_restore", 0xC0, Form::lowRegister},
};

// What DWARF 2 publishes, and the instructions of later editions and vendors that compilers mix in.
constexpr InstructionRow instructionRows[] = {
    {"DW_CFA_nop", 0x00, Form::none},
    {"DW_CFA_set_loc", 0x01, Form::target},
    {"DW_CFA_advance_loc1", 0x02, Form::step1},
    {"DW_CFA_advance_loc2", 0x03, Form::step2},
    {"DW_CFA_advance_loc4", 0x04, Form::step4},
    {"DW_CFA_offset_extended", 0x05, Form::regFactored},
    {"DW_CFA_restore_extended", 0x06, Form::reg},
    {"DW_CFA_undefined", 0x07, Form::reg},
    {"DW_CFA_same_value", 0x08, Form::reg},
    {"DW_CFA_register", 0x09, Form::regReg},
    {"DW_CFA_remember_state", 0x0A, Form::none},
    {"DW_CFA_restore_state", 0x0B, Form::none},
    {"DW_CFA_def_cfa", 0x0C, Form::cfa},
    {"DW_CFA_def_cfa_register", 0x0D, Form::reg},
    {"DW_CFA_def_cfa_offset", 0x0E, Form::cfaOffset},
    // DWARF 3 and later
    {"DW_CFA_def_cfa_expression", 0x0F, Form::block},
    {"DW_CFA_expression", 0x10, Form::regBlock},
    {"DW_CFA_offset_extended_sf", 0x11, Form::regFactoredSigned},
    {"DW_CFA_def_cfa_sf", 0x12, Form::cfaSigned},
    {"DW_CFA_def_cfa_offset_sf", 0x13, Form::cfaFactoredSigned},
    {"DW_CFA_val_offset", 0x14, Form::regFactored},
    {"DW_CFA_val_offset_sf", 0x15, Form::regFactoredSigned},
    {"DW_CFA_val_expression", 0x16, Form::regBlock},
    // vendors
    {"DW_CFA_MIPS_advance_loc8", 0x1D, Form::step8},
    {"DW_CFA_GNU_window_save", 0x2D, Form::none},
    {"DW_CFA_GNU_args_size", 0x2E, Form::size},
    {"DW_CFA_GNU_negative_offset_extended", 0x2F, Form::regNegated},
};

const InstructionRow* FindInstruction(uint8_t code) {
  if (code >= 0x40) return &shortInstructions[code >> 6];
  for (const InstructionRow& row : instructionRows) {
    if (row.code == code) return &row;
  }
  return nullptr;
}

}  // namespace

class CallFrameDecoder {
 public:
  CallFrameDecoder(const uint8_t* bytes, uint32_t length, const Dwarf2Cie& cie, const ExpressionFormat& format,
                   CallFrames& result)
      : at_(bytes), end_(bytes + length), padding_(end_), cie_(cie), format_(format), result_(result) {
    while (padding_ > bytes && padding_[-1] == 0) padding_--;
  }

  void Run() {
    while (at_ < padding_) {
      const uint8_t code = *at_++;
      const InstructionRow* row = FindInstruction(code);
      if (row == nullptr) {
        Append(fmt::format("(0x{:02X}...)", code));
        break;
      }
      const std::string operands = Operands(row->form, code & 0x3F);
      if (isCut_) {
        hasMoved_ = false;
        Append(fmt::format("{} (cut short)", row->name));
        break;
      }
      Append(operands.empty() ? std::string(row->name) : fmt::format("{}: {}", row->name, operands));
    }
  }

 private:
  // A line begins where the address moves.
  void Append(const std::string& text) {
    if (result_.lines_.empty() || hasMoved_) {
      result_.lines_.push_back({result_.text_.size(), address_, hasMoved_ ? base_ : CallFrames::Base::none});
    } else {
      result_.text_ += "; ";
    }
    result_.text_ += text;
    hasMoved_ = false;
  }

  std::string Operands(Form form, uint8_t low) {
    switch (form) {
      case Form::none:
        return "";
      case Form::low:
        return Advance(low);
      case Form::step1:
        return Advance(Fixed(1));
      case Form::step2:
        return Advance(Fixed(2));
      case Form::step4:
        return Advance(Fixed(4));
      case Form::step8:
        return Advance(Fixed(8));
      case Form::target:
        address_ = static_cast<uint32_t>(Fixed(format_.addressSize));
        base_ = CallFrames::Base::absolute;
        hasMoved_ = true;
        return fmt::format("0x{:08X}", address_);
      case Form::lowRegister:
        return fmt::format("r{}", low);
      case Form::lowRegisterOffset:
        return fmt::format("r{} at cfa{:+}", low, Factored(Uleb()));
      case Form::size:
      case Form::cfaOffset:
        return fmt::format("{}", Uleb());
      case Form::cfaFactoredSigned:
        return fmt::format("{}", Factored(Sleb()));
      case Form::block:
        return Block();
      default:
        return WithRegister(form, Uleb());
    }
  }

  std::string WithRegister(Form form, uint64_t reg) {
    switch (form) {
      case Form::regReg:
        return fmt::format("r{} in r{}", reg, Uleb());
      case Form::regFactored:
        return fmt::format("r{} at cfa{:+}", reg, Factored(Uleb()));
      case Form::regFactoredSigned:
        return fmt::format("r{} at cfa{:+}", reg, Factored(Sleb()));
      case Form::regNegated:
        return fmt::format("r{} at cfa{:+}", reg, Factored(0 - Uleb()));
      case Form::cfa:
        return fmt::format("r{} ofs {}", reg, Uleb());
      case Form::cfaSigned:
        return fmt::format("r{} ofs {}", reg, Factored(Sleb()));
      case Form::regBlock:
        return fmt::format("r{} {}", reg, Block());
      default:
        return fmt::format("r{}", reg);
    }
  }

  std::string Advance(uint64_t steps) {
    const auto bytes = static_cast<uint32_t>(steps) * cie_.codeAlignment;
    address_ += bytes;
    hasMoved_ = true;
    return fmt::format("{}", bytes);
  }

  // Wraps as the target's words do.
  int32_t Factored(uint64_t offset) const {
    return static_cast<int32_t>(static_cast<uint32_t>(offset) * static_cast<uint32_t>(cie_.dataAlignment));
  }

  uint8_t Byte() {
    if (at_ == end_) {
      isCut_ = true;
      return 0;
    }
    return *at_++;
  }

  uint64_t Fixed(uint32_t size) {
    uint64_t value = 0;
    for (uint32_t i = 0; i < size; i++) {
      const uint64_t byte = Byte();
      value = format_.littleEndian ? value | (i < 8 ? byte << (8 * i) : 0) : (value << 8) | byte;
    }
    return value;
  }

  uint64_t Leb(bool isSigned) {
    uint64_t value = 0;
    unsigned shift = 0;
    uint8_t byte = 0;
    do {
      byte = Byte();
      if (shift < 64) value |= static_cast<uint64_t>(byte & 0x7F) << shift;
      shift += 7;
    } while ((byte & 0x80) != 0);
    if (isSigned && shift < 64 && (byte & 0x40) != 0) value |= ~uint64_t{0} << shift;
    return value;
  }
  uint64_t Uleb() { return Leb(false); }
  uint64_t Sleb() { return Leb(true); }

  std::string Block() {
    const uint64_t length = Uleb();
    if (length > static_cast<uint64_t>(end_ - at_)) {
      isCut_ = true;
      return "";
    }
    std::vector<uint8_t> expression(at_, at_ + length);
    expression.resize(expression.size() + EXPRESSION_PADDING);
    at_ += length;
    return fmt::format("({})", format_.published
                                   ? ExpressionText(expression.data(), static_cast<size_t>(length), format_)
                                   : ExpressionText(expression.data(), format_));
  }

  const uint8_t* at_;
  const uint8_t* end_;
  const uint8_t* padding_;  // zeros from here on: where an instruction is due they are DW_CFA_nop
  const Dwarf2Cie& cie_;
  uint32_t address_ = 0;
  CallFrames::Base base_ = CallFrames::Base::start;
  const ExpressionFormat& format_;
  CallFrames& result_;
  bool hasMoved_ = false;
  bool isCut_ = false;
};

CallFrames::CallFrames(const uint8_t* instructions, uint32_t length, const Dwarf2Cie& cie,
                       const ExpressionFormat& format) {
  if (instructions != nullptr) CallFrameDecoder(instructions, length, cie, format, *this).Run();
}

std::string CallFrames::Prefix(const Line& line, uint32_t start) {
  if (line.base == Base::none) return "";
  return fmt::format("0x{:08X}  ", line.base == Base::start ? start + line.address : line.address);
}

}  // namespace elfload
