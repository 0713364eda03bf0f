#include "wz/commands/commands.h"
#include "wz/reports/message_output.h"
#include "wz/reports/output.h"
#include "wz/terminal/session.h"
#include "wz/words/bus_messages.h"
#include "wz/words/exit_code.h"

namespace wz {

int reply(const ReplyOptions& options) {
  watchInterrupts();
  zelipc::JSObject payload;
  if (!readPayload(options.payload, payload)) return kUsage;
  Session session;
  if (!session.begin(options.terminal)) return kEnvironment;

  Messages messages;
  const Registration registration(options.address, options.name, messages);
  if (!registration.succeeded()) return kEnvironment;
  printNote("answering " + options.name + " at " + options.address);

  const MessageOutput output;
  const std::string replyName = replyNameFor(options.name, options.replyName);
  const Deadline deadline = deadlineIn(options.timeoutSeconds);
  for (unsigned answered = 0; options.count == 0 || answered < options.count; ++answered) {
    const std::optional<Message> message = messages.take(deadline);
    if (!message) return options.count == 0 ? kDone : kApplicationFailed;
    if (options.asJson) {
      zelipc::JSObject event = output.event("asked");
      MessageOutput::addMessage(*message, event);
      MessageOutput::print(event);
    } else {
      printLine(describe(*message));
    }
    if (zelipc::ipcNotify(message->from, replyName, payload, 0, options.address) != 0) {
      printMessage("the answer to " + message->from + " could not be sent");
      return kEnvironment;
    }
  }
  return kDone;
}

}  // namespace wz
