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

Session::Session(const Options& options, Output& out) : options_(options), messages_(out, options.answerCancel) {
  std::string error;
  loader_ = LoadComponent(options.plugin, error);
  if (loader_ == nullptr) Complain("{}", Printable(error));
}

int Session::Answer(int result) const {
  if (messages_.IsLost()) throw std::bad_alloc();
  return result;
}

int Session::AnswerWithReason(int result) {
  failure_ = result == 0 && loader_ != nullptr ? ReadFailure(*loader_) : std::nullopt;
  return Answer(result);
}

void Session::ComplainOf(const std::optional<FailureReason>& failure) const {
  if (failure.has_value()) Complain("{}: {}", Printable(options_.file), FailureText(*failure));
}

void Session::Tell(const HeldMessages& messages, const std::optional<FailureReason>& failure) {
  messages_.Release(messages);
  Answer(0);
  ComplainOf(failure);
}

int Session::Open() {
  if (loader_ == nullptr) return 0;
  const int opened = AnswerWithReason(loader_->Open(options_.file.c_str()));
  if (opened == 0) {
    Complain("cannot open {}: {}", Printable(options_.file), OpenFailure(options_.file));
  }
  return opened;
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
  const int built = AnswerWithReason(loader_->Build(&table_));
  buildFailure_ = built != 0 ? ReadFailure(*loader_) : failure_;
  isPartial_ = built != 0 && buildFailure_.has_value();
  ComplainOf(buildFailure_);
  if (built == 0) return built;
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
  FillResult result = FillUnit(*loader_, table_, module);
  failure_ = std::move(result.failure);
  Answer(0);
  ComplainOf(failure_);
  return result.extended;
}

bool Session::FindName(const std::string& name, FindKind kind, DescModule*& found) {
  return Answer(loader_->FindModuleFromName(table_.Modules(), name.c_str(), &found, kind)) != 0;
}

bool Session::FindAddress(uint32_t address, FindKind kind, DescModule*& found) {
  return Answer(loader_->FindModuleFromAdr(table_.Modules(), Address{address, 0}, &found, kind)) != 0;
}

}  // namespace elfload
