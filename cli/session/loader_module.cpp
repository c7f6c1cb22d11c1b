#include "session/loader_module.h"

#include <fmt/format.h>

#include <unordered_map>
#include <vector>

#include "elf/elf_image.h"
#include "loader/elf_loader.h"
#include "loader/exports.h"
#include "loader/loader_failure.h"
#include "loader/loader_unit.h"
#include "terminal/platform.h"
#include "terminal/utf8.h"

// The class of the component lives in the module, so its type information is not there to be checked against.
#if defined(__GNUC__)
#define ELFLOAD_NO_TYPE_CHECK __attribute__((no_sanitize("vptr")))
#else
#define ELFLOAD_NO_TYPE_CHECK
#endif

namespace elfload {

namespace {

// Where the module is when the user does not say: beside the program, then in the library folder of the package.
std::vector<std::string> ModulePaths(const std::string& path) {
  if (!path.empty()) return {path};
  const std::string folder = ProgramFolder();
  const std::string name = ModuleFileName("elfloader");
  return {folder + name, folder + ELFLOAD_MODULE_FOLDER + name};
}

void* OpenFirstModule(const std::string& path, std::string& error) {
  for (const std::string& candidate : ModulePaths(path)) {
    std::string reason;
    // A name without a folder would be looked for among the system's libraries.
    void* module =
        OpenModule(candidate.find_first_of("/\\") == std::string::npos ? "./" + candidate : candidate, reason);
    if (module != nullptr) return module;
    error += fmt::format("{}cannot load {}: {}", error.empty() ? "" : "\n", candidate, reason);
  }
  return nullptr;
}

}  // namespace

std::unique_ptr<ObjFileLoader> LoadComponent(const std::string& path, std::string& error) {
  void* module = OpenFirstModule(path, error);
  if (module == nullptr) return nullptr;
  error.clear();

  const auto getVersions = reinterpret_cast<decltype(&GetCompVersions)>(ModuleSymbol(module, "GetCompVersions"));
  const auto getComponent = reinterpret_cast<decltype(&GetComponent)>(ModuleSymbol(module, "GetComponent"));
  if (getVersions == nullptr || getComponent == nullptr) {
    error = "the module exports no component";
    return nullptr;
  }
  uint32_t version = 0;
  const unsigned long interfaceVersion = getVersions(&version);
  if (interfaceVersion != COMPONENT_INTERFACE_VERSION) {
    error = fmt::format("the module was built for interface 0x{:X}, not 0x{:X}", interfaceVersion,
                        COMPONENT_INTERFACE_VERSION);
    return nullptr;
  }
  std::unique_ptr<Component> component(getComponent());
  if (component == nullptr || component->Type() != ELF_LOADER_TYPE) {
    error = "the module has no loader of object files";
    return nullptr;
  }
  return std::unique_ptr<ObjFileLoader>(static_cast<ObjFileLoader*>(component.release()));
}

ELFLOAD_NO_TYPE_CHECK LoaderState ReadState(const ObjFileLoader& loader) {
  const auto& elfLoader = static_cast<const ElfLoader&>(loader);
  LoaderState state;
  state.debugFormat = elfLoader.debugFormat;
  state.errorReported = elfLoader.errorReported != 0;
  const ElfImage* image = elfLoader.image;
  if (image == nullptr) return state;
  state.hasImage = true;
  state.hasProgramHeaders = image->programHeaders != nullptr;
  state.littleEndian = image->littleEndian != 0;
  state.machine = image->e_machine;
  state.noteValue = image->noteValue;
  state.noteText = image->noteText;
  return state;
}

std::optional<FailureReason> ReadFailure(ObjFileLoader& loader) {
  LoaderFailure failure;
  Argument argument = {nullptr, sizeof(failure), reinterpret_cast<char*>(&failure)};
  if (loader.Execute(REQUEST_LAST_FAILURE, &argument) != 1) return std::nullopt;
  FailureReason reason = {failure.text, failure.unit, failure.section, std::nullopt};
  if (failure.offset != LOADER_FAILURE_NO_OFFSET) reason.offset = failure.offset;
  return reason;
}

std::string FailureText(const FailureReason& reason) {
  std::string place = reason.unit.empty() ? "" : fmt::format("unit {}, ", Printable(reason.unit));
  if (reason.offset.has_value()) {
    place += fmt::format("{}+0x{:x}: ", reason.section.empty() ? "file" : Printable(reason.section), *reason.offset);
  } else if (!reason.section.empty()) {
    place += Printable(reason.section) + ": ";
  }
  return place + Printable(reason.text);
}

UnitSummary ReadUnits(ObjFileLoader& loader, const DescModule* modules) {
  UnitSummary summary;
  std::unordered_map<std::string, size_t> places;
  LoaderUnit unit = {};
  unit.anyModule = modules;
  Argument argument = {nullptr, sizeof(unit), reinterpret_cast<char*>(&unit)};
  for (; loader.Execute(REQUEST_UNIT, &argument) == 1; unit.number++) {
    UnitSummary::Counts& counts = summary.versions[unit.version];
    if (unit.kind == UNIT_PARTIAL || unit.kind == UNIT_TYPE) {
      (unit.kind == UNIT_TYPE ? counts.typeUnits : counts.partialUnits)++;
      continue;  // compilers write the producer into the units that go with these
    }
    counts.units++;
    const auto [place, isNew] = places.try_emplace(unit.producer, summary.producers.size());
    if (isNew) summary.producers.emplace_back(unit.producer, 0);
    summary.producers[place->second].second++;
  }
  return summary;
}

ELFLOAD_NO_TYPE_CHECK std::vector<ElfSegment> ReadSegments(const ObjFileLoader& loader) {
  const ElfImage* image = static_cast<const ElfLoader&>(loader).image;
  std::vector<ElfSegment> segments;
  for (uint32_t i = 0; image != nullptr && image->programHeaders != nullptr && i < image->e_phnum; i++) {
    const ElfProgramHeader& header = image->programHeaders[i];
    segments.push_back({header.p_type, header.p_offset, header.p_vaddr, header.p_paddr, header.p_filesz, header.p_memsz,
                        header.p_flags, header.p_align});
  }
  return segments;
}

}  // namespace elfload
