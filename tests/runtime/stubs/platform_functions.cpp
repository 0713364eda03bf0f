// The functions that the library imports from the platform, on top of the recording platform.
#include <algorithm>
#include <cstring>

#include "platforminfo/platforminfo.h"
#include "tests/runtime/stubs/recording_platform.h"
#include "zelsec/zelsec.h"

using stubs::platform;

namespace {

std::string quoted(const std::string& text) { return '"' + text + '"'; }

std::string number(long value) { return std::to_string(value); }

}  // namespace

namespace zelgui {

void uiSetLocalProperties(bool local) {
  platform().note(std::string("uiSetLocalProperties ") + (local ? "true" : "false"));
  if (platform().answers.localProperties) platform().answers.localProperties(local);
}

int uiSetPropertyString(int display, int property, const char* value) {
  platform().note("uiSetPropertyString " + number(display) + " " + number(property) + " " +
                  quoted(value));
  return 0;
}

int uiSetPropertyInt(int display, int property, int value) {
  platform().note("uiSetPropertyInt " + number(display) + " " + number(property) + " " +
                  number(value));
  return 0;
}

int uiReadConfig(int display) {
  platform().note("uiReadConfig " + number(display));
  return 0;
}

std::string uiGetTerminalResourceDir(const std::string& applicationDir) {
  platform().note("uiGetTerminalResourceDir " + quoted(applicationDir));
  return applicationDir + "/t30";
}

int uiInvokeURLAsync(int display, int region, const UIProperties& properties,
                     const std::string& url, UICallback callback, void* user) {
  platform().note("uiInvokeURLAsync " + number(display) + " " + number(region) + " " + quoted(url) +
                  (callback == nullptr && user == nullptr ? "" : " with a callback"));
  return platform().invoke(properties, url);
}

int uiInvokeWait(int invocation, UIProperties& properties, int timeoutMs) {
  platform().note("uiInvokeWait " + number(invocation) + " " + number(timeoutMs));
  return platform().waitForEnd(invocation, properties);
}

int uiInvokeCancelAsync(int invocation) {
  platform().note("uiInvokeCancelAsync " + number(invocation));
  platform().cancel(invocation);
  return 0;
}

std::string uiScriptError() {
  platform().note("uiScriptError");
  return platform().answers.scriptError;
}

}  // namespace zelgui

namespace zelhtml {

void htmlSetScriptProcessor(const std::string& type, ScriptProcessor processor, void* user) {
  platform().note("htmlSetScriptProcessor " + quoted(type) + (user == nullptr ? "" : " with user"));
  platform().script.processor = processor;
  if (platform().answers.registration) platform().answers.registration();
}

}  // namespace zelhtml

namespace js {

bool jsProcessorExt(void*, const std::string&, std::map<std::string, std::string>&) {
  return false;
}

void jsSetNotify(JSNotify callback, void* user) {
  platform().note(std::string("jsSetNotify") + (user == nullptr ? "" : " with user"));
  platform().script.notify = callback;
}

void jsSetNotifyAndWait(JSNotifyAndWait callback, void* user) {
  platform().note(std::string("jsSetNotifyAndWait") + (user == nullptr ? "" : " with user"));
  platform().script.notifyAndWait = callback;
}

void jsSetTrace(JSTrace callback, void* user) {
  platform().note(std::string("jsSetTrace") + (user == nullptr ? "" : " with user"));
  platform().script.trace = callback;
}

void jsSetLog(JSLog callback, void* user) {
  platform().note(std::string("jsSetLog") + (user == nullptr ? "" : " with user"));
  platform().script.log = callback;
}

}  // namespace js

namespace zelipc {

int ipcNotify(const std::string& to, const std::string& name, const JSObject& payload,
              unsigned int flags, const std::string& from) {
  platform().note("ipcNotify " + quoted(to) + " " + quoted(name) + " " +
                  number(static_cast<long>(flags)) + " " + quoted(from));
  return platform().send({to, name, payload.dump(), flags, from});
}

int ipcRegisterNotificationCB(const std::string& name, NotificationCallback callback, void* data,
                              int options, const std::string& from) {
  platform().note("ipcRegisterNotificationCB " + quoted(name) + " " + number(options) + " " +
                  quoted(from));
  platform().add(stubs::ReplyRegistration{name, from, options, callback, data});
  return 0;
}

int ipcUnregisterNotificationCB(const std::string& name, NotificationCallback callback, void* data,
                                const std::string& from) {
  platform().remove(name, callback, data, from);
  platform().note("ipcUnregisterNotificationCB " + quoted(name) + " " + quoted(from));
  return 0;
}

int ipcRegisterUnicastError(UnicastErrorCallback callback, void* data) {
  platform().note("ipcRegisterUnicastError");
  platform().add(stubs::ErrorRegistration{callback, data});
  return 0;
}

int ipcUnregisterUnicastError(UnicastErrorCallback callback, void* data) {
  platform().remove(stubs::ErrorRegistration{callback, data});
  platform().note("ipcUnregisterUnicastError");
  return 0;
}

}  // namespace zelipc

extern "C" int platforminfo_get(int key, void* buffer, unsigned int size, unsigned int* length) {
  platform().note("platforminfo_get " + number(key) + " " + number(static_cast<long>(size)));
  const auto answer = platform().answers.information.find(key);
  if (answer == platform().answers.information.end()) return -1;
  const std::size_t count = std::min<std::size_t>(size, answer->second.size());
  std::memcpy(buffer, answer->second.data(), count);
  *length = static_cast<unsigned int>(count);
  return 0;
}

extern "C" int CMDiag(int operation, void* buffer, unsigned short* length) {
  std::string record;
  if (operation != 4 || !platform().nextSponsorRecord(record)) return -510;
  std::memcpy(buffer, record.data(), record.size());
  *length = static_cast<unsigned short>(record.size());
  return 0;
}
