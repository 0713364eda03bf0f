/// A browser that another program has started and lends to this one, which has it alone until it
/// gives it back.
///
/// The lender listens on a socket (SOCK_SEQPACKET). Whoever connects gets one message: a LoanGrant
/// with the ends of the browser's two pipes as descriptors. An octet sent back says that the
/// browser is given back in order; a connection that ends without it has left the browser in an
/// unknown state.
#ifndef WORKSTATION_BROWSER_ENGINE_BROWSER_LOAN_H
#define WORKSTATION_BROWSER_ENGINE_BROWSER_LOAN_H

#include <sys/socket.h>
#include <sys/un.h>

#include <memory>
#include <string>

#include "workstation/browser/engine/process/unique_fd.h"

namespace workstation {

struct LoanGrant {
  int firstId;  ///< Numbers of commands from here on are the borrower's: none of them is answered
                ///< late.
};

/// The descriptors that come with it, in this order.
enum LoanDescriptor { kLoanCommands, kLoanEvents, kLoanDescriptors };

/// The socket's address; false when the path is too long for one.
[[nodiscard]] bool loanAddress(const std::string& path, sockaddr_un& address);

class BrowserLoan {
 public:
  /// Null when nobody lends a browser there; the program then starts one of its own.
  static std::unique_ptr<BrowserLoan> take(const std::string& socket);

  /// Gives the browser back. What uses the pipes has stopped.
  ~BrowserLoan();
  BrowserLoan(const BrowserLoan&) = delete;
  BrowserLoan& operator=(const BrowserLoan&) = delete;

  UniqueFd commands, events;  ///< To be moved out.
  int firstId() const { return firstId_; }

 private:
  BrowserLoan() = default;

  UniqueFd lender_;
  int firstId_ = 1;
};

}  // namespace workstation

#endif  // WORKSTATION_BROWSER_ENGINE_BROWSER_LOAN_H
