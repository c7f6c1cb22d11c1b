// Hostile sections in an otherwise sound file. ELFLOAD_FUZZ_TARGET names the row of the table.
#include <algorithm>
#include <cstddef>
#include <string_view>

#include "host_run.h"
#include "section_targets.h"
#include "sound_files.h"

namespace {

constexpr const SectionTarget& TargetOf(std::string_view name) {
  return *std::find_if(std::begin(sectionTargets), std::end(sectionTargets),
                       [name](const SectionTarget& target) { return target.name == name; });
}
constexpr SectionTarget target = TargetOf(ELFLOAD_FUZZ_TARGET);

SoundFormat FormatOf(uint8_t options) {
  if (target.file == FileOf::dwarf1 || (target.file == FileOf::byOption && (options & OPTION_DWARF1) != 0)) {
    return SoundFormat::dwarf1;
  }
  return target.file == FileOf::later || (options & OPTION_LATER) != 0 ? SoundFormat::later : SoundFormat::dwarf2;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < SECTION_INPUT_HEAD) {
    return 0;
  }
  const ByteOrder order = (data[0] & OPTION_LITTLE_ENDIAN) != 0 ? ByteOrder::little : ByteOrder::big;
  static const RawBytes files[3][2] = {
      {MakeSoundFile(SoundFormat::dwarf1, bothOrders[0]), MakeSoundFile(SoundFormat::dwarf1, bothOrders[1])},
      {MakeSoundFile(SoundFormat::dwarf2, bothOrders[0]), MakeSoundFile(SoundFormat::dwarf2, bothOrders[1])},
      {MakeSoundFile(SoundFormat::later, bothOrders[0]), MakeSoundFile(SoundFormat::later, bothOrders[1])}};
  RawBytes file = files[static_cast<int>(FormatOf(data[0]))][order == ByteOrder::big ? 1 : 0];
  size_t first = size - 1;
  const uint8_t* contents = data + 1;
  if (target.sections[1] != nullptr) {
    contents = data + SECTION_INPUT_HEAD;
    first = std::min(data[1] + size_t{256} * data[2], size - SECTION_INPUT_HEAD);
    file = WithSection(file, order, target.sections[1], contents + first, size - SECTION_INPUT_HEAD - first);
  }
  RunAsHost(WithSection(file, order, target.sections[0], contents, first));
  return 0;
}
