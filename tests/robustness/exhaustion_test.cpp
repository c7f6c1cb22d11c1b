// Memory that runs out at any call, in every operation of a host: nothing crashes, what fails is reported once, what
// claims to have worked has all its records, and the next file opens as if nothing had happened.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

#include "elf/elf_image.h"
#include "host_run.h"
#include "loader/code_download.h"
#include "records/debug_records.h"
#include "records/empty_string.h"
#include "session/session.h"
#include "sound_files.h"
#include "support/environment.h"
#include "support/failing_malloc.h"
#include "support/heap_failure.h"
#include "support/temp_folder.h"
#include "tarnixcore/host_program.h"

namespace {

enum class Source { heapsOnce, heapsForGood, processOnce, processForGood };

bool IsOfHeaps(Source source) { return source == Source::heapsOnce || source == Source::heapsForGood; }

void FailFrom(Source source, size_t call) {
  if (IsOfHeaps(source)) {
    failed = HEAP_FailFrom(call, source == Source::heapsOnce ? 1 : SIZE_MAX) > 0;
  } else {
    callsUntilFailure = call;
    failsOnce = source == Source::processOnce;
  }
}

unsigned messages = 0;

class Answering : public Target {
 public:
  int WriteBlock(Address /*address*/, const void* /*buffer*/, uint32_t /*count*/, int /*access*/) override { return 1; }
  int ReadBlock(Address /*address*/, void* /*buffer*/, uint32_t /*count*/, int /*access*/) override { return 1; }
  int SetStartAddress(uint32_t /*address*/) override { return 1; }
};

// Takes out what may be missing where an operation goes on without memory: the file's path, and line-info procedures.
void TakeOutWhatMayBeMissing(const SymbolTable& table) {
  for (DescModule* module = table.Modules(); module != nullptr; module = module->next) {
    module->objectFile = EmptyString();
    for (DescProc** link = &module->procs; *link != nullptr;) {
      const char* name = (*link)->name;
      if (*name == 0 || std::strncmp(name, "Line Info", 9) == 0) {
        *link = (*link)->next;
      } else {
        link = &(*link)->next;
      }
    }
  }
}

struct Outcome {
  bool whole = false;  // no operation reported a failure
  std::string records;
};

// Every operation, with memory that fails from that call on; 0 for none.
Outcome Use(const std::string& path, Source source, size_t call) {
  Outcome outcome;
  Answering target;
  ElfLoader loader("ElfLoader");
  elfload::ModuleTable table;
  messages = 0;
  failed = false;
  FailFrom(source, call);
  char processor[16];
  unsigned long entry = 0;
  DescModule* found = nullptr;
  outcome.whole = loader.Open(path.c_str()) == 1;
  const bool opened = outcome.whole;
  EXPECT_TRUE(!opened || loader.image->programHeaders != nullptr) << call;
  loader.GetInfo(processor, sizeof(processor), &entry);
  Argument argument = {const_cast<char*>(".debug_info"), 0, nullptr};
  loader.Execute(REQUEST_SECTION_BY_NAME, &argument);
  outcome.whole = loader.Build(&table) == 1 && outcome.whole;
  for (DescModule* module = table.Modules(); module != nullptr; module = module->next) {
    outcome.whole = loader.Extend(module, SYM_LOAD_ALL) == 1 && outcome.whole;
  }
  for (const char* name : {"main", "run", "count", "matrix", "nothing"}) {
    loader.FindModuleFromName(table.Modules(), name, &found, FIND_ALL);
    loader.FindModuleFromAdr(table.Modules(), {0x144, 0}, &found, FIND_DATA);
  }
  outcome.whole = loader.LoadCode(&target, 0, LOAD_NO_PROGRESS) == 1 && outcome.whole;
  FailFrom(source, 0);
  EXPECT_LE(messages, 1u) << call;
  EXPECT_TRUE(outcome.whole || messages == 1 || !opened || !IsOfHeaps(source)) << call;
  TakeOutWhatMayBeMissing(table);
  outcome.records = RecordText(loader, table);
  return outcome;
}

class Exhaustion : public testing::TestWithParam<Source> {
 protected:
  void SetUp() override {
    HostHandlers handlers;
    handlers.message = [](void*, const char*) { ++messages; };
    handlers.messageBox = [](void*, const char*, const char*, unsigned) { return 1; };
    before_ = HOST_SetHandlers(handlers);
  }
  void TearDown() override { HOST_SetHandlers(before_); }

 private:
  HostHandlers before_;
};

TEST_P(Exhaustion, AtAnyCall) {
#ifndef FAILING_MALLOC
  if (!IsOfHeaps(GetParam())) {
    GTEST_SKIP() << "the process's memory cannot be made to fail here";
  }
#endif
  const size_t heaps = HEAP_LiveCount();
  for (uint32_t number = 0; number < SOUND_FILES; ++number) {
    const EnvironmentValue rules("DWARFRULES", soundRuns[number].rules);
    const RawBytes bytes = MakeSoundFile(soundRuns[number].format, soundRuns[number].order);
    const std::string path = TempFolder::OfProcess().Write("small.elf", bytes);
    const Outcome sound = Use(path, GetParam(), 0);
    ASSERT_TRUE(sound.whole);
    size_t failures = 0;
    for (size_t call = 1;; ++call) {
      const Outcome outcome = Use(path, GetParam(), call);
      if (outcome.whole) {
        EXPECT_TRUE(outcome.records == sound.records) << "call " << call << " of file " << number << " is not missed";
      }
      ASSERT_EQ(HEAP_LiveCount(), heaps) << call;
      ExpectSound(number + 1);
      if (!failed) {
        break;  // the failure is past the last call
      }
      ++failures;
    }
    EXPECT_GT(failures, IsOfHeaps(GetParam()) ? 20u : 10u);
  }
}

INSTANTIATE_TEST_SUITE_P(OfAnySource, Exhaustion,
                         testing::Values(Source::heapsOnce, Source::heapsForGood, Source::processOnce,
                                         Source::processForGood));

}  // namespace
