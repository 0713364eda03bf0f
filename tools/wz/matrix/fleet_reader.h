/// Reads terminals from where a user has them.
///
///     DIR             a terminal's folder; or a folder of such folders and of the files below
///     terminal.json   beside flash/ and home/: that terminal's folder
///     FILE            a profile, or JSON lines with a profile each; "-": standard input
///
/// A profile outside of a terminal's folder is what a new terminal would be. Beside what every
/// profile has (terminal_profile.h) it may say:
///
///     "name": "desk-7"                    default: FILE, or FILE:LINE
///     "count": 2500                       how many such terminals there are; default: 1
///     "installed": ["shop.zip"]           packages that are there; relative to the file
///     "exports": {"triggers_version": "1.0.0", "triggers": ["PAY"], "interfaces": []}
///
/// "exports" is what the terminal's own software offers; what is left out there is as on a new
/// terminal. "roots" is relative to the file; where it is left out, the certificates are those of a
/// new terminal.
#ifndef WZ_MATRIX_FLEET_READER_H
#define WZ_MATRIX_FLEET_READER_H

#include <cstddef>
#include <iosfwd>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "wz/check/json_tree.h"
#include "wz/matrix/fleet.h"

namespace wz {

class FleetReader {
 public:
  explicit FleetReader(Fleet& fleet) : fleet_(fleet) {}

  /// Adds what is there to the fleet. False after messages, of which there are not more than a few.
  [[nodiscard]] bool read(const std::vector<std::string>& sources);

 private:
  struct Profile;  // one text with a profile in it, and where it stands

  void readSource(const std::string& source);
  void readTerminal(const std::string& directory);
  void readFolder(const std::string& folder);
  void readFile(const std::string& file);
  void readStream(std::istream& stream, const std::string& file);
  void readProfile(const Profile& profile);
  [[nodiscard]] bool takeFacts(const Profile& profile, const JsonNode& root, FleetEntry& entry);
  [[nodiscard]] bool takeFact(const Profile& profile, const JsonMember& member, FleetEntry& entry);
  [[nodiscard]] bool takeTrust(const Profile& profile, FleetEntry& entry);
  void add(FleetEntry entry, const std::string& place);
  bool fail(const std::string& message);
  bool failAt(const Profile& profile, std::size_t offset, const std::string& message);
  [[nodiscard]] bool isEnough() const;

  Fleet& fleet_;
  std::size_t mistakes_ = 0;
  bool isTrustRead_ = false;
  workstation::NewTerminal newTerminal_;                                    // with its trust
  std::map<std::string, std::vector<workstation::RootCertificate>> roots_;  // by folder
};

}  // namespace wz

#endif  // WZ_MATRIX_FLEET_READER_H
