#include <unistd.h>

#include <chrono>
#include <optional>
#include <string>

#include "wz/commands/commands.h"
#include "wz/reports/json_document.h"
#include "wz/reports/message_output.h"
#include "wz/reports/output.h"
#include "wz/terminal/session.h"
#include "wz/words/bus_messages.h"
#include "wz/words/exit_code.h"

namespace wz {
namespace {

// For a bus that does not answer at all.
constexpr std::chrono::seconds kReturnTime{5};

bool isOurs(const Message& message, const NotifyOptions& options) {
  return message.to == options.to && message.name == options.name && message.from == options.from;
}

// The reply's value, JSON, as the result.
void printJson(const std::string* reply) {
  printJsonDocument("notify", true, {}, [reply](JsonWriter& writer) {
    writer.Key("reply");
    if (reply == nullptr) {
      writer.Null();
      return;
    }
    zelipc::JSObject value;
    value.parse(reply->c_str());
    const std::string text = asciiJson(value);
    writer.RawValue(text.data(), text.size(), rapidjson::kObjectType);
  });
}

// Prints the reply. False when there is none.
bool awaitReply(Messages& messages, const NotifyOptions& options, const std::string& replyName) {
  const Deadline deadline = deadlineIn(options.timeoutSeconds);
  while (const std::optional<Message> message = messages.take(deadline)) {
    if (!message->undelivered) {
      if (options.asJson) {
        printJson(&message->payload);
      } else {
        printLine(message->payload);
      }
      return true;
    }
    if (isOurs(*message, options)) {
      printMessage("nobody listens for " + options.name + " at " + options.to);
      return false;
    }
  }
  printMessage("no " + replyName + " came");
  return false;
}

// Notifications come back in their order: what was to come back is there when another one is that
// was sent behind it to an address that nobody has.
bool awaitReturn(Messages& messages, const NotifyOptions& options) {
  const std::string nobody = "wz.nobody." + std::to_string(getpid());
  if (zelipc::ipcNotify(nobody, options.name, zelipc::JSObject(), 0, options.from) != 0) {
    return false;
  }
  const Deadline deadline = std::chrono::steady_clock::now() + kReturnTime;
  while (const std::optional<Message> message = messages.take(deadline)) {
    if (message->to == nobody) return false;
    if (!isOurs(*message, options)) continue;
    printMessage("nobody listens for " + options.name + " at " + options.to);
    return true;
  }
  return false;
}

}  // namespace

int notify(const NotifyOptions& options) {
  watchInterrupts();
  zelipc::JSObject payload;
  if (!readPayload(options.payload, payload)) return kUsage;
  Session session;
  if (!session.begin(options.terminal)) return kEnvironment;

  Messages messages;
  const DeliveryErrors errors(messages);
  const std::string replyName = replyNameFor(options.name, options.replyName);
  std::optional<Registration> registration;
  if (options.waitForReply) {
    registration.emplace(options.from, replyName, messages);
    if (!registration->succeeded()) return kEnvironment;
  }
  if (zelipc::ipcNotify(options.to, options.name, payload, options.flags, options.from) != 0) {
    printMessage("the notification could not be sent");
    return kEnvironment;
  }
  if (options.waitForReply) {
    return awaitReply(messages, options, replyName) ? kDone : kApplicationFailed;
  }
  if (awaitReturn(messages, options)) return kApplicationFailed;
  if (options.asJson) printJson(nullptr);
  return kDone;
}

}  // namespace wz
