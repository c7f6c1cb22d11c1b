// Units that several threads work on: what is said and written comes out in their order, and little of it is held.
#include "session/unit_order.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <stdexcept>
#include <thread>

namespace elfload {
namespace {

constexpr size_t units = 40;
constexpr size_t writes = 5;

std::string TextOf(size_t unit, size_t write) { return std::to_string(unit) + "." + std::to_string(write) + " "; }

// Works on all units with four threads; `each` may throw.
template <typename Each>
void Work(UnitOrder& order, Each each) {
  constexpr size_t count = 4;
  std::vector<std::thread> threads;
  threads.reserve(count);
  for (size_t i = 0; i < count; i++) {
    threads.emplace_back([&] {
      try {
        for (size_t unit = 0; order.Take(unit); order.End(unit)) each(unit);
      } catch (...) {
        order.Stop(std::current_exception());
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

struct Collected {
  std::string text;
  Output out{[this](const char* part, size_t size) {
    text.append(part, size);
    return true;
  }};
};

TEST(UnitOrder, GivesOutNewsAndTextInOrderWhicheverUnitIsFirst) {
  Collected collected;
  std::string expected;
  for (size_t unit = 0; unit < units; unit++) {
    expected += "news" + std::to_string(unit) + ":";
    for (size_t write = 0; write < writes; write++) expected += TextOf(unit, write);
  }
  // Nothing may be held: who is early waits. Then everything.
  for (const size_t mostHeld : {size_t{0}, size_t{1} << 20}) {
    UnitOrder order(
        units, &collected.out, [&](const UnitNews& news) { collected.out.Write(news.failure->text); }, mostHeld);
    Work(order, [&](size_t unit) {
      if (unit % 3 == 0) std::this_thread::yield();
      order.Begin(unit, {{}, FailureReason{"news" + std::to_string(unit) + ":", "", "", std::nullopt}});
      for (size_t write = 0; write < writes; write++) {
        const std::string text = TextOf(unit, write);
        EXPECT_TRUE(order.Write(unit, text.data(), text.size()));
      }
    });
    order.Check();
    collected.out.Flush();
    EXPECT_EQ(collected.text, expected) << mostHeld;
    collected.text.clear();
  }
}

TEST(UnitOrder, EndsForAllWhenOneFails) {
  Collected collected;
  UnitOrder order(
      1000000, &collected.out, [](const UnitNews&) {}, 0);
  std::atomic<size_t> begun = 0;
  Work(order, [&](size_t unit) {
    begun++;
    order.Begin(unit, {});
    if (unit == 10) throw std::runtime_error("the eleventh");
    order.Write(unit, "x", 1);
  });
  EXPECT_THROW(order.Check(), std::runtime_error);
  EXPECT_LT(begun, 11 + UnitOrder::mostAhead);
}

TEST(UnitOrder, EndsWhenTheOutputFails) {
  Output out([](const char*, size_t) { return false; });
  UnitOrder order(1000000, &out, [](const UnitNews&) {});
  const std::string text(Output::bufferSize, 'x');
  std::atomic<size_t> begun = 0;
  Work(order, [&](size_t unit) {
    begun++;
    order.Begin(unit, {});
    order.Write(unit, text.data(), text.size());
  });
  EXPECT_TRUE(out.failed());
  EXPECT_LT(begun, 10 * UnitOrder::mostAhead);
}

}  // namespace
}  // namespace elfload
