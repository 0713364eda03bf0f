#include <memory>
#include <vector>

#include "wz/commands/commands.h"
#include "wz/reports/message_output.h"
#include "wz/reports/output.h"
#include "wz/terminal/session.h"
#include "wz/words/bus_messages.h"
#include "wz/words/exit_code.h"

namespace wz {

int listen(const ListenOptions& options) {
  watchInterrupts();
  Session session;
  if (!session.begin(options.terminal)) return kEnvironment;

  const MessageOutput output;
  Messages messages;
  std::vector<std::unique_ptr<Registration>> registrations;
  for (const std::string& name : options.names) {
    registrations.push_back(std::make_unique<Registration>(options.address, name, messages));
    if (!registrations.back()->succeeded()) return kEnvironment;
  }
  printNote("listening at " + options.address);

  const Deadline deadline = deadlineIn(options.timeoutSeconds);
  for (unsigned received = 0; options.count == 0 || received < options.count; ++received) {
    const std::optional<Message> message = messages.take(deadline);
    // Without a number to wait for, the user or the time limit is what ends this.
    if (!message) return options.count == 0 ? kDone : kApplicationFailed;
    if (options.asJson) {
      zelipc::JSObject event = output.event("received");
      MessageOutput::addMessage(*message, event);
      MessageOutput::print(event);
    } else {
      printLine(describe(*message));
    }
  }
  return kDone;
}

}  // namespace wz
