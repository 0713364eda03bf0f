/// Browsers without a window that outlive the programs which show pages in them: they are lent, to
/// one program at a time each, and tidied up in between.
#ifndef WORKSTATION_BROWSER_ENGINE_BROWSER_LENDER_H
#define WORKSTATION_BROWSER_ENGINE_BROWSER_LENDER_H

#include <list>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "workstation/browser/browser_control.h"
#include "workstation/browser/engine/process/unique_fd.h"

namespace workstation {

class LentBrowser;

/// Its thread does everything.
class LendingBrowsers final : public BrowserLender {
 public:
  /// Listens on `socket`. Null, with the reason in `error`, on failure.
  static std::unique_ptr<LendingBrowsers> open(const std::string& socket, std::string& error);

  /// Ends the browsers, those that are lent too.
  ~LendingBrowsers() override;

 private:
  struct Loan {
    UniqueFd borrower;
    std::unique_ptr<LentBrowser> browser;
  };

  LendingBrowsers();
  void run();
  void lend();
  std::unique_ptr<LentBrowser> idleBrowser();
  bool takeBack(Loan& loan);

  UniqueFd listener_, wakeUp_;
  std::thread thread_;
  std::list<Loan> loans_;
  std::vector<std::unique_ptr<LentBrowser>> idle_;
};

}  // namespace workstation

#endif  // WORKSTATION_BROWSER_ENGINE_BROWSER_LENDER_H
