/// The folder in which variants wait to be played: one folder each with what is to be dropped into
/// a terminal's source directory, and tamper.json, which says what the log must say.
#ifndef WZ_TAMPER_LAB_FOLDER_H
#define WZ_TAMPER_LAB_FOLDER_H

#include <string>
#include <vector>

#include "wz/tamper/lab.h"

namespace wz {

/// A message of the installer that no variant provokes.
struct Unprovoked {
  std::string code, line, why;
};

/// The messages of the installer that these variants do not provoke. Where none ever can, `why`
/// says it; otherwise it is empty.
[[nodiscard]] std::vector<Unprovoked> unprovokedBy(const Variants& variants);

/// A variant as the folder has it.
struct KeptVariant {
  std::string name;  ///< of its folder
  std::string group, what;
  Expected expected;
};

struct KeptLab {
  std::string application;  ///< id
  std::vector<std::string> sponsors;
  std::vector<KeptVariant> variants;
};

/// Makes the folder, which must not exist; it appears complete or not at all. False with a line of
/// text in `error`.
[[nodiscard]] bool writeLab(const Lab& lab, const std::string& package,
                            const std::string& directory, std::string& error);

/// Reads tamper.json of such a folder. False with a line of text in `error`.
[[nodiscard]] bool readLab(const std::string& directory, KeptLab& lab, std::string& error);

}  // namespace wz

#endif  // WZ_TAMPER_LAB_FOLDER_H
