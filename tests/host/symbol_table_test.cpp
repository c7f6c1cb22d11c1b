#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tarnixcore/host_program.h"
#include "tarnixcore/obj_file_loader.h"

// The library itself knows no records: to it a module is a pointer.
struct DescModule {
  int number;
};

namespace {

class Table : public SymbolTable {
 public:
  explicit Table(std::vector<std::string>* calls) : calls_(calls) {}
  ~Table() override { Reset(nullptr); }

 protected:
  void ReleaseModules(DescModule* modules) override {
    calls_->push_back(std::to_string(modules->number) + (Heap() != nullptr ? " heap stands" : " heap gone"));
  }

 private:
  std::vector<std::string>* calls_;
};

TEST(SymbolTable, ResetReleasesModulesThenHeap) {
  const size_t live = HEAP_LiveCount();
  std::vector<std::string> calls;
  DescModule modules[] = {{1}, {2}};
  {
    Table table(&calls);
    table.Reset(HEAP_Create(0, 0, 0));
    EXPECT_TRUE(calls.empty());  // there were no modules
    table.SetModules(&modules[0]);
    mem_desc* heap = HEAP_Create(0, 0, 0);
    table.Reset(heap);
    EXPECT_EQ(table.Heap(), heap);
    EXPECT_EQ(table.Modules(), nullptr);
    EXPECT_EQ(HEAP_LiveCount(), live + 1);
    table.SetModules(&modules[1]);
  }
  EXPECT_EQ(calls, (std::vector<std::string>{"1 heap stands", "2 heap stands"}));
  EXPECT_EQ(HEAP_LiveCount(), live);
  {
    SymbolTable plain;
    plain.Reset(HEAP_Create(0, 0, 0));
    plain.SetModules(&modules[0]);
  }
  EXPECT_EQ(HEAP_LiveCount(), live);
  EXPECT_EQ(ItemInfo(&modules[1]).Module()->number, 2);
}

class PlainTarget : public Target {
  int WriteBlock(Address, const void*, uint32_t, int) override { return 1; }
  int ReadBlock(Address, void*, uint32_t, int) override { return 1; }
  int SetStartAddress(uint32_t) override { return 1; }
};

TEST(Target, DefaultsRefuseNothing) {
  EXPECT_EQ(GetTheTarget(), nullptr);
  PlainTarget target;
  HOST_SetTarget(&target);
  ASSERT_EQ(GetTheTarget(), &target);
  EXPECT_NE(GetTheTarget()->CheckMemory(0, 0xFFFFFFFF, "", TARGET_READ_ONLY), 0);
  EXPECT_EQ(GetTheTarget()->Control(1), 0);
  EXPECT_EQ(GetTheTarget()->TargetCapabilities(29, nullptr), 0);
  HOST_SetTarget(nullptr);
  EXPECT_EQ(GetTheTarget(), nullptr);
}

}  // namespace
