/// New signers below an authority whose private key is at hand.
///
/// Every one gets a serial number of its own: six digits, one above the highest among those that
/// the key directory knows of. A copy of each certificate stays in its folder "issued".
#ifndef DEVKEYS_SIGNER_ISSUE_H
#define DEVKEYS_SIGNER_ISSUE_H

#include <cstddef>
#include <string>
#include <vector>

namespace devkeys {

/// A row of the table of a key directory.
struct AuthorityFile {
  int kind;          ///< 2: of signers, 3: of applications, 4: of manifests
  std::string path;  ///< of the certificate; its private key lies beside it, as .key
};

struct IssueOrder {
  std::string keys;                  ///< the key directory
  std::vector<AuthorityFile> table;  ///< its own
  std::size_t authority = 0;  ///< a row from 1; 0: the first whose private key is there, or, for a
                              ///< signer that takes another's place, that one's
  std::vector<std::string> roles;  ///< "application", "manifest"; none: whatever is possible
  std::string today;               ///< YYYYMMDD
  std::string until;               ///< YYYYMMDD, the last day; empty: as long as the authority
};

struct IssuedSigner {
  std::string role;
  std::string file;        ///< the certificate; its key lies beside it
  std::string serial;      ///< as a terminal shows it
  std::size_t authority;   ///< row of the table, from 1
  std::string permission;  ///< "S14", "S11"
  std::string notAfter;    ///< YYYYMMDDhhmmssZ
  std::string retired;     ///< where the certificate before it lies now; empty: there was none
};

/// Makes `directory`, which must not exist: a key directory with new signers, the table and the
/// certificates of the authorities and roots, without their keys. It appears complete or not at
/// all. False with a line of text in `error`.
[[nodiscard]] bool issueSigners(const IssueOrder& order, const std::string& directory,
                                std::vector<IssuedSigner>& issued, std::string& error);

/// Puts new signers in the place of those of the key directory; what lay there is kept in its
/// folder "retired", by serial numbers. The old ones stay until the new ones take their place at
/// once. False with a line of text in `error`.
[[nodiscard]] bool rotateSigners(const IssueOrder& order, std::vector<IssuedSigner>& issued,
                                 std::string& error);

}  // namespace devkeys

#endif  // DEVKEYS_SIGNER_ISSUE_H
