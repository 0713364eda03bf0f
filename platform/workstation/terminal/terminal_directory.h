/// Makes terminal directories, and keeps two programs from changing one at once.
///
///     TERMINAL/
///       terminal.json            the profile (terminal_profile.h)
///       flash/                   seen as /mnt/flash
///       home/usr1 ... sys16/     seen below /home
///       home/sys1/www/           the manifest with what the terminal's own software exports
///       roots/                   the terminal's certificates, one DER file each
///       run/                     the message bus and what programs need while they run; mode 0700
#ifndef WORKSTATION_TERMINAL_TERMINAL_DIRECTORY_H
#define WORKSTATION_TERMINAL_TERMINAL_DIRECTORY_H

#include <string>
#include <vector>

#include "workstation/terminal/terminal_profile.h"

namespace workstation {

/// What the terminal's own software offers to applications. Ids are UTF-8.
struct TerminalExports {
  std::string triggersVersion = "1.0.0";
  std::vector<std::string> triggers;
  std::vector<std::string> interfaces;
};

/// A certificate that is to lie among a terminal's own.
struct RootCertificate {
  std::string fileName;  // one that a folder of certificates is read by (*.der, *.crt, *.cer)
  std::string der;
};

/// A row of the table of authorities that a terminal brings along.
struct AuthorityRow {
  int kind;
  std::string der;
};

struct NewTerminal {
  TerminalProfile profile;  // its rootsDirectory is not used: a new terminal has its own
  TerminalExports exports;
  std::string roots;  // folder whose certificate files are copied; empty: ownRoots are written
  std::vector<RootCertificate> ownRoots;
  std::vector<AuthorityRow> authorities;  // none: those that are compiled into the library
};

/// The most octets that a certificate of a terminal may have; the security service hands out none
/// that is longer.
inline constexpr std::size_t kMaxCertificateSize = 8192;

/// Where the terminal's own software exports what it offers, relative to the terminal directory.
inline constexpr char kTerminalManifest[] = "home/sys1/www/terminal-software.mft";

/// Makes a complete terminal in `directory`, which must not exist or be empty; folders above it are
/// made where they are missing. False with a line of text in `error` when that failed, and then
/// nothing is left of it.
[[nodiscard]] bool createTerminal(const std::string& directory, const NewTerminal& terminal,
                                  std::string& error);

/// The certificate files (*.der, *.crt, *.cer in any case) of a folder, sorted by name, as paths.
/// Empty when the folder cannot be listed. The only exception is std::bad_alloc.
std::vector<std::string> certificateFiles(const std::string& folder);

/// The exclusive right to change a terminal, by flock(2) on its folder. It ends with the object
/// and, whatever happens, with the process.
class TerminalLock {
 public:
  TerminalLock() = default;
  ~TerminalLock();
  TerminalLock(const TerminalLock&) = delete;
  TerminalLock& operator=(const TerminalLock&) = delete;

  /// Does not wait: false with a line of text in `error` when another program holds the right, or
  /// when the folder is not there or not the user's own.
  [[nodiscard]] bool acquire(const std::string& terminalDir, std::string& error);

  /// Waits for as long as another program holds the right.
  [[nodiscard]] bool wait(const std::string& terminalDir, std::string& error);

  void release();

 private:
  bool take(const std::string& terminalDir, int operation, std::string& error);

  int folder_ = -1;
};

}  // namespace workstation

#endif  // WORKSTATION_TERMINAL_TERMINAL_DIRECTORY_H
