/// Opens the user's browser from outside of the terminal that the program is inside of.
#ifndef WZ_WORKBENCH_BROWSER_OPENER_H
#define WZ_WORKBENCH_BROWSER_OPENER_H

#include <string>

namespace wz {

/// A small process that waits for an address. The address goes by a file of the user's alone: on a
/// command line every user of the machine could read its token, and be faster.
class BrowserOpener {
 public:
  BrowserOpener() = default;
  ~BrowserOpener();  ///< Removes the file.
  BrowserOpener(const BrowserOpener&) = delete;
  BrowserOpener& operator=(const BrowserOpener&) = delete;

  /// To be called before the process enters the terminal. Where there is no display or no program
  /// that opens addresses, nothing is opened.
  void begin();

  /// \param terminal  the file is written into its run folder.
  void open(const std::string& address, const std::string& terminal);

 private:
  int pipe_ = -1;
  std::string file_;
};

}  // namespace wz

#endif  // WZ_WORKBENCH_BROWSER_OPENER_H
