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
  if (loader_ == nullptr) Complain("{}", error);
}

int Session::Answer(int result) const {
  if (messages_.IsLost()) throw std::bad_alloc();
  return result;
}

int Session::AnswerWithReason(int result) {
  failure_ = result == 0 && loader_ != nullptr ? ReadFailure(*loader_) : std::nullopt;
  return Answer(result);
}

void Session::ComplainOfFailure() const {
  if (failure_.has_value()) Complain("{}: {}", Printable(options_.file), FailureText(*failure_));
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
  if (built == 0) {
    ComplainOfFailure();
    return built;
  }
  for (DescModule* module = table_.Modules(); module != nullptr; module = module->next) {
    indexes_.emplace(module, modules_.size());
    modules_.push_back(module);
  }
  return built;
}

int Session::Extend(DescModule* module) {
  ItemInfo item(module);
  const bool isLoaded = module->loadedKinds == SYM_LOAD_ALL;
  const int extended = AnswerWithReason(loader_->Extend(&table_, &item, SYM_LOAD_ALL));
  if (isLoaded) failure_.reset();  // nothing was left to load, which is no failure
  ComplainOfFailure();
  return extended;
}

bool Session::FindName(const std::string& name, FindKind kind, DescModule*& found) {
  return Answer(loader_->FindModuleFromName(table_.Modules(), name.c_str(), &found, kind)) != 0;
}

bool Session::FindAddress(uint32_t address, FindKind kind, DescModule*& found) {
  return Answer(loader_->FindModuleFromAdr(table_.Modules(), Address{address, 0}, &found, kind)) != 0;
}

}  // namespace elfload
