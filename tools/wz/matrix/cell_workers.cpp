#include "wz/matrix/cell_workers.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <exception>
#include <iterator>
#include <utility>

#include "wz/matrix/matrix_packages.h"
#include "wz/matrix/worker.h"
#include "wz/matrix/worker_lines.h"
#include "wz/reports/output.h"
#include "wz/words/drop_if.h"
#include "wz/words/exit_code.h"

namespace wz {
namespace {

constexpr int kLongestWaitMs = 250;

std::string endText(int status) {
  if (WIFSIGNALED(status)) {
    return "its process was ended by the signal " + std::to_string(WTERMSIG(status));
  }
  return "its process ended with " + std::to_string(WEXITSTATUS(status));
}

}  // namespace

struct CellWorkers::Worker {
  pid_t process = -1;
  int pipe = -1;
  Batch batch;
  std::string unread;
  std::size_t trial = 0;     // the one that goes on
  std::size_t verdicts = 0;  // of it
  bool isBegun = false;      // behind what is to be installed first
  bool isLate = false;
  Clock::time_point deadline;
};

CellWorkers::CellWorkers(const std::vector<FleetGroup>& groups, unsigned jobs,
                         std::chrono::milliseconds longest)
    : groups_(groups), jobs_(jobs), longest_(longest), kept_(groups.size()) {}

CellWorkers::~CellWorkers() {
  for (const auto& worker : workers_) {
    kill(worker->process, SIGKILL);
    waitpid(worker->process, nullptr, 0);
    close(worker->pipe);
  }
}

bool CellWorkers::run(const Calls& calls) {
  for (;;) {
    if (!fill(calls)) return false;
    if (workers_.empty()) return true;
    std::vector<pollfd> waiting;
    for (const auto& worker : workers_) waiting.push_back({worker->pipe, POLLIN, 0});
    const int ready = poll(waiting.data(), waiting.size(), longestWait());
    if (ready < 0 && errno != EINTR) {
      printMessage(std::string("cannot wait for trials: ") + std::strerror(errno));
      return false;
    }
    for (std::size_t i = 0; ready > 0 && i < waiting.size(); ++i) {
      if (waiting[i].revents != 0 && !readFrom(*workers_[i], calls)) return false;
    }
    dropIf(workers_, [](const auto& worker) { return worker->process < 0; });
    endLate();
    if (!calls.wait()) return false;
  }
}

bool CellWorkers::fill(const Calls& calls) {
  while (workers_.size() < jobs_) {
    if (again_.empty()) {
      std::optional<Batch> batch = isOver_ ? std::nullopt : calls.next();
      isOver_ = isOver_ || !batch;
      if (!batch) return true;
      again_.push_back(std::move(*batch));
    }
    Batch batch = std::move(again_.front());
    again_.pop_front();
    if (!start(std::move(batch))) return false;
  }
  return true;
}

// _Fork() runs nothing in the child that could bring it a second thread, with which it could not
// enter the terminal.
bool CellWorkers::start(Batch batch) {
  const FleetGroup& group = groups_[batch.group];
  const std::optional<ImageEntries>& kept = kept_[batch.group];
  const bool hasFirst = !group.installed.empty() && !kept;
  PackageFiles first;
  if (hasFirst &&
      first.open(group.installed, EntrySizes::kLeftOut, tableOf(group.image)) != kDone) {
    return false;
  }
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) {
    printMessage(std::string("cannot make a pipe: ") + std::strerror(errno));
    return false;
  }
  const pid_t process = _Fork();
  if (process == 0) {
    try {
      TerminalImage image = group.image;
      if (kept) image.installed = *kept;
      tryBatch(image, hasFirst ? &first : nullptr, batch, ends[1]);
    } catch (const std::exception& problem) {
      printMessage(problem.what());
      _exit(kEnvironment);
    }
    _exit(kDone);
  }
  close(ends[1]);
  if (process < 0) {
    printMessage(std::string("cannot start a process: ") + std::strerror(errno));
    close(ends[0]);
    return false;
  }
  auto worker = std::make_unique<Worker>();
  worker->process = process;
  worker->pipe = ends[0];
  worker->batch = std::move(batch);
  worker->deadline = Clock::now() + longest_;
  workers_.push_back(std::move(worker));
  return true;
}

bool CellWorkers::readFrom(Worker& worker, const Calls& calls) {
  std::array<char, 65536> block;
  const ssize_t count = read(worker.pipe, block.data(), block.size());
  if (count < 0 && errno == EINTR) return true;
  if (count <= 0) {
    finish(worker, calls);
    return true;
  }
  worker.unread.append(block.data(), static_cast<std::size_t>(count));
  std::size_t begin = 0;
  for (std::size_t end; (end = worker.unread.find('\n', begin)) != std::string::npos;
       begin = end + 1) {
    if (!takeLine(worker, worker.unread.substr(begin, end - begin), calls)) return false;
  }
  worker.unread.erase(0, begin);
  return true;
}

bool CellWorkers::takeLine(Worker& worker, const std::string& line, const Calls& calls) {
  const std::string text = line.substr(1);
  switch (static_cast<WorkerLine>(line.front())) {
    case WorkerLine::kBegun:
      if (worker.isBegun) ++worker.trial;
      worker.isBegun = true;
      worker.verdicts = 0;
      worker.deadline = Clock::now() + longest_;
      return true;
    case WorkerLine::kVerdict: {
      Verdict verdict;
      if (!readVerdict(text, verdict)) return true;  // counts as missing
      const Trial& trial = worker.batch.trials[worker.trial];
      calls.take(trial.packages[worker.verdicts++], worker.batch.group, std::move(verdict));
      return true;
    }
    case WorkerLine::kKept:
      kept_[worker.batch.group] = entriesIn(text);
      return true;
    case WorkerLine::kRemark:
      printMessage("warning: " + text);
      return true;
    case WorkerLine::kFailed:
      printMessage(text);
      return false;
  }
  return true;
}

// Trials without a verdict have died; those that had not begun are begun by another process.
void CellWorkers::finish(Worker& worker, const Calls& calls) {
  int status = 0;
  while (waitpid(worker.process, &status, 0) < 0 && errno == EINTR) {
  }
  close(worker.pipe);
  worker.process = -1;
  const std::string how = worker.isLate
                              ? "it was not done after " + std::to_string(longest_.count()) + " ms"
                              : endText(status);
  std::vector<Trial>& trials = worker.batch.trials;
  const std::size_t died = worker.isBegun ? worker.trial + 1 : trials.size();
  for (std::size_t i = worker.isBegun ? worker.trial : 0; i < died; ++i) {
    const Trial& trial = trials[i];
    for (std::size_t j = worker.verdicts; j < trial.packages.size(); ++j) {
      calls.take(trial.packages[j], worker.batch.group,
                 diedVerdict(trial.files->packages()[j].file, how));
    }
    worker.verdicts = 0;
  }
  trials.erase(trials.begin(), trials.begin() + static_cast<std::ptrdiff_t>(died));
  if (!trials.empty()) again_.push_front(std::move(worker.batch));
}

int CellWorkers::longestWait() const {
  auto wait = std::chrono::milliseconds(kLongestWaitMs);
  for (const auto& worker : workers_) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(worker->deadline - Clock::now());
    wait = std::clamp(left, std::chrono::milliseconds(0), wait);
  }
  return static_cast<int>(wait.count());
}

// Its end shows at the pipe.
void CellWorkers::endLate() {
  for (const auto& worker : workers_) {
    if (worker->isLate || Clock::now() < worker->deadline) continue;
    worker->isLate = true;
    kill(worker->process, SIGKILL);
  }
}

}  // namespace wz
