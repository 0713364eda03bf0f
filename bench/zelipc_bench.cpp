// JSON values and messaging. "peer" is the time of the peer that a benchmark names, "ratio" the
// benchmark's own time by that.

#include <benchmark/benchmark.h>
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <sys/wait.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <string>
#include <thread>

#include "workstation/terminal/bus_daemon.h"
#include "workstation/zelipc/bus_config.h"
#include "zelipc/zelipc.h"

namespace {

using Clock = std::chrono::steady_clock;
using zelipc::JSObject;

double secondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

// Measures `body` as the benchmark and `peer` for some tens of milliseconds before it.
template <class Body, class Peer>
void measure(benchmark::State& state, const Body& body, const Peer& peer) {
  constexpr double kPeerTime = 0.05;
  const Clock::time_point peerStart = Clock::now();
  double peerCalls = 0;
  while (secondsSince(peerStart) < kPeerTime) {
    for (int i = 0; i < 8; ++i) peer();
    peerCalls += 8;
  }
  const double peerTime = secondsSince(peerStart) / peerCalls;

  const Clock::time_point start = Clock::now();
  for (auto _ : state) body();
  const double time = secondsSince(start) / static_cast<double>(state.iterations());
  state.counters["peer"] = benchmark::Counter(peerTime);
  state.counters["ratio"] = time / peerTime;
}

// ---- JSON
// ----------------------------------------------------------------------------------------

const std::string kMessage = "The customer has chosen the third of the offers";
const std::string kDetail = "{\"offer\":3,\"price\":1250}";

// One entry of an application's log, and its place in the record of entries.
void appendLogLine(JSObject& entries) {
  JSObject line;
  line["t"] = "2024-03-05T14:07:09.123+01:00:00";
  line["s"] = 6;
  line["msgT"] = "APP_INFO";
  line["msg"] = kMessage;
  line["aD"] = kDetail;
  entries.append(line);
}

void appendLogLine(rapidjson::Value& entries, rapidjson::Document::AllocatorType& allocator) {
  const auto text = [&](const std::string& value) {
    return rapidjson::Value(value.c_str(), static_cast<rapidjson::SizeType>(value.size()),
                            allocator);
  };
  rapidjson::Value line(rapidjson::kObjectType);
  line.AddMember("t", text("2024-03-05T14:07:09.123+01:00:00"), allocator);
  line.AddMember("s", 6, allocator);
  line.AddMember("msgT", text("APP_INFO"), allocator);
  line.AddMember("msg", text(kMessage), allocator);
  line.AddMember("aD", text(kDetail), allocator);
  entries.PushBack(line, allocator);
}

JSObject logRecord(int lines) {
  JSObject record;
  JSObject& entries = record["data"]["msgs"];
  for (int i = 0; i < lines; ++i) appendLogLine(entries);
  return record;
}

// Builds a record of the lines and writes it. Peer: RapidJSON's document.
void jsonLogRecord(benchmark::State& state) {
  const auto lines = static_cast<int>(state.range(0));
  measure(
      state, [&] { benchmark::DoNotOptimize(logRecord(lines).dump()); },
      [&] {
        rapidjson::Document record(rapidjson::kObjectType);
        rapidjson::Value entries(rapidjson::kArrayType);
        for (int i = 0; i < lines; ++i) appendLogLine(entries, record.GetAllocator());
        record.AddMember("msgs", entries, record.GetAllocator());
        rapidjson::StringBuffer buffer;
        rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
        record.Accept(writer);
        benchmark::DoNotOptimize(std::string(buffer.GetString(), buffer.GetSize()));
      });
  state.SetItemsProcessed(state.iterations() * lines);
}
BENCHMARK(jsonLogRecord)->Name("JsonLogRecord")->Arg(1)->Arg(120);

// Reads a record of the lines. Peer: RapidJSON's document, with UTF-8 checked as here.
void jsonParse(benchmark::State& state) {
  const std::string text = logRecord(static_cast<int>(state.range(0))).dump();
  JSObject object;
  measure(
      state, [&] { benchmark::DoNotOptimize(object.parse(text.c_str())); },
      [&] {
        rapidjson::Document document;
        document.Parse<rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag>(
            text.c_str());
        benchmark::DoNotOptimize(document);
      });
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}
BENCHMARK(jsonParse)->Name("JsonParse")->Arg(1)->Arg(120);

// Copies a record. Peer: a copy of its text, read again.
void jsonCopy(benchmark::State& state) {
  const JSObject record = logRecord(static_cast<int>(state.range(0)));
  const std::string text = record.dump();
  JSObject read;
  measure(
      state,
      [&] {
        JSObject copy(record);
        benchmark::DoNotOptimize(copy);
      },
      [&] { benchmark::DoNotOptimize(read.parse(text.c_str())); });
}
BENCHMARK(jsonCopy)->Name("JsonCopy")->Arg(120);

// ---- Messaging
// -----------------------------------------------------------------------------------

constexpr const char* kShop = "shop";
constexpr const char* kAsk = "ask";
constexpr const char* kReply = "ask_reply";

void answer(void*, const std::string& from, const std::string& to, const std::string&,
            const JSObject& payload, unsigned flags) {
  zelipc::ipcNotify(from, kReply, payload, flags, to);
}

// A sign from one thread to another.
class Sign {
 public:
  void give() {
    const std::lock_guard lock(mutex_);
    given_ = true;
    changed_.notify_one();
  }
  void await() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return given_; });
    given_ = false;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool given_ = false;
};

void giveSign(void* sign, const std::string&, const std::string&, const std::string&,
              const JSObject&, unsigned) {
  static_cast<Sign*>(sign)->give();
}

// A notification and the wait for its reply, for which the caller is registered before.
class Caller {
 public:
  explicit Caller(std::string address) : address_(std::move(address)) {
    zelipc::ipcRegisterNotificationCB(kReply, giveSign, &replied_, 0, address_);
    payload_["amount"] = 1250;
  }
  ~Caller() { zelipc::ipcUnregisterNotificationCB(kReply, giveSign, &replied_, address_); }

  void call() {
    zelipc::ipcNotify(kShop, kAsk, payload_, 0, address_);
    replied_.await();
  }

 private:
  const std::string address_;
  JSObject payload_;
  Sign replied_;
};

// Peer: two threads that hand each other a sign, there and back.
void callInside(benchmark::State& state) {
  zelipc::ipcRegisterNotificationCB(kAsk, answer, nullptr, 0, kShop);
  Caller caller("app");
  Sign there, back;
  std::atomic<bool> over{false};
  std::thread other([&] {
    for (there.await(); !over; there.await()) back.give();
  });
  measure(
      state, [&] { caller.call(); },
      [&] {
        there.give();
        back.await();
      });
  over = true;
  there.give();
  other.join();
  zelipc::ipcUnregisterNotificationCB(kAsk, answer, nullptr, kShop);
}
BENCHMARK(callInside)->Name("CallInside")->UseRealTime();

// Sends and lets the dispatcher deliver, without waiting for each.
void notifyInside(benchmark::State& state) {
  constexpr int kBurst = 1000;
  Sign done;
  struct Counter {
    Sign& done;
    int left;
    static void count(void* self, const std::string&, const std::string&, const std::string&,
                      const JSObject&, unsigned) {
      auto& counter = *static_cast<Counter*>(self);
      if (--counter.left == 0) counter.done.give();
    }
  } counter{done, 0};
  zelipc::ipcRegisterNotificationCB("n", Counter::count, &counter, 0, "burst");
  JSObject payload;
  payload["amount"] = 1250;
  for (auto _ : state) {
    counter.left = kBurst;
    for (int i = 0; i < kBurst; ++i) zelipc::ipcNotify("burst", "n", payload, 0, "app");
    done.await();
  }
  state.SetItemsProcessed(state.iterations() * kBurst);
  zelipc::ipcUnregisterNotificationCB("n", Counter::count, &counter, "burst");
}
BENCHMARK(notifyInside)->Name("NotifyInside/1000")->UseRealTime();

// Peer: two method calls that the bus answers itself, the same number of messages on sockets.
void callAcross(benchmark::State& state) {
  sd_bus* bus = nullptr;
  const std::string socket =
      std::string(std::getenv("WZ_TERMINAL")).append(workstation::kBusSocket);
  sd_bus_new(&bus);
  sd_bus_set_address(bus, workstation::busAddress(socket).c_str());
  sd_bus_set_bus_client(bus, 1);
  sd_bus_start(bus);
  Caller caller("app");
  measure(
      state, [&] { caller.call(); },
      [&] {
        for (int i = 0; i < 2; ++i) {
          sd_bus_call_method(bus, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                             "org.freedesktop.DBus", "GetId", nullptr, nullptr, "");
        }
      });
  sd_bus_close_unref(bus);
}
BENCHMARK(callAcross)->Name("CallAcross")->UseRealTime();
void callAcrossInThreads(benchmark::State& state) {
  Caller caller("app" + std::to_string(state.thread_index()));
  for (auto _ : state) caller.call();
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(callAcrossInThreads)->Name("CallAcross")->Threads(8)->UseRealTime();

// As a script's call does it, registered for one reply only. Peer: a call by who stays registered.
void callOnceAcross(benchmark::State& state) {
  Caller standing("app");
  measure(
      state,
      [&] {
        Caller once("once");
        once.call();
      },
      [&] { standing.call(); });
}
BENCHMARK(callOnceAcross)->Name("CallOnceAcross")->UseRealTime();

// ---- The processes
// -------------------------------------------------------------------------------

// Runs `body` in a process of its own; messaging knows at its first use whether there is a
// terminal.
template <class Body>
pid_t inProcess(const Body& body) {
  const pid_t process = fork();
  if (process == 0) {
    body();
    std::exit(EXIT_SUCCESS);
  }
  return process;
}

int runAcross(const std::string& terminal) {
  workstation::BusUse bus;
  std::string error;
  if (!bus.begin(terminal, error)) {
    std::fprintf(stderr, "%s\n", error.c_str());
    return EXIT_FAILURE;
  }
  setenv("WZ_TERMINAL", terminal.c_str(), 1);
  int registered[2];
  if (pipe(registered) != 0) return EXIT_FAILURE;
  const pid_t shop = inProcess([&] {
    zelipc::ipcRegisterNotificationCB(kAsk, answer, nullptr, 0, kShop);
    close(registered[1]);
    pause();
  });
  close(registered[1]);
  char sign = 0;
  (void)!read(registered[0], &sign, 1);  // until the shop has closed its end

  waitpid(inProcess([] { benchmark::RunSpecifiedBenchmarks("Across"); }), nullptr, 0);
  kill(shop, SIGTERM);
  waitpid(shop, nullptr, 0);
  return EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  std::string terminal = std::filesystem::temp_directory_path() / "zelipc_bench_XXXXXX";
  if (mkdtemp(terminal.data()) == nullptr) return EXIT_FAILURE;
  std::filesystem::create_directory(terminal + "/run");
  unsetenv("WZ_TERMINAL");

  waitpid(inProcess([] { benchmark::RunSpecifiedBenchmarks("Json|Inside"); }), nullptr, 0);
  const int result = runAcross(terminal);
  std::filesystem::remove_all(terminal);
  return result;
}
