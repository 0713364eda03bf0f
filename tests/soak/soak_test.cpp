// A host that runs, cancels, logs, notifies and installs from many threads for as long as it is
// told to, while memory, descriptors, threads and file operations fail at random.
//
//   WZAPP_SOAK_SECONDS   how long (60)
//   WZAPP_SOAK_SEED      of all random numbers; the order of the threads is not repeatable

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <mutex>
#include <random>
#include <shared_mutex>
#include <string>
#include <thread>
#include <vector>

#include "tests/installer/install_fixture.h"
#include "tests/soak/faults.h"
#include "tests/soak/live_memory.h"
#include "tests/soak/soak_platform.h"
#include "wzapp/wzapp.h"

namespace wzapp_test {
namespace {

namespace fs = std::filesystem;

using std::chrono::seconds;
using std::chrono::steady_clock;
using Properties = std::map<std::string, std::string>;

constexpr int kHosts = 4;
constexpr int kScripts = 2;
constexpr int kInstallers = 2;
constexpr unsigned kFaultOneIn = 400;
// The soak is cut into rounds, after each of which everything has come to rest.
constexpr int kRounds = 8;
constexpr seconds kLongestPause{120};
// What later rounds may hold more than an early one: tables that have grown by one last step.
constexpr std::size_t kAllowedGrowth = 32 * 1024;

long fromEnvironment(const char* name, long otherwise) {
  const char* const text = std::getenv(name);
  return text == nullptr ? otherwise : std::atol(text);
}

// --- Runs -------------------------------------------------------------------------------------

// One started application, as its host knows it.
struct Launch {
  std::mutex mutex;
  std::condition_variable changed;
  int timesTold = 0;

  static void onExit(void* user, int, const Properties&) {
    const NoFaults none;
    Launch& run = *static_cast<Launch*>(user);
    const std::lock_guard<std::mutex> lock(run.mutex);
    ++run.timesTold;
    run.changed.notify_all();
  }
};

struct Counters {
  std::atomic<std::uint64_t> started;
  std::atomic<std::uint64_t> refused;
  std::atomic<std::uint64_t> cancelled;
  std::atomic<std::uint64_t> archives;
  std::array<std::atomic<std::uint64_t>, 4> installed;  // by result
};

// So that what the threads do can be looked at.
void abortIf(bool isStuck, const char* what) {
  if (!isStuck) return;
  std::cout << what << '\n' << std::flush;
  std::abort();
}

// Those that are there while nothing goes on. A sanitizer has one of its own, and starts it
// together with the first that a program asks for.
std::size_t idleThreads() {
  std::thread([] {}).join();
  return runningThreads();
}

class SoakTest : public InstallTest {
 protected:
  SoakTest() {
    // An application that no package touches, and what it has stored.
    for (const char* id : {"kept", "shop"}) {
      const std::string name = id;
      terminal.writeFile(kApps + "/" + name + "/index.html", "<p>" + name);
      terminal.writeFile(kData + "/" + name + "/data", "of " + name);
      terminal.writeFile(kManifests + "/" + name + "/mpmanifest.mft", manifestFor(name));
    }
    terminal.writeFile("/mnt/flash/kept.json",
                       R"({"application":{"id":"kept","version":"1.2"},)"
                       R"("desktop":{"file":"index.html"},)"
                       R"("imports_trigger":[{"id":"pay","file":"pay.html"}]})");
    terminal.writeFile("/mnt/flash/shop.mft",
                       "[application]\nid=shop\nversion=2\n[desktop]\nfile=index.html\n");
    terminal.writeFile("/mnt/flash/damaged.json", R"({"application":)");
    // The library reports to it when an application starts, and it would never end. What the
    // sanitizers say goes to the descriptor, which stays.
    ownError_ = std::exchange(stderr, std::fopen("/dev/null", "w"));
  }
  ~SoakTest() override { std::fclose(std::exchange(stderr, ownError_)); }

  // What the threads of a round do until it is over.
  void runApplications();
  void runScripts();
  void deliver();
  void installPackages();
  void round(seconds length);

  void expectWhole() const;

  Counters counters{};

 private:
  void expectTold(Launch& run) const;
  template <class Work>
  void repeat(const Work& work);

  std::FILE* ownError_;
  const std::size_t ownThreads_ = idleThreads();
  std::atomic<bool> isOver_ = false;
  std::atomic<bool> isQuiet_ = false;  // no application runs any more
  std::atomic<std::uint64_t> progress_ = 0;
  std::shared_mutex archiveMutex_;  // the archive is not to be asked for during an installation
};

template <class Work>
void SoakTest::repeat(const Work& work) {
  while (!isOver_) {
    work();
    setFaults(0);
    ++progress_;
  }
}

void SoakTest::expectTold(Launch& run) const {
  std::unique_lock<std::mutex> lock(run.mutex);
  const bool isTold = run.changed.wait_for(lock, kLongestPause, [&] { return run.timesTold > 0; });
  ASSERT_TRUE(isTold) << "an application does not end";
  ASSERT_EQ(run.timesTold, 1);
}

void SoakTest::runApplications() {
  struct Application {
    const char* manifest;
    const char* entry;
    int result;  // without a fault
  };
  static constexpr Application kApplications[] = {
      {"/mnt/flash/kept.json", "desktop", 0},    {"/mnt/flash/kept.json", "pay", 0},
      {"/mnt/flash/shop.mft", "desktop", 0},     {"/mnt/flash/kept.json", "missing", 3},
      {"/mnt/flash/damaged.json", "desktop", 2}, {"/mnt/flash/absent", "desktop", 2},
  };
  const Properties params = {{"wz_parameters", R"({"wz_merchantId":"a merchant of some length"})"},
                             {"amount", "1250"},
                             {"wz_system", "a system of some length"}};
  repeat([&] {
    const Application& application = kApplications[randomNumber(std::size(kApplications))];
    Launch run;
    wzapp::counted_ptr<wzapp::WZApp> handle;
    const unsigned rate = nextFaultRate();
    setFaults(rate);
    const int result = wzapp::wzAppRun(handle, 1, 1, application.manifest, application.entry,
                                       params, Launch::onExit, &run);
    setFaults(0);
    ASSERT_GE(result, 0);
    ASSERT_LE(result, 5);
    ASSERT_TRUE(rate != 0 || result == application.result) << application.manifest;
    if (result != 0) {
      ++counters.refused;
      ASSERT_EQ(handle.get(), nullptr);
      return;
    }
    ++counters.started;
    if (randomNumber(3) == 0) std::this_thread::yield();
    if (randomNumber(2) == 0) {
      // The page hears of the wish to end; the call comes back once the host has been told.
      ++counters.cancelled;
      wzapp::wzAppCancel(handle);
      const std::lock_guard<std::mutex> lock(run.mutex);
      ASSERT_EQ(run.timesTold, 1);
      return;
    }
    if (randomNumber(2) == 0) handle.reset();
    expectTold(run);
    // Its thread lets `run` go when this has come back.
    if (handle) wzapp::wzAppCancel(handle);
  });
}

// Those of applications that may or may not run.
void SoakTest::runScripts() {
  repeat([] { runScript(randomNumber(2) == 0 ? "kept" : "shop"); });
}

// Goes on until nobody waits for a reply.
void SoakTest::deliver() {
  while (!isQuiet_) {
    if (!deliverNext()) std::this_thread::sleep_for(std::chrono::microseconds(200));
    setFaults(0);
  }
  while (deliverNext()) {
  }
  setFaults(0);
}

void countLine(void* user, const char* format, ...) {
  char line[2000];
  va_list arguments;
  va_start(arguments, format);
  static_cast<void>(std::vsnprintf(line, sizeof line, format, arguments));
  va_end(arguments);
  static_cast<std::atomic<std::uint64_t>*>(user)->fetch_add(1);
}

void SoakTest::installPackages() {
  static const std::string packages[] = {
      applicationPackage("shop").build(),
      applicationPackage("tool").build(),
      withSigners()
          .inner("TOOL-U.ZIP", ZipBuilder().file("tool/appuninstall.mft", manifestFor("tool")))
          .signedBy(manifestSigner())
          .build(),
      withSigners()
          .inner("SHOP.ZIP", ZipBuilder().file("shop/index.html", "evil"))
          .file("SHOP.P7S", signatureOf(applicationArchive("shop").build(), applicationSigner()))
          .build(),
      applicationPackage("shop").build().substr(0, 2000),
      "no archive",
  };
  static std::atomic<std::uint64_t> reported;
  repeat([&] {
    const std::size_t number = randomNumber(std::size(packages));
    const std::string name = kSource + "/" + std::to_string(number) + ".zip";
    std::ofstream(name, std::ios::binary) << packages[number];
    if (randomNumber(4) == 0) {
      const std::unique_lock<std::shared_mutex> alone(archiveMutex_);
      std::string archive;
      setFaults(nextFaultRate());
      wzapp::wzGetCertificateArchive(archive);
      setFaults(0);
      ASSERT_EQ(archive.size() % 512, 0U);
      ++counters.archives;
    }
    const std::shared_lock<std::shared_mutex> together(archiveMutex_);
    setFaults(nextFaultRate());
    const int result = wzapp::wzInstall(countLine, &reported);
    setFaults(0);
    ASSERT_GE(result, 0);
    ASSERT_LE(result, 3);
    ++counters.installed[static_cast<std::size_t>(result)];
  });
}

void SoakTest::round(seconds length) {
  isOver_ = false;
  isQuiet_ = false;
  std::vector<std::thread> workers;
  for (int i = 0; i < kHosts; ++i) workers.emplace_back([this] { runApplications(); });
  for (int i = 0; i < kScripts; ++i) workers.emplace_back([this] { runScripts(); });
  for (int i = 0; i < kInstallers; ++i) workers.emplace_back([this] { installPackages(); });
  std::thread messenger([this] { deliver(); });

  const auto end = steady_clock::now() + length;
  auto lastProgress = steady_clock::now();
  std::uint64_t seen = 0;
  while (steady_clock::now() < end && !HasFatalFailure()) {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    if (progress_ != seen) lastProgress = steady_clock::now();
    seen = progress_;
    abortIf(steady_clock::now() - lastProgress > kLongestPause, "nothing goes on any more");
  }
  isOver_ = true;
  for (std::thread& worker : workers) worker.join();
  // A handle that was let go early leaves a thread that has told its host and is about to end.
  const auto over = steady_clock::now();
  while (platformObjects() != 0 || runningThreads() > ownThreads_ + 1) {
    abortIf(steady_clock::now() - over > kLongestPause, "an application does not end");
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  isQuiet_ = true;
  messenger.join();
}

// Everything that is installed was signed, and what no package touches is whole.
void SoakTest::expectWhole() const {
  EXPECT_EQ(read(kApps + "/kept/index.html"), "<p>kept");
  EXPECT_EQ(read(kData + "/kept/data"), "of kept");
  EXPECT_EQ(read(kManifests + "/kept/mpmanifest.mft"), manifestFor("kept"));
  for (const auto& entry : fs::recursive_directory_iterator(kApps)) {
    if (!entry.is_regular_file()) continue;
    std::ifstream file(entry.path(), std::ios::binary);
    const std::string content(std::istreambuf_iterator<char>(file), {});
    EXPECT_EQ(content.find("evil"), std::string::npos) << entry.path();
  }
}

TEST_F(SoakTest, MemoryDescriptorsAndThreadsStayFlat) {
  const auto seed = static_cast<std::uint64_t>(
      fromEnvironment("WZAPP_SOAK_SEED", static_cast<long>(std::random_device{}() % 1000000)));
  const seconds whole(fromEnvironment("WZAPP_SOAK_SECONDS", 60));
  std::cout << "[ SEED     ] " << seed << '\n';
  seedRandom(seed);
  // Scripts can call once the first application was asked for.
  wzapp::counted_ptr<wzapp::WZApp> none;
  ASSERT_EQ(wzapp::wzAppRun(none, 1, 1, "/mnt/flash/absent", "desktop", {}, nullptr, nullptr), 2);

  // The first round fills what is found out once in a process.
  std::vector<std::size_t> memory;
  std::size_t descriptors = 0;
  for (int number = 0; number < kRounds && !HasFailure(); ++number) {
    setFaultRate(number == 0 ? 0 : kFaultOneIn);
    round(whole / kRounds);
    expectWhole();
    memory.push_back(liveMemory());
    if (number == 0) descriptors = openDescriptors();
    EXPECT_EQ(openDescriptors(), descriptors);
    std::cout << "[ ROUND    ] " << number << ": " << memory.back() << " octets live, "
              << counters.started << " runs, " << counters.cancelled << " cancelled, "
              << counters.refused << " refused\n"
              << std::flush;
  }

  if (memory.size() == kRounds) {
    EXPECT_LE(memory.back(), memory[1] + kAllowedGrowth);
  }
  const PlatformCounts platform = platformCounts();
  std::cout << "[ DONE     ] " << platform.pages << " pages, " << platform.scripts << " scripts, "
            << platform.notifications << " notifications, " << platform.replies << " replies, "
            << platform.logs << " logs, " << counters.archives << " archives; installations:";
  for (const auto& count : counters.installed) std::cout << ' ' << count;
  std::cout << "\n[ FAULTS   ]";
  const auto faults = faultCounts();
  for (std::size_t kind = 0; kind < kFaultKinds; ++kind) {
    std::cout << ' ' << faults[kind] << " of " << kFaultNames[kind]
              << (kind + 1 < kFaultKinds ? "," : "\n");
  }
  EXPECT_GT(platform.pages, 0U);
  EXPECT_GT(platform.replies, 0U);
  EXPECT_GT(platform.logs, 0U);
  for (const std::uint64_t count : faults) EXPECT_GT(count, 0U);
}

}  // namespace
}  // namespace wzapp_test
