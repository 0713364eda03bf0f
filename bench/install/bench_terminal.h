/// The terminal that packages are installed on: a folder in memory, made anew for every run.
#ifndef WZAPP_BENCH_INSTALL_BENCH_TERMINAL_H
#define WZAPP_BENCH_INSTALL_BENCH_TERMINAL_H

#include <string>
#include <vector>

namespace bench {

/// A folder on a memory file system that is gone with the object, for packages and a terminal.
class WorkFolder {
 public:
  /// Throws std::runtime_error when there is no such file system, or less than `octets` free on it.
  explicit WorkFolder(unsigned long long octets);
  ~WorkFolder();
  WorkFolder(const WorkFolder&) = delete;
  WorkFolder& operator=(const WorkFolder&) = delete;

  [[nodiscard]] const std::string& path() const { return path_; }

 private:
  std::string path_;
};

/// Makes the terminal `directory` anew, with the roots in the folder `roots` and the package files
/// of the folder `packages` dropped in: as further names of the same files, so that a drop costs
/// nothing. Throws std::runtime_error.
void makeTerminal(const std::string& directory, const std::string& roots,
                  const std::string& packages);

/// What an installation run left on the terminal: a digest over paths, types and contents of
/// applications and marketplace manifests.
std::string digestOfInstalled(const std::string& terminal);

/// Names of the files that are left in the terminal's source directory.
std::vector<std::string> leftPackages(const std::string& terminal);

}  // namespace bench

#endif  // WZAPP_BENCH_INSTALL_BENCH_TERMINAL_H
