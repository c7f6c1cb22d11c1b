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
#include "session/open_failure.h"
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

// What a fill returned, and why it failed.
struct FillResult {
  int extended;
  std::optional<FailureReason> failure;
};

// Fills a unit by its own loader.
FillResult FillUnit(ObjFileLoader& loader, SymbolTable& table, DescModule* module);

class Session {
 public:
  Session(const Options& options, Output& out);

  // Result of the loader's Open; 0 too when there is no loader, and for an object file unless it is forced or the rules
  // are the loader's.
  int Open();

  // Result of GetInfo; 0, with the processor unnamed, when no file is open.
  int GetInfo(std::string& processor, uint32_t& entry);

  // Result of Build; 0 when no file is open. It is 1 too when units of the file could not be read; IsPartial says so.
  int Build();

  // Why Build was 0, or why it is partial.
  const std::optional<FailureReason>& BuildFailure() const { return buildFailure_; }
  bool IsPartial() const { return isPartial_; }

  // Result of Extend(module, 7).
  int Extend(DescModule* module);

  bool FindName(const std::string& name, FindKind kind, DescModule*& found);
  bool FindAddress(uint32_t address, FindKind kind, DescModule*& found);

  // The failure of the document: why there are no units, or what is left out of them. With the loader's rules the
  // latter alone, unless the document has both.
  std::optional<FailureReason> DocumentFailure() const;

  // Passes on what the loader of another thread said, and complains of the fill that failed there.
  void Tell(const HeldMessages& messages, const std::optional<FailureReason>& failure);

  // Why the last operation that returned 0 did so; none after one that succeeded, and where the loader does not say.
  const std::optional<FailureReason>& LastFailure() const { return failure_; }

  ObjFileLoader* Loader() const { return loader_.get(); }
  LoaderState State() const { return loader_ != nullptr ? ReadState(*loader_) : LoaderState{}; }
  HostMessages& Host() { return messages_; }
  const std::vector<std::string>& Messages() const { return messages_.Texts(); }
  const std::string& VersionLine() const { return messages_.VersionLine(); }

  // The module list, in order; empty before Build.
  const std::vector<DescModule*>& Modules() const { return modules_; }
  SymbolTable& Table() { return table_; }
  mem_desc* TableHeap() const { return table_.Heap(); }
  size_t IndexOf(const DescModule* module) const { return indexes_.at(module); }

 private:
  // The result of an operation of the loader. Throws when a message of the loader could not be kept.
  int Answer(int result) const;

  // Says why the file is not opened, and closes it.
  int RefuseFile(const OpenFailure& failure);

  // Says what a file that was opened lacks. False for one that is refused all the same.
  bool TestOpenFile();

  // The result of a look-up, which fills units on its way.
  template <typename LookUp>
  bool Find(LookUp lookUp);
  void ComplainOf(const std::optional<FailureReason>& failure) const;

  const Options& options_;
  HostMessages messages_;
  ModuleTable table_;
  std::unique_ptr<ObjFileLoader> loader_;
  std::optional<FailureReason> failure_;
  std::optional<FailureReason> buildFailure_;
  bool isPartial_ = false;
  std::vector<DescModule*> modules_;
  std::unordered_map<const DescModule*, size_t> indexes_;
};

}  // namespace elfload
