// The bridge from the script processor to the terminal's messaging.
//
// Scripts call it on the script processor's threads, several at once.
#ifndef WZAPP_RUNTIME_SCRIPT_BRIDGE_H
#define WZAPP_RUNTIME_SCRIPT_BRIDGE_H

#include <string>

#include "zelipc/zelipc.h"

namespace wzapp {

// Makes the script processor known to the HTML engine, and the callbacks of this library to the
// script processor. Once per process, however often and from however many threads it is called.
// Throws what the platform throws, and can then be called again.
void registerScriptCallbacks();

// Reads `text` into `out`; true when it is one JSON value and nothing else.
bool parseJson(zelipc::JSObject& out, const std::string& text);

// Sends a notification with the value of the text `json`; a text that cannot be read sends what
// the parser made of it. Null `from` is the empty sender.
// -1 when a required argument is null or memory is out, otherwise the messaging's own result.
int onScriptNotify(void* user, const char* to, const char* name, const char* json,
                   unsigned int flags, const char* from) noexcept;

// The same, and waits at most `timeoutMs` milliseconds, without limit when negative, for the
// notification named `replyName` that is sent to `from`.
// -12 when a required argument is null, and `reply` is then left alone. Otherwise `reply` is the
// JSON text of the reply, empty without one. -11 without a reply: none came in time, nobody was
// there to receive the notification, it could not be sent, or memory is out. Otherwise the result
// of sending, 0.
int onScriptNotifyAndWait(void* user, const char* to, const char* name, const char* json,
                          unsigned int flags, const char* from, const char* replyName,
                          std::string& reply, int timeoutMs) noexcept;

}  // namespace wzapp

#endif  // WZAPP_RUNTIME_SCRIPT_BRIDGE_H
