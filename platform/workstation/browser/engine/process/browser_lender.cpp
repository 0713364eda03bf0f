#include "workstation/browser/engine/process/browser_lender.h"

#include <poll.h>
#include <sys/eventfd.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <optional>
#include <utility>

#include "workstation/browser/engine/process/browser_loan.h"
#include "workstation/browser/engine/process/chromium_command.h"
#include "workstation/browser/engine/process/chromium_process.h"
#include "workstation/browser/engine/process/profile_directory.h"
#include "workstation/browser/engine/process/quiet_thread.h"
#include "workstation/browser/engine/protocol/json.h"
#include "workstation/browser/engine/protocol/message_framing.h"

namespace workstation {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int kMostWaiting = 64;
constexpr std::chrono::seconds kTidyLimit{5};  // a browser that takes longer is given up
constexpr int kIdsForEach = 1'000'000;         // commands of a borrower
constexpr int kLastFirstId = 2'000'000'000;
constexpr std::size_t kLargestMessage = std::size_t{64} << 20;

}  // namespace

// One browser, and what it takes to hand it from one borrower to the next.
class LentBrowser {
 public:
  static std::unique_ptr<LentBrowser> start() {
    std::unique_ptr<LentBrowser> browser(new LentBrowser);
    std::string program, error;
    if (!findBrowser("", false, program, error)) return nullptr;
    browser->profile_ = ProfileDirectory::create("", error);
    if (!browser->profile_) return nullptr;
    browser->process_ =
        ChromiumProcess::start(chromiumCommand(program, *browser->profile_, "", ""), error);
    return browser->process_ ? std::move(browser) : nullptr;
  }

  ~LentBrowser() { process_.reset(); }  // before the profile that it writes to
  LentBrowser(const LentBrowser&) = delete;
  LentBrowser& operator=(const LentBrowser&) = delete;

  // Hands the pipes' ends to a borrower.
  bool handTo(int borrower) {
    LoanGrant grant = {nextId_};
    iovec part = {&grant, sizeof grant};
    alignas(cmsghdr) char control[CMSG_SPACE(kLoanDescriptors * sizeof(int))] = {};
    msghdr message = {};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    cmsghdr* const rights = CMSG_FIRSTHDR(&message);
    rights->cmsg_level = SOL_SOCKET;
    rights->cmsg_type = SCM_RIGHTS;
    int descriptors[kLoanDescriptors];
    rights->cmsg_len = CMSG_LEN(sizeof descriptors);
    descriptors[kLoanCommands] = process_->commands.get();
    descriptors[kLoanEvents] = process_->events.get();
    std::memcpy(CMSG_DATA(rights), descriptors, sizeof descriptors);
    nextId_ += kIdsForEach;
    return ::sendmsg(borrower, &message, MSG_NOSIGNAL) == static_cast<ssize_t>(sizeof grant);
  }

  // As new, whatever the last borrower has left; false when it does not come to be.
  bool tidyUp() {
    if (nextId_ > kLastFirstId) return false;
    if (!write(std::string(1, '\0'))) return false;  // ends a command that was cut short
    const Clock::time_point deadline = Clock::now() + kTidyLimit;
    JsonDocument contexts;
    if (!ask("Fetch.disable", "{}", deadline, contexts) ||
        !ask("Target.setDiscoverTargets", R"({"discover":false})", deadline, contexts) ||
        !ask("Target.getBrowserContexts", "{}", deadline, contexts)) {
      return false;
    }
    const JsonValue& ids = jsonMember(jsonMember(contexts, "result"), "browserContextIds");
    if (!ids.IsArray()) return true;
    for (const JsonValue& id : ids.GetArray()) {
      JsonDocument answer;
      const std::string params = JsonObject().add("browserContextId", id.GetString()).text();
      if (!ask("Target.disposeBrowserContext", params, deadline, answer)) return false;
    }
    return true;
  }

 private:
  LentBrowser() = default;

  bool write(const std::string& octets) const {
    return ::write(process_->commands.get(), octets.data(), octets.size()) ==
           static_cast<ssize_t>(octets.size());
  }

  // The answer to a command. What else comes was for the last borrower.
  bool ask(const char* method, const std::string& params, Clock::time_point deadline,
           JsonDocument& answer) {
    const int id = nextId_++;
    const JsonObject command =
        JsonObject().add("id", id).add("method", method).addRaw("params", params);
    if (!write(command.text() + '\0')) return false;
    bool isAnswered = false;
    const auto take = [&](std::string&& text) {
      JsonDocument message;
      if (!parseJson(std::move(text), message) || jsonInt(message, "id", 0) != id) return;
      answer = std::move(message);
      isAnswered = true;
    };
    while (!isAnswered) {
      const auto left =
          std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
      pollfd ready = {process_->events.get(), POLLIN, 0};
      if (left <= 0 || ::poll(&ready, 1, static_cast<int>(left)) == 0) return false;
      char octets[4096];
      const ssize_t count = ::read(process_->events.get(), octets, sizeof octets);
      if (count == 0 || (count < 0 && errno != EAGAIN && errno != EINTR)) return false;
      if (count > 0) framing_.feed({octets, static_cast<std::size_t>(count)}, take);
    }
    return true;
  }

  std::unique_ptr<ProfileDirectory> profile_;
  std::unique_ptr<ChromiumProcess> process_;
  MessageFraming framing_{kLargestMessage};
  int nextId_ = 1;
};

LendingBrowsers::LendingBrowsers() = default;

std::unique_ptr<LendingBrowsers> LendingBrowsers::open(const std::string& socket,
                                                       std::string& error) {
  std::unique_ptr<LendingBrowsers> lender(new LendingBrowsers);
  sockaddr_un address;
  lender->listener_ = UniqueFd(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  lender->wakeUp_ = UniqueFd(::eventfd(0, EFD_CLOEXEC));
  if (!loanAddress(socket, address)) errno = ENAMETOOLONG;
  if (address.sun_path[0] == '\0' || !lender->listener_ || !lender->wakeUp_ ||
      ::bind(lender->listener_.get(), reinterpret_cast<const sockaddr*>(&address),
             sizeof address) != 0 ||
      ::listen(lender->listener_.get(), kMostWaiting) != 0) {
    error = "cannot lend browsers on " + socket + ": " + std::strerror(errno);
    return nullptr;
  }
  LendingBrowsers* const self = lender.get();
  lender->thread_ = startQuietThread([self] { self->run(); });
  if (lender->thread_.joinable()) return lender;
  error = "there is no thread that lends browsers";
  return nullptr;
}

LendingBrowsers::~LendingBrowsers() {
  if (!thread_.joinable()) return;
  const std::uint64_t one = 1;
  (void)!::write(wakeUp_.get(), &one, sizeof one);
  thread_.join();
}

void LendingBrowsers::run() {
  for (;;) {
    std::vector<pollfd> descriptors = {{wakeUp_.get(), POLLIN, 0}, {listener_.get(), POLLIN, 0}};
    for (const Loan& loan : loans_) descriptors.push_back({loan.borrower.get(), POLLIN, 0});
    if (::poll(descriptors.data(), descriptors.size(), -1) < 0 && errno != EINTR) return;
    if (descriptors[0].revents != 0) return;
    std::size_t at = 2;
    for (auto loan = loans_.begin(); loan != loans_.end(); ++at) {
      const bool isBack = descriptors[at].revents != 0 && takeBack(*loan);
      loan = isBack ? loans_.erase(loan) : std::next(loan);
    }
    if (descriptors[1].revents != 0) lend();
  }
}

// Who gets none starts a browser of its own.
void LendingBrowsers::lend() {
  UniqueFd borrower(::accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
  if (!borrower) return;
  std::unique_ptr<LentBrowser> browser = idleBrowser();
  if (browser && browser->handTo(borrower.get()))
    loans_.push_back({std::move(borrower), std::move(browser)});
}

std::unique_ptr<LentBrowser> LendingBrowsers::idleBrowser() {
  while (!idle_.empty()) {
    std::unique_ptr<LentBrowser> browser = std::move(idle_.back());
    idle_.pop_back();
    if (browser->tidyUp()) return browser;
  }
  return LentBrowser::start();
}

// True when the loan is over. A browser that was not given back in order goes.
bool LendingBrowsers::takeBack(Loan& loan) {
  char word = 0;
  const ssize_t count = ::recv(loan.borrower.get(), &word, 1, MSG_DONTWAIT);
  if (count < 0 && (errno == EAGAIN || errno == EINTR)) return false;
  if (count == 1) idle_.push_back(std::move(loan.browser));
  return true;
}

}  // namespace workstation
