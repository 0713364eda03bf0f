#include "bench/silent_platform.h"

#include <atomic>
#include <condition_variable>
#include <cstring>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "js/jsproc.h"
#include "platforminfo/platforminfo.h"
#include "zelgui/zelgui.h"
#include "zelhtml/zelhtml.h"
#include "zelsec/zelsec.h"

namespace bench {
namespace {

std::mutex pagesMutex;
std::condition_variable pagesChanged;
int invoked = 0;
bool pagesEnd = false;
Clock::time_point invokedAt;

std::atomic<long> sent{0};

// One registration at a time is all that is measured.
std::mutex replyMutex;
// Never destroyed: the thread that answers waits for it to the end of the process.
std::condition_variable& replyWanted = *new std::condition_variable;
zelipc::NotificationCallback replyCallback = nullptr;
void* replyData = nullptr;
bool isAnswering = false;
bool isReplyWanted = false;
Clock::time_point answeredAt;

void answerForEver() {
  const zelipc::JSObject answer;
  const std::string nobody;
  std::unique_lock<std::mutex> lock(replyMutex);
  while (true) {
    while (!isReplyWanted) replyWanted.wait(lock);
    isReplyWanted = false;
    answeredAt = Clock::now();
    if (replyCallback != nullptr) replyCallback(replyData, nobody, nobody, nobody, answer, 0);
  }
}

}  // namespace

Clock::time_point lastInvocation() {
  const std::lock_guard<std::mutex> lock(pagesMutex);
  return invokedAt;
}

void awaitInvocation(int count) {
  std::unique_lock<std::mutex> lock(pagesMutex);
  while (invoked < count) pagesChanged.wait(lock);
}

int invocations() {
  const std::lock_guard<std::mutex> lock(pagesMutex);
  return invoked;
}

void endPages(bool end) {
  const std::lock_guard<std::mutex> lock(pagesMutex);
  pagesEnd = end;
  pagesChanged.notify_all();
}

long sentNotifications() { return sent; }

void answerNotifications() {
  const std::lock_guard<std::mutex> lock(replyMutex);
  isAnswering = true;
  std::thread(answerForEver).detach();
}

Clock::time_point lastAnswer() {
  const std::lock_guard<std::mutex> lock(replyMutex);
  return answeredAt;
}

}  // namespace bench

using namespace bench;

namespace zelgui {

void uiSetLocalProperties(bool) {}

int uiSetPropertyString(int, int, const char*) { return 0; }

int uiSetPropertyInt(int, int, int) { return 0; }

int uiReadConfig(int) { return 0; }

std::string uiGetTerminalResourceDir(const std::string& applicationDir) { return applicationDir; }

int uiInvokeURLAsync(int, int, const UIProperties&, const std::string&, UICallback, void*) {
  const Clock::time_point now = Clock::now();
  const std::lock_guard<std::mutex> lock(pagesMutex);
  invokedAt = now;
  ++invoked;
  pagesChanged.notify_all();
  return invoked;
}

int uiInvokeWait(int, UIProperties&, int) {
  std::unique_lock<std::mutex> lock(pagesMutex);
  while (!pagesEnd) pagesChanged.wait(lock);
  return 0;
}

int uiInvokeCancelAsync(int) { return 0; }

std::string uiScriptError() { return {}; }

}  // namespace zelgui

namespace zelhtml {

void htmlSetScriptProcessor(const std::string&, ScriptProcessor, void*) {}

}  // namespace zelhtml

namespace js {

bool jsProcessorExt(void*, const std::string&, std::map<std::string, std::string>&) {
  return false;
}

void jsSetNotify(JSNotify, void*) {}
void jsSetNotifyAndWait(JSNotifyAndWait, void*) {}
void jsSetTrace(JSTrace, void*) {}
void jsSetLog(JSLog, void*) {}

}  // namespace js

namespace zelipc {

int ipcNotify(const std::string&, const std::string&, const JSObject&, unsigned int,
              const std::string&) {
  ++sent;
  const std::lock_guard<std::mutex> lock(replyMutex);
  if (!isAnswering) return 0;
  isReplyWanted = true;
  replyWanted.notify_one();
  return 0;
}

int ipcRegisterNotificationCB(const std::string&, NotificationCallback callback, void* data, int,
                              const std::string&) {
  const std::lock_guard<std::mutex> lock(replyMutex);
  replyCallback = callback;
  replyData = data;
  return 0;
}

int ipcUnregisterNotificationCB(const std::string&, NotificationCallback, void*,
                                const std::string&) {
  const std::lock_guard<std::mutex> lock(replyMutex);
  replyCallback = nullptr;
  return 0;
}

int ipcRegisterUnicastError(UnicastErrorCallback, void*) { return 0; }

int ipcUnregisterUnicastError(UnicastErrorCallback, void*) { return 0; }

}  // namespace zelipc

extern "C" int platforminfo_get(int, void* buffer, unsigned int size, unsigned int* length) {
  std::memset(buffer, '1', size - 1);
  static_cast<char*>(buffer)[size - 1] = '\0';
  *length = size;
  return 0;
}

// One sponsor record, over and over.
extern "C" int CMDiag(int, void* buffer, unsigned short* length) {
  constexpr char kRecord[] =
      "\x06\0\0\0\1\2\3\4\5\6"
      "\x06\0\0\0\x02\x03\x20\x08\x21\xC5"
      "\x07\0\0\0Sponsor";
  std::memcpy(buffer, kRecord, sizeof kRecord - 1);
  *length = sizeof kRecord - 1;
  return 0;
}
