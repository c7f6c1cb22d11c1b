#include "session/session.h"

#include <new>

#include "session/open_failure.h"
#include "terminal/output.h"
#include "terminal/standard_error.h"
#include "terminal/utf8.h"

namespace elfload {

void ModuleTable::ReleaseModules(DescModule* modules) {
  // The records are in the table heap, which is released after this; only a module's contents are in its own.
  for (DescModule* module = modules; module != nullptr; module = module->next) {
    module->heap = HEAP_Release(module->heap);
  }
}

Session::Session(const Options& options, Output& out)
    : options_(options), messages_(out, options.answerCancel, options.verbose) {
  std::string error;
  loader_ = LoadComponent(options.plugin, error);
  if (loader_ == nullptr) Complain("{}", Printable(error));
}

int Session::Answer(int result) const {
  if (messages_.IsLost()) throw std::bad_alloc();
  return result;
}

void Session::ComplainOf(const std::optional<FailureReason>& failure) const {
  if (failure.has_value()) Complain("{}: {}", Printable(options_.file), FailureText(*failure));
}

void Session::Tell(const HeldMessages& messages, const std::optional<FailureReason>& failure) {
  messages_.Release(messages, failure.has_value());
  Answer(0);
  ComplainOf(failure);
}

int Session::Open() {
  if (loader_ == nullptr) return 0;
  messages_.KeepBack();
  const int opened = loader_->Open(options_.file.c_str());
  messages_.Settle(opened == 0);
  failure_.reset();
  if (opened == 0) return RefuseFile(ExplainOpen(options_.file, ReadFailure(*loader_)));
  return Answer(TestOpenFile() ? opened : 0);
}

int Session::RefuseFile(const OpenFailure& failure) {
  failure_ = failure.reason;
  Complain("{}", OpenFailureText(options_.file, failure));
  loader_->Close();
  return Answer(0);
}

bool Session::TestOpenFile() {
  if (options_.force) return true;
  if (TypeOfFile(options_.file) == ElfType::object) {
    const FailureReason reason = {TypeText(ElfType::object), "", "", std::nullopt};
    if (options_.ArePublished()) return RefuseFile({reason, true}) != 0;
    ComplainOf(reason);
  } else if (!State().hasProgramHeaders) {
    Complain("{}: there is no program header, so nothing can be loaded into a target", Printable(options_.file));
  }
  return true;
}

int Session::GetInfo(std::string& processor, uint32_t& entry) {
  processor.clear();
  entry = 0;
  if (!State().hasImage) return 0;
  char name[64] = {};
  unsigned long address = 0;
  const int known = Answer(loader_->GetInfo(name, sizeof(name), &address));
  processor = name;
  entry = static_cast<uint32_t>(address);
  return known;
}

int Session::Build() {
  modules_.clear();
  indexes_.clear();
  if (!State().hasImage) return 0;
  messages_.KeepBack();
  const int built = loader_->Build(&table_);
  buildFailure_ = ReadFailure(*loader_);
  isPartial_ = built != 0 && buildFailure_.has_value();
  constexpr uint32_t noDebugFormat = 0;
  std::optional<FailureReason> said = buildFailure_;
  if (built == 0 && State().debugFormat == noDebugFormat) said = ExplainNoDebugInformation(options_.file);
  if (options_.ArePublished()) buildFailure_ = said;  // documents of the loader's rules say what the loader does
  failure_ = built == 0 ? buildFailure_ : std::nullopt;
  messages_.Settle(said.has_value());
  ComplainOf(said);
  if (Answer(built) == 0) return built;
  for (DescModule* module = table_.Modules(); module != nullptr; module = module->next) {
    indexes_.emplace(module, modules_.size());
    modules_.push_back(module);
  }
  return built;
}

FillResult FillUnit(ObjFileLoader& loader, SymbolTable& table, DescModule* module) {
  ItemInfo item(module);
  const bool isLoaded = module->loadedKinds == SYM_LOAD_ALL;  // nothing is left to load then, which is no failure
  FillResult result = {loader.Extend(&table, &item, SYM_LOAD_ALL), std::nullopt};
  if (result.extended == 0 && !isLoaded) result.failure = ReadFailure(loader);
  return result;
}

int Session::Extend(DescModule* module) {
  messages_.KeepBack();
  FillResult result = FillUnit(*loader_, table_, module);
  failure_ = std::move(result.failure);
  messages_.Settle(failure_.has_value());
  Answer(0);
  ComplainOf(failure_);
  return result.extended;
}

template <typename LookUp>
bool Session::Find(LookUp lookUp) {
  messages_.KeepBack();
  const int found = lookUp();
  const auto failure = messages_.HasKeptBack() ? ReadFailure(*loader_) : std::nullopt;
  messages_.Settle(failure.has_value());
  ComplainOf(failure);
  return Answer(found) != 0;
}

std::optional<FailureReason> Session::DocumentFailure() const {
  if (isPartial_) return buildFailure_;
  if (!options_.ArePublished()) return std::nullopt;
  return State().hasImage ? buildFailure_ : failure_;
}

bool Session::FindName(const std::string& name, FindKind kind, DescModule*& found) {
  return Find([&] { return loader_->FindModuleFromName(table_.Modules(), name.c_str(), &found, kind); });
}

bool Session::FindAddress(uint32_t address, FindKind kind, DescModule*& found) {
  return Find([&] { return loader_->FindModuleFromAdr(table_.Modules(), Address{address, 0}, &found, kind); });
}

}  // namespace elfload
