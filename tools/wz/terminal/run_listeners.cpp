#include "wz/terminal/run_listeners.h"

#include <cstddef>
#include <utility>

namespace wz {
namespace {

using workstation::PageEvent;
using zelipc::JSObject;

// Where the library's log records go: the name, and the address of whoever collects them.
constexpr char kRecordName[] = "_WZLog";
constexpr char kRecordAddress[] = "1";

// "Error -3 there is no such page\n" -> "there is no such page"
std::string reasonIn(const std::string& message) {
  const std::size_t number = message.find(' ');
  if (number == std::string::npos) return {};
  const std::size_t reason = message.find(' ', number + 1);
  if (reason == std::string::npos) return {};
  return message.substr(reason + 1, message.find_last_not_of('\n') - reason);
}

std::string firstText(const PageEvent& event) {
  return event.texts.empty() ? event.status : event.texts.front();
}

}  // namespace

RunListeners::RunListeners(RunEvents& events, RunReport& report, Opened onOpened)
    : events_(events), report_(report), onOpened_(std::move(onOpened)) {
  workstation::setPageObserver(onPageEvent, this);
  zelipc::ipcRegisterNotificationCB(kRecordName, onRecord, this, 0, kRecordAddress);
  zelipc::ipcRegisterUnicastError(onUndelivered, this);
}

RunListeners::~RunListeners() {
  zelipc::ipcUnregisterUnicastError(onUndelivered, this);
  zelipc::ipcUnregisterNotificationCB(kRecordName, onRecord, this, kRecordAddress);
  workstation::setPageObserver(nullptr, nullptr);
}

void RunListeners::onPageEvent(void* self, const PageEvent& event) {
  auto& [events, report, onOpened] = *static_cast<RunListeners*>(self);
  if (event.kind == PageEvent::Kind::kOpened && onOpened) onOpened(event.invocation);
  report.event(event);
  if (event.kind == PageEvent::Kind::kOpened)
    events.put({RunEvent::Kind::kOpened, event.invocation});
  if (event.kind == PageEvent::Kind::kFirstPaint)
    events.put({RunEvent::Kind::kPainted, event.invocation});
  if (event.kind == PageEvent::Kind::kLastPicture) {
    events.put({RunEvent::Kind::kLastPicture, 0, {}, firstText(event), event.texts.empty()});
  }
}

// The library's last record ends with the application's end, and before it why the run failed. An
// application that could not even be begun says so nowhere else.
void RunListeners::onRecord(void* self, const std::string& from, const std::string& to,
                            const std::string& name, const JSObject& record, unsigned) {
  auto& [events, report, onOpened] = *static_cast<RunListeners*>(self);
  report.record(from, to, name, record);
  const JSObject& entries = record["data"]["msgs"];
  const std::size_t count = entries.size();
  if (count == 0 || entries.at(count - 1)["aE"].asString() != "EXIT") return;
  std::string errorText;
  if (count > 1 && entries.at(count - 2)["msg"].asString().rfind("Error -", 0) == 0) {
    errorText = reasonIn(entries.at(count - 2)["msg"].asString());
  }
  events.put({RunEvent::Kind::kLastRecord, 0, {}, errorText});
}

void RunListeners::onUndelivered(void* self, const std::string& from, const std::string& to,
                                 const std::string& name, const JSObject& payload, unsigned flags) {
  static_cast<RunListeners*>(self)->report_.undelivered(
      {from, to, name, payload.dump(), flags, true});
}

}  // namespace wz
