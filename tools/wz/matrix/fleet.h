/// Terminals by their profiles, those that no installation can tell apart as one group.
///
/// Equal are terminals of the same model, display, keys, touch screen and sponsor, with the same
/// certificates, table of authorities, exports and installed manifests. What else a profile says
/// (serial number, memory, the sponsor's text) the installer asks for nothing of.
#ifndef WZ_MATRIX_FLEET_H
#define WZ_MATRIX_FLEET_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "crypto/digest/digest.h"
#include "wz/terminal/terminal_image.h"

namespace wz {

struct FleetTerminal {
  std::string name;
  std::uint64_t count = 1;  ///< how many terminals this one stands for
  std::size_t group = 0;
};

struct FleetGroup {
  std::string fingerprint;  ///< SHA-256, hexadecimal, of all that installations look at
  TerminalImage image;
  std::vector<std::string> installed;  ///< packages that are to be installed there first
};

/// A profile with what stands beside it.
struct FleetEntry {
  std::string name;
  std::uint64_t count = 1;
  TerminalImage image;
  std::vector<std::string> installed;
};

/// The digest of a file, or of what a link of that name leads to, hexadecimal; empty when it cannot
/// be read.
[[nodiscard]] std::string sha256Behind(const std::string& file);

/// A digest over texts, none of which can be taken for a part of another.
class Fingerprint {
 public:
  Fingerprint();

  Fingerprint& add(std::string_view text);
  Fingerprint& add(std::int64_t number);
  /// Hexadecimal; nothing is to be added afterwards.
  [[nodiscard]] std::string text();

 private:
  wzapp::Sha256Context context_;
};

class Fleet {
 public:
  enum class Grouping {
    kEqual,  ///< equal terminals are tried once
    kOne,    ///< they also stand there once, by the name of the first, with their count
    kNone,   ///< each terminal is tried by itself
  };
  explicit Fleet(Grouping grouping = Grouping::kEqual) : grouping_(grouping) {}

  /// False with a line of text in `error`: a terminal of that name is there already, or a package
  /// that is said to be installed cannot be read.
  [[nodiscard]] bool add(FleetEntry entry, std::string& error);

  [[nodiscard]] const std::vector<FleetTerminal>& terminals() const { return terminals_; }
  [[nodiscard]] const std::vector<FleetGroup>& groups() const { return groups_; }
  /// How many different terminals there are, grouped or not.
  [[nodiscard]] std::size_t distinct() const { return known_.size(); }

 private:
  [[nodiscard]] bool digestsOf(const std::vector<std::string>& packages, Fingerprint& fingerprint,
                               std::string& error);

  Grouping grouping_;
  std::vector<FleetTerminal> terminals_;
  std::vector<FleetGroup> groups_;
  std::map<std::string, std::size_t> known_;  // fingerprints, the group of each
  std::set<std::string> names_;
  std::map<std::string, std::string> digests_;  // of package files, by path
};

}  // namespace wz

#endif  // WZ_MATRIX_FLEET_H
