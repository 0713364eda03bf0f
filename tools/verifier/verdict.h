/// What a terminal with nothing installed makes of one package file.
#ifndef VERIFIER_VERDICT_H
#define VERIFIER_VERDICT_H

#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

namespace verifier {

/// What a terminal knows of itself. Its certificates are DER.
struct Terminal {
  struct Authority {
    int kind;
    std::string certificate;
  };
  std::vector<Authority> authorities;  ///< compiled into its library, in their order
  std::vector<std::string> roots;
  bool hasAllRoots = false;  ///< those of all authorities, which then need not be among `roots`
  std::string sponsor;
  std::string hardware;  ///< its descriptor, "480x800C15T"
  std::string model;
  std::vector<std::string> exports;  ///< manifests of the terminal's own software
};

/// One message: the code of it (tools/wz/words/codes.h) and what it names, in the message's order.
struct Finding {
  std::string code;
  std::vector<std::string> names;
  bool operator<(const Finding& other) const {
    return std::tie(code, names) < std::tie(other.code, other.names);
  }
  bool operator==(const Finding& other) const = default;
};

struct Verdict {
  int result = 0;                    ///< of the run: 0 good, 2 an error, 3 a warning
  std::multiset<Finding> findings;   ///< what a terminal reports
  std::multiset<Finding> causes;     ///< what is behind them, each with the name of its entry
  std::multiset<std::string> taken;  ///< archives that are verified and unpacked, by their names
  std::multiset<std::string> stays;  ///< ids of the applications that are there at the end

  [[nodiscard]] bool isAccepted() const { return result == 0 || result == 3; }
};

/// `path` is what the terminal calls the file, in its source directory; its name ends in ".zip".
[[nodiscard]] Verdict judge(std::string_view package, const std::string& path,
                            const Terminal& terminal);

}  // namespace verifier

#endif  // VERIFIER_VERDICT_H
