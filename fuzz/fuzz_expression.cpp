// Location expressions as a record has them: hostile bytes and the padding, and not a byte more. The input's first byte
// is the format: byte order, DWARF 1, address size.
#include <cstring>
#include <memory>

#include "records/debug_records.h"
#include "session/expression.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) {
    return 0;
  }
  const elfload::ExpressionFormat format = {.dwarf1 = (data[0] & 2) != 0,
                                            .addressSize = static_cast<uint8_t>(data[0] >> 2),
                                            .littleEndian = data[0] % 2 != 0};
  elfload::ExpressionFormat published = format;
  published.published = true;
  const auto expression = std::make_unique<uint8_t[]>(size - 1 + EXPRESSION_PADDING);
  std::memcpy(expression.get(), data + 1, size - 1);
  if (elfload::ExpressionLength(expression.get(), format) > size - 1 + EXPRESSION_PADDING) {
    std::abort();
  }
  elfload::ExpressionText(expression.get(), format);
  elfload::ExpressionText(expression.get(), size - 1, published);
  uint32_t value = 0;
  elfload::ConstantOffset(expression.get(), format, value);
  elfload::StaticAddress(expression.get(), format, value);
  return 0;
}
