// Runs on several threads at once.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdarg>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "support/install_result.h"
#include "tests/installer/install_fixture.h"
#include "wzapp/wzapp.h"

namespace wzapp {
namespace {

using wzapp_test::applicationPackage;
using wzapp_test::formatLine;
using wzapp_test::kApps;
using wzapp_test::Lines;

using InstallConcurrencyTest = wzapp_test::InstallTest;

// Lines of all threads in their order.
struct SharedLog {
  std::mutex mutex;
  Lines lines;
};

void takeShared(void* user, const char* format, ...) {
  auto* const log = static_cast<SharedLog*>(user);
  va_list arguments;
  va_start(arguments, format);
  const std::lock_guard<std::mutex> lock(log->mutex);
  log->lines.push_back(formatLine(format, arguments));
  va_end(arguments);
}

TEST_F(InstallConcurrencyTest, RunsFollowOneAnother) {
  constexpr int kThreads = 4;
  drop("shop.zip", applicationPackage("shop"));
  drop("bad.zip", "no archive");
  SharedLog log;
  std::vector<int> results(kThreads, -1);
  std::vector<std::thread> threads;

  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back(
        [&, i] { results[static_cast<std::size_t>(i)] = wzInstall(takeShared, &log); });
  }
  for (std::thread& thread : threads) thread.join();

  // One has installed, the others found nothing, and no result spoiled another.
  std::sort(results.begin(), results.end());
  EXPECT_THAT(results, testing::ElementsAre(1, 1, 1, 2));
  EXPECT_EQ(read(kApps + "/shop/index.html"), "<p>shop");
  int depth = 0;
  for (const std::string& line : log.lines) {
    if (line.starts_with("Installing to")) ++depth;
    ASSERT_LE(depth, 1);
    if (line.starts_with("List of")) --depth;
  }
  EXPECT_EQ(std::count(log.lines.begin(), log.lines.end(), "Overall result: NO PACKAGE\n"), 3);
  EXPECT_EQ(std::count(log.lines.begin(), log.lines.end(), "Overall result: ERROR\n"), 1);
}

// A second call that begins meanwhile waits, but its log is already the one of both.
TEST_F(InstallConcurrencyTest, ALaterCallTakesTheLogOver) {
  drop("shop.zip", applicationPackage("shop"));
  SharedLog later;
  std::thread second;
  atLine = [&](const std::string& line) {
    if (line != "Found SHOP-O.ZIP\n") return;
    second = std::thread([&later] { EXPECT_EQ(wzInstall(takeShared, &later), kInstallNoPackage); });
    while (installSink().user != &later) std::this_thread::yield();
  };

  EXPECT_EQ(install(), kInstallOk);
  second.join();

  EXPECT_EQ(lines.back(), "Found SHOP-O.ZIP\n");
  EXPECT_EQ(later.lines.front(), "Checking SHOP-O.ZIP\n");
  // Which of the two says its result last is open.
  EXPECT_THAT(later.lines,
              testing::IsSupersetOf({"Overall result: OK\n", "Overall result: NO PACKAGE\n"}));
}

}  // namespace
}  // namespace wzapp
