// A test that plays the host: it collects the messages to the user, owns the records, and fails on any message that it
// did not ask for and on any heap that is left over.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "loader/elf_loader.h"
#include "loader/loader_failure.h"
#include "records/desc_module.h"
#include "support/elf_file.h"
#include "support/heap_failure.h"
#include "support/loader_access.h"
#include "tarnixcore/host_program.h"
#include "tarnixcore/obj_file_loader.h"

using Texts = std::vector<std::string>;

inline const char* const ERROR_IN_OBJECT_FILE = "!Warning: Error in object file (debug information)";
inline const char* const NO_DEBUG_INFORMATION = "!Warning: No debug information";

// Releases the module heaps, as a host does that knows the records.
class RecordTable : public SymbolTable {
 public:
  ~RecordTable() override { Reset(nullptr); }

 protected:
  void ReleaseModules(DescModule* modules) override { ReleaseModuleHeaps(modules); }
};

// What the loader hands out as its last failure; empty texts for none.
inline LoaderFailure LastFailure(ElfLoader& loader) {
  LoaderFailure failure = {};
  Argument argument = {nullptr, sizeof(failure), reinterpret_cast<char*>(&failure)};
  const int result = loader.Execute(REQUEST_LAST_FAILURE, &argument);
  EXPECT_EQ(result, failure.text[0] != 0 ? 1 : 0);
  return failure;
}

class HostTest : public testing::Test {
 protected:
  void SetUp() override {
    liveHeaps_ = HEAP_LiveCount();
    // The opcode base survives from one file to the next. Every test begins as after a standard line program.
    LoaderTestAccess::SetOpcodeBase(loader, 10);
    HostHandlers handlers;
    handlers.context = this;
    handlers.message = [](void* test, const char* text) { static_cast<HostTest*>(test)->messages_.emplace_back(text); };
    handlers.messageBox = [](void* test, const char* text, const char* caption, unsigned style) {
      auto* self = static_cast<HostTest*>(test);
      self->messages_.emplace_back(std::string(caption) + ": " + text);
      self->boxStyle = style;
      return self->boxAnswer;
    };
    handlers.versionInfo = [](void* test, const char* name, unsigned long version, const char* text) {
      auto* self = static_cast<HostTest*>(test);
      self->messages_.emplace_back(name + (" " + std::to_string(version)) + text);
    };
    handlersBefore_ = HOST_SetHandlers(handlers);
  }
  void TearDown() override {
    HEAP_FailFrom(0);
    owner_.reset();
    table.Reset(nullptr);
    HOST_SetHandlers(handlersBefore_);
    EXPECT_EQ(messages_, Texts{}) << "messages that the test did not expect";
    EXPECT_EQ(HEAP_LiveCount(), liveHeaps_) << "heaps that are left over";
  }

  // What the user has seen since the last call, in order; boxes as "CAPTION: TEXT".
  Texts TakeMessages() { return std::exchange(messages_, {}); }

  // Opens the file and builds its module list; the first module, or null.
  DescModule* Load(const ElfFile& file) { return LoadPath(file.write()); }
  DescModule* LoadPath(const std::string& path) {
    opened = loader.Open(path.c_str());
    built = opened != 0 ? loader.Build(&table) : 0;
    return table.Modules();
  }
  // The same, with every module filled. `extended` counts the fills that succeeded.
  DescModule* LoadAndExtend(const ElfFile& file) {
    extended = 0;
    for (DescModule* module = Load(file); module != nullptr; module = module->next) {
      extended += loader.Extend(module, SYM_LOAD_ALL);
    }
    return table.Modules();
  }

 private:
  std::unique_ptr<ElfLoader> owner_ = std::make_unique<ElfLoader>("ElfLoader");

 protected:
  RecordTable table;
  ElfLoader& loader = *owner_;
  int opened = 0;
  int built = 0;
  int extended = 0;
  int boxAnswer = 1;
  unsigned boxStyle = 0;

 private:
  Texts messages_;
  HostHandlers handlersBefore_;
  size_t liveHeaps_ = 0;
};

// The first record of that name on a list; the test ends when there is none.
template <class Record>
Record* Find(Record* list, const std::string& name) {
  for (; list != nullptr; list = list->next) {
    if (name == list->name) return list;
  }
  throw std::runtime_error("no record " + name);
}

// One text per record of a list, in list order.
template <class Record, class Function>
Texts Listed(const Record* list, Function text) {
  Texts texts;
  for (; list != nullptr; list = list->next) texts.push_back(text(*list));
  return texts;
}
template <class Record>
Texts Names(const Record* list) {
  return Listed(list, [](const Record& record) -> std::string { return record.name; });
}
