/// What installations look at of a terminal, in memory: profile, certificates, authorities, and the
/// manifests that are there, but none of its applications' own files. Of one such image any number
/// of terminals can be made.
#ifndef WZ_TERMINAL_TERMINAL_IMAGE_H
#define WZ_TERMINAL_TERMINAL_IMAGE_H

#include <string>
#include <vector>

#include "workstation/terminal/terminal_directory.h"

namespace wz {

struct ImageEntry {
  std::string path;  ///< relative to the terminal's folder
  bool isFolder = false;
  std::string content;  ///< of a file
};

/// Folders stand before what lies in them; what lies in one folder stands sorted by name.
using ImageEntries = std::vector<ImageEntry>;

struct TerminalImage {
  workstation::NewTerminal terminal;  ///< its `roots` is not used
  ImageEntries installed;             ///< in the configuration root
  bool hasOwnExports = false;         ///< those of `terminal` are not used
  ImageEntries exports;               ///< its own, below the users' homes
};

/// Reads the terminal in the folder `terminalDir`. False with a line of text in `error`: its
/// profile has a mistake, or a folder in it cannot be read.
[[nodiscard]] bool readTerminalImage(const std::string& terminalDir, TerminalImage& image,
                                     std::string& error);

/// Reads what is installed there now.
[[nodiscard]] bool readInstalled(const std::string& terminalDir, ImageEntries& installed,
                                 std::string& error);

/// The certificates of a folder that a terminal's security service would hand out.
[[nodiscard]] std::vector<workstation::RootCertificate> rootsIn(const std::string& folder);

/// Makes a terminal in `directory`, which must not exist or be empty. False with a line of text in
/// `error`.
[[nodiscard]] bool makeTerminalOf(const TerminalImage& image, const std::string& directory,
                                  std::string& error);

/// Writes entries below the terminal's folder. False with a line of text in `error`.
[[nodiscard]] bool writeEntries(const ImageEntries& entries, const std::string& terminalDir,
                                std::string& error);

/// Where a fixed path of the terminal lies in its folder: "flash/etc/..." for "/mnt/flash/etc/...".
[[nodiscard]] std::string inTerminalFolder(const char* path);

}  // namespace wz

#endif  // WZ_TERMINAL_TERMINAL_IMAGE_H
