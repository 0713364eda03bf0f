#include "workstation/browser/engine/process/browser_loan.h"

#include <poll.h>

#include <cerrno>
#include <cstring>

namespace workstation {
namespace {

// A browser may have to be started first.
constexpr int kPatienceMs = 20'000;

struct Message {
  LoanGrant grant = {};
  iovec part = {&grant, sizeof grant};
  alignas(cmsghdr) char control[CMSG_SPACE(kLoanDescriptors * sizeof(int))] = {};
  msghdr header = {};

  Message() {
    header.msg_iov = &part;
    header.msg_iovlen = 1;
    header.msg_control = control;
    header.msg_controllen = sizeof control;
  }
};

bool receive(int socket, Message& message, int (&descriptors)[kLoanDescriptors]) {
  pollfd ready = {socket, POLLIN, 0};
  int answered = 0;
  do {
    answered = ::poll(&ready, 1, kPatienceMs);
  } while (answered < 0 && errno == EINTR);
  if (answered <= 0) return false;
  const ssize_t size = ::recvmsg(socket, &message.header, MSG_CMSG_CLOEXEC);
  const cmsghdr* const control = CMSG_FIRSTHDR(&message.header);
  if (size != static_cast<ssize_t>(sizeof message.grant) || control == nullptr ||
      control->cmsg_type != SCM_RIGHTS || control->cmsg_len != CMSG_LEN(sizeof descriptors)) {
    return false;
  }
  std::memcpy(descriptors, CMSG_DATA(control), sizeof descriptors);
  return true;
}

}  // namespace

bool loanAddress(const std::string& path, sockaddr_un& address) {
  address = {};
  address.sun_family = AF_UNIX;
  if (path.empty() || path.size() >= sizeof address.sun_path) return false;
  path.copy(address.sun_path, path.size());
  return true;
}

std::unique_ptr<BrowserLoan> BrowserLoan::take(const std::string& socket) {
  sockaddr_un address;
  std::unique_ptr<BrowserLoan> loan(new BrowserLoan);
  loan->lender_ = UniqueFd(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
  if (!loan->lender_ || !loanAddress(socket, address) ||
      ::connect(loan->lender_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) !=
          0) {
    return nullptr;
  }
  Message message;
  int descriptors[kLoanDescriptors];
  if (!receive(loan->lender_.get(), message, descriptors)) return nullptr;
  loan->commands = UniqueFd(descriptors[kLoanCommands]);
  loan->events = UniqueFd(descriptors[kLoanEvents]);
  loan->firstId_ = message.grant.firstId;
  return loan;
}

BrowserLoan::~BrowserLoan() {
  if (lender_)
    (void)::send(lender_.get(), "", 1, MSG_NOSIGNAL);  // a lender that has gone minds not
}

}  // namespace workstation
