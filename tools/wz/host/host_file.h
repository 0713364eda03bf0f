/// Host files: what the programs around an application answer (host.schema.json).
#ifndef WZ_HOST_HOST_FILE_H
#define WZ_HOST_HOST_FILE_H

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "zelipc/zelipc.h"

namespace wz {

/// What is answered to one notification.
struct HostAnswer {
  enum class Kind { kReply, kSilence, kError, kMalformed, kProgram, kHeld };
  Kind kind = Kind::kSilence;
  zelipc::JSObject reply;            ///< kReply, kError: with its placeholders
  std::string text;                  ///< kMalformed
  std::vector<std::string> program;  ///< kProgram: it and its arguments
  std::string replyName;             ///< empty: that of the notification and "_reply"
  std::chrono::milliseconds delay{0};
  std::chrono::milliseconds timeout{30'000};  ///< kProgram
};

struct HostRule {
  std::string address, name;
  zelipc::JSObject condition;
  std::optional<long long> times;   ///< none: no end
  std::vector<HostAnswer> answers;  ///< at least one; the last is for all that come later
  long long used = 0;               ///< notifications answered so far
};

/// Reads the text of a host file. False with a line of text in `error`: where it is no JSON, where
/// it does not follow the schema, or what else cannot be meant. `file` is only the name used there.
[[nodiscard]] bool parseHostFile(const std::string& text, const std::string& file,
                                 std::vector<HostRule>& rules, std::string& error);

/// The rule that answers, its use counted; null when none does.
[[nodiscard]] HostRule* findRule(std::vector<HostRule>& rules, const std::string& address,
                                 const std::string& name, const zelipc::JSObject& payload);

}  // namespace wz

#endif  // WZ_HOST_HOST_FILE_H
