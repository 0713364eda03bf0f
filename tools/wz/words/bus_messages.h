/// Notifications on the terminal's bus, as the commands see them.
#ifndef WZ_WORDS_BUS_MESSAGES_H
#define WZ_WORDS_BUS_MESSAGES_H

#include <string>

#include "wz/terminal/inbox.h"
#include "zelipc/zelipc.h"

namespace wz {

/// A notification that came, or one of the program's own that nobody was there to receive.
struct Message {
  std::string from, to, name;
  std::string payload;  // JSON
  unsigned flags = 0;
  bool undelivered = false;
};

using Messages = Inbox<Message>;

/// For as long as it lives, puts the notifications `name` sent to `address` into `messages`.
class Registration {
 public:
  Registration(std::string address, std::string name, Messages& messages);
  ~Registration();
  Registration(const Registration&) = delete;
  Registration& operator=(const Registration&) = delete;

  /// False when the platform refused; nothing comes then.
  bool succeeded() const { return succeeded_; }

 private:
  std::string address_, name_;
  Messages& messages_;
  bool succeeded_;
};

/// For as long as it lives, puts this process's undelivered notifications into `messages`.
class DeliveryErrors {
 public:
  explicit DeliveryErrors(Messages& messages);
  ~DeliveryErrors();
  DeliveryErrors(const DeliveryErrors&) = delete;
  DeliveryErrors& operator=(const DeliveryErrors&) = delete;

 private:
  Messages& messages_;
};

/// Reads `text` as one JSON value; false after a message.
[[nodiscard]] bool readPayload(const std::string& text, zelipc::JSObject& payload);

/// "FROM -> TO NAME PAYLOAD"
std::string describe(const Message& message);

/// The name that answers to `name` carry unless another was chosen.
std::string replyNameFor(const std::string& name, const std::string& chosen);

}  // namespace wz

#endif  // WZ_WORDS_BUS_MESSAGES_H
