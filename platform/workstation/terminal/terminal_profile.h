/// What terminal a folder plays: the profile in its `terminal.json`.
///
/// The file is one JSON object (RFC 8259, UTF-8, at most 64 KiB):
///
///     {
///       "serial": "10000000001",          0 to 16 characters
///       "model": "T30",                   0 to 12 characters
///       "display": {
///         "width": 480,                   1 to 16384 pixels
///         "height": 800,                  1 to 16384 pixels
///         "colour": true
///       },
///       "memory": 524288,                 0 to 4194303 units of 1024 octets
///       "keys": 15,                       0 to 255
///       "touch": true,
///       "engine": 87,                     1 to 9999; may be left out: not known
///       "sponsor": {                      may be left out: no sponsor
///         "id": "123456",                 six digits, not all of them 0
///         "text": "Example sponsor"       1 to 127 octets
///       },
///       "roots": "roots"                  may be left out: no certificates
///     }
///
/// "engine" is the major version of the terminal's own browser, as Chromium counts. Nothing here
/// behaves by it; wz warns of what is newer.
///
/// "roots" names a folder of DER certificates, relative to the terminal directory unless absolute.
/// "serial" and "model" are printable ASCII; where one is empty, the platform has no answer to that
/// question. Everything else must be there, no key may stand twice, and no other key is known.
#ifndef WORKSTATION_TERMINAL_TERMINAL_PROFILE_H
#define WORKSTATION_TERMINAL_TERMINAL_PROFILE_H

#include <string>

namespace workstation {

struct TerminalProfile {
  std::string serial;
  std::string model;
  int displayWidth = 0;   // pixels
  int displayHeight = 0;  // pixels
  bool displayColour = false;
  unsigned memoryKB = 0;  // units of 1024 octets
  int keys = 0;
  bool touch = false;
  unsigned engine = 0;         // 0: not known
  std::string sponsorId;       // six digits, or empty: no sponsor
  std::string sponsorText;     // empty exactly when sponsorId is
  std::string rootsDirectory;  // absolute path when loaded from a terminal, or empty
};

/// Where in which file something is wrong, in plain words.
struct ProfileError {
  std::string file;
  int line = 0;    // from 1; 0: the file as a whole
  int column = 0;  // in octets, from 1
  std::string message;
  bool isPassing = false;  // the file could not be read, for a reason that says nothing about it

  /// "FILE:LINE:COLUMN: MESSAGE", or "FILE: MESSAGE" for the file as a whole.
  std::string text() const;
};

/// Name of the profile in a terminal directory.
inline constexpr char kProfileFile[] = "terminal.json";

/// The text of a profile that stands in, in this process and those that it starts, for the one of
/// the terminal that it plays: another screen can so be tried.
inline constexpr char kProfileVariable[] = "WZ_TERMINAL_PROFILE";

/// Reads the profile of the terminal `terminalDir`. On failure `profile` is left alone and `error`
/// says what is wrong. May be called from any thread.
[[nodiscard]] bool loadTerminalProfile(const std::string& terminalDir, TerminalProfile& profile,
                                       ProfileError& error);

/// The same for a text in memory; `file` is only the name used in errors. "roots" stays as written.
[[nodiscard]] bool parseTerminalProfile(const std::string& text, const std::string& file,
                                        TerminalProfile& profile, ProfileError& error);

/// The text of a profile as it is written into a new terminal directory. What is written here and
/// keeps to the bounds above reads back equal.
std::string formatTerminalProfile(const TerminalProfile& profile);

/// True when what formatTerminalProfile makes of `profile` would read back; otherwise `error` has a
/// message.
[[nodiscard]] bool checkTerminalProfile(const TerminalProfile& profile, ProfileError& error);

/// The terminal that this process plays: the environment variable WZ_TERMINAL, empty when none.
std::string terminalDirectory();

}  // namespace workstation

#endif  // WORKSTATION_TERMINAL_TERMINAL_PROFILE_H
