// GUI service, platform information and security service.

#include <cstdio>
#include <cstring>
#include <mutex>

#include "platforminfo/platforminfo.h"
#include "tests/end_to_end/doubles/platform.h"
#include "zelgui/zelgui.h"
#include "zelsec/zelsec.h"

namespace platform_double {

void tell(const std::string& line) {
  static std::mutex mutex;
  const std::lock_guard<std::mutex> lock(mutex);
  std::printf("%s\n", line.c_str());
  std::fflush(stdout);
}

}  // namespace platform_double

namespace zelgui {

using platform_double::tell;

constexpr int kInvocation = 42;

void uiSetLocalProperties(bool local) { tell(std::string("local ") + (local ? "true" : "false")); }

int uiSetPropertyString(int display, int property, const char* value) {
  tell("string " + std::to_string(display) + " " + std::to_string(property) + " " + value);
  return 0;
}

int uiSetPropertyInt(int display, int property, int value) {
  tell("int " + std::to_string(display) + " " + std::to_string(property) + " " +
       std::to_string(value));
  return 0;
}

int uiReadConfig(int display) {
  tell("config " + std::to_string(display));
  return 0;
}

std::string uiGetTerminalResourceDir(const std::string& applicationDir) {
  return applicationDir + "/double";
}

int uiInvokeURLAsync(int display, int region, const UIProperties& properties,
                     const std::string& url, UICallback callback, void* user) {
  tell("invoke " + std::to_string(display) + " " + std::to_string(region) + " " + url + " " +
       properties.at("wz_terminalSerialNo") + " " + properties.at("wz_terminalModel") +
       (callback == nullptr && user == nullptr ? " alone" : " called"));
  return kInvocation;
}

int uiInvokeWait(int invocation, UIProperties& properties, int timeoutMs) {
  tell("wait " + std::to_string(invocation) + " " + std::to_string(timeoutMs));
  platform_double::runPage(properties["wz_appId"]);
  properties = {{"from", "the double"}};
  return 17;
}

int uiInvokeCancelAsync(int) { return 0; }

std::string uiScriptError() { return "no error"; }

}  // namespace zelgui

extern "C" int platforminfo_get(int key, void* buffer, unsigned int size, unsigned int* length) {
  constexpr int kSerialNumber = 35, kModel = 68;
  const char* const text = key == kSerialNumber ? " D-100 " : key == kModel ? "Double" : nullptr;
  if (text == nullptr || std::strlen(text) >= size) return -1;
  std::strcpy(static_cast<char*>(buffer), text);
  if (length != nullptr) *length = static_cast<unsigned>(std::strlen(text));
  return 0;
}

extern "C" int CMDiag(int, void*, unsigned short*) {
  constexpr int kEndOfList = -510;
  return kEndOfList;
}
