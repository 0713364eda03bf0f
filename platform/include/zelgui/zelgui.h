/// The terminal's GUI and browser service, as its client library offers it.
///
/// A property or an invocation belongs to one display. Strings are UTF-8, zero-terminated, and
/// copied before a call returns. Every function may be called from any thread.
#ifndef ZELGUI_ZELGUI_H
#define ZELGUI_ZELGUI_H

#include <map>
#include <string>

namespace zelgui {

typedef std::map<std::string, std::string> UIProperties;

/// Told when an invocation has ended; `result` is what uiInvokeWait returns for it.
typedef void (*UICallback)(void* user, int invocation, int result);

/// While on, the properties that the calling thread sets count for its own invocations only.
void uiSetLocalProperties(bool local);

/// Sets one property of `display`. 0 on success.
int uiSetPropertyString(int display, int property, const char* value);
int uiSetPropertyInt(int display, int property, int value);

/// Reads the configuration found in the resource directories set before. 0 on success.
int uiReadConfig(int display);

/// The directory with the resources that fit this terminal, for an application installed in
/// `applicationDir`.
std::string uiGetTerminalResourceDir(const std::string& applicationDir);

/// Opens `url` in `region` of `display` and returns the invocation's id without waiting for the
/// page. Negative for what is known before loading: no such file, no browser, a URL outside the
/// application. A page that fails later ends its invocation with a negative result.
/// A null `callback` is never called.
int uiInvokeURLAsync(int display, int region, const UIProperties& properties,
                     const std::string& url, UICallback callback, void* user);

/// Waits at most `timeoutMs` milliseconds, or without limit for -1, for the end of an invocation.
/// Returns the page's result and replaces `properties` by the page's final ones.
int uiInvokeWait(int invocation, UIProperties& properties, int timeoutMs);

/// Asks an invocation to end; does not wait for it.
int uiInvokeCancelAsync(int invocation);

/// The text that goes with the calling thread's last failure; empty when there was none.
std::string uiScriptError();

}  // namespace zelgui

#endif  // ZELGUI_ZELGUI_H
