// One file and the loader that reads it: opened, its list of units built, units filled when they are asked for.
//
//   Session session(options, out);
//   if (session.Open() && session.Build()) session.Extend(session.Modules()[0]);
//
// Everything goes through the component's virtual operations. An operation that fails says so on standard error.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "records/debug_records.h"
#include "session/host_messages.h"
#include "session/loader_module.h"
#include "session/options.h"
#include "tarnixcore/obj_file_loader.h"

namespace elfload {

// Owns the records. The modules merged into another one share its heap and are not released by themselves.
class ModuleTable : public SymbolTable {
 public:
  ModuleTable() = default;
  ModuleTable(const ModuleTable&) = delete;
  ModuleTable& operator=(const ModuleTable&) = delete;
  ~ModuleTable() override { Reset(nullptr); }

 protected:
  void ReleaseModules(DescModule* modules) override;
};

class Session {
 public:
  Session(const Options& options, Output& out);

  // Result of the loader's Open; 0 too when there is no loader.
  int Open();

  // Result of GetInfo; 0, with the processor unnamed, when no file is open.
  int GetInfo(std::string& processor, uint32_t& entry);

  // Result of Build; 0 when no file is open.
  int Build();

  // Result of Extend(module, 7).
  int Extend(DescModule* module);

  bool FindName(const std::string& name, FindKind kind, DescModule*& found);
  bool FindAddress(uint32_t address, FindKind kind, DescModule*& found);

  // Why the last operation that returned 0 did so; none after one that succeeded, and where the loader does not say.
  const std::optional<FailureReason>& LastFailure() const { return failure_; }

  ObjFileLoader* Loader() const { return loader_.get(); }
  LoaderState State() const { return loader_ != nullptr ? ReadState(*loader_) : LoaderState{}; }
  const std::vector<std::string>& Messages() const { return messages_.Texts(); }
  const std::string& VersionLine() const { return messages_.VersionLine(); }

  // The module list, in order; empty before Build.
  const std::vector<DescModule*>& Modules() const { return modules_; }
  mem_desc* TableHeap() const { return table_.Heap(); }
  size_t IndexOf(const DescModule* module) const { return indexes_.at(module); }

 private:
  // The result of an operation of the loader. Throws when a message of the loader could not be kept.
  int Answer(int result) const;

  // The same, and notes why the operation failed.
  int AnswerWithReason(int result);
  void ComplainOfFailure() const;

  const Options& options_;
  HostMessages messages_;
  ModuleTable table_;
  std::unique_ptr<ObjFileLoader> loader_;
  std::optional<FailureReason> failure_;
  std::vector<DescModule*> modules_;
  std::unordered_map<const DescModule*, size_t> indexes_;
};

}  // namespace elfload
