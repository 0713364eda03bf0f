/// Which files of an application's folder stay out of its package: .wzignore, in the syntax of
/// gitignore(5).
///
///     *.psd        files and folders of such a name, wherever they are
///     /notes.txt   this one, at the top
///     src/         folders of that name, with all that is in them
///     docs/**/*.md
///     !keep.psd    not left out after all; the last line that fits decides
#ifndef PACKAGING_IGNORE_RULES_H
#define PACKAGING_IGNORE_RULES_H

#include <string>
#include <string_view>
#include <vector>

namespace packaging {

inline constexpr char kIgnoreFile[] = ".wzignore";

class IgnoreRules {
 public:
  IgnoreRules() = default;
  /// \param text  of the file; a line that says nothing is passed over.
  explicit IgnoreRules(std::string_view text);

  /// \param name  relative to the folder, parts separated by "/". What lies in a folder that is
  ///              ignored is not to be asked for.
  [[nodiscard]] bool isIgnored(std::string_view name, bool isFolder) const;

 private:
  struct Rule {
    std::string pattern;
    bool isExcept, isForFolders, isAnchored;
  };

  void addLine(std::string_view line);

  std::vector<Rule> rules_;
};

/// Whether `text` fits `pattern`: * and ? stand for characters but "/", ** for anything between two
/// "/", [a-z] and [!a-z] for one character; a backslash takes the meaning from what follows.
[[nodiscard]] bool matchesGlob(std::string_view pattern, std::string_view text);

}  // namespace packaging

#endif  // PACKAGING_IGNORE_RULES_H
