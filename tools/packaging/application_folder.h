/// The folder that an application is made in, as it goes into a package.
///
///     DIR/manifest.mft      becomes <id>.MFT beside the application's folder
///     DIR/confOwner.json    goes into the marketplace package; may be missing
///     DIR/...               everything else becomes <id>/..., but for names that begin with a dot:
///                           those are the developer's own and stay out, and so does what .wzignore
///                           says (ignore_rules.h)
#ifndef PACKAGING_APPLICATION_FOLDER_H
#define PACKAGING_APPLICATION_FOLDER_H

#include <string>
#include <vector>

namespace packaging {

inline constexpr char kFolderManifest[] = "manifest.mft";
inline constexpr char kOwnerConfiguration[] = "confOwner.json";

/// Names of this length in octets or longer make an archive unreadable for terminals.
inline constexpr std::size_t kEntryNameLimit = 256;

struct FolderFile {
  std::string name;  ///< relative to the folder, parts separated by "/"
  std::string path;
};

struct ApplicationFolder {
  std::string id, version;
  std::vector<std::string> sponsors;  ///< that its manifest lists
  FolderFile manifest;
  std::vector<FolderFile> files;     ///< without the two that have a place of their own; sorted
  std::string ownerConfiguration;    ///< path; empty: there is none
  std::vector<std::string> leftOut;  ///< names that stay out, not looked into; sorted
};

/// What was found out about what is to be packed: a code of wz's table and a line of text.
struct Finding {
  std::string code;
  std::string text;
};

struct Findings {
  std::vector<Finding> errors;    ///< a terminal could not read it, or would refuse it
  std::vector<Finding> warnings;  ///< it would be installed, but may not be what was meant
};

/// Reads the folder. The result is good when there are no errors.
/// \param leftOut  a file that stays out whatever its name, such as the package that is made of the
///                 folder; empty: none.
[[nodiscard]] ApplicationFolder readApplicationFolder(const std::string& path, Findings& findings,
                                                      const std::string& leftOut = "");

/// Whether a terminal can read the manifest `path` in one of its two forms. An error, or a warning
/// about the form, is put into `findings`.
[[nodiscard]] bool checkManifestForm(const std::string& path, Findings& findings);

/// The id in the manifest that is no plain name, if there is one. Terminals take it for none; its
/// author is to be told what is wrong with it.
[[nodiscard]] std::string misnamedId(const std::string& manifest);

/// Why `id` cannot be that of an installed application, as the rest of a sentence; empty when it
/// can.
[[nodiscard]] std::string whyNoApplicationId(const std::string& id);

/// The same for a sponsor.
[[nodiscard]] std::string whyNoSponsor(const std::string& sponsor);

}  // namespace packaging

#endif  // PACKAGING_APPLICATION_FOLDER_H
