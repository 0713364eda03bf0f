/// Notifications as objects of JSON, one a line, for programs that read along.
///
/// Every object has "schema", the number of this form, now 1; "time", microseconds since the
/// command began; and "event". Further members depend on the event; new ones may come without a new
/// number.
#ifndef WZ_REPORTS_MESSAGE_OUTPUT_H
#define WZ_REPORTS_MESSAGE_OUTPUT_H

#include <chrono>
#include <string>

#include "wz/words/bus_messages.h"
#include "zelipc/zelipc.h"

namespace wz {

/// Any thread.
class MessageOutput {
 public:
  /// A new line's object, with the members that all have.
  [[nodiscard]] zelipc::JSObject event(const char* name) const;

  /// Adds from, to, name, flags and payload.
  static void addMessage(const Message& message, zelipc::JSObject& event);

  /// ASCII alone, so that nothing in it acts on the user's terminal.
  static void print(const zelipc::JSObject& event);

 private:
  std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
};

/// The JSON text of a value in ASCII alone.
[[nodiscard]] std::string asciiJson(const zelipc::JSObject& value);

}  // namespace wz

#endif  // WZ_REPORTS_MESSAGE_OUTPUT_H
