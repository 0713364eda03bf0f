#include "wz/words/bus_messages.h"

#include <cstddef>
#include <utility>

#include "packaging/json_problem.h"
#include "wz/reports/output.h"

namespace wz {
namespace {

using zelipc::JSObject;

void put(void* messages, const std::string& from, const std::string& to, const std::string& name,
         const JSObject& payload, unsigned flags, bool undelivered) {
  static_cast<Messages*>(messages)->put({from, to, name, payload.dump(), flags, undelivered});
}

void onNotification(void* messages, const std::string& from, const std::string& to,
                    const std::string& name, const JSObject& payload, unsigned flags) {
  put(messages, from, to, name, payload, flags, false);
}

void onDeliveryError(void* messages, const std::string& from, const std::string& to,
                     const std::string& name, const JSObject& payload, unsigned flags) {
  put(messages, from, to, name, payload, flags, true);
}

}  // namespace

Registration::Registration(std::string address, std::string name, Messages& messages)
    : address_(std::move(address)),
      name_(std::move(name)),
      messages_(messages),
      succeeded_(
          zelipc::ipcRegisterNotificationCB(name_, onNotification, &messages_, 0, address_) == 0) {
  if (!succeeded_) printMessage("cannot register for " + name_ + " at " + address_);
}

Registration::~Registration() {
  if (succeeded_) {
    zelipc::ipcUnregisterNotificationCB(name_, onNotification, &messages_, address_);
  }
}

DeliveryErrors::DeliveryErrors(Messages& messages) : messages_(messages) {
  zelipc::ipcRegisterUnicastError(onDeliveryError, &messages_);
}

DeliveryErrors::~DeliveryErrors() {
  zelipc::ipcUnregisterUnicastError(onDeliveryError, &messages_);
}

bool readPayload(const std::string& text, JSObject& payload) {
  const int consumed = payload.parse(text.c_str());
  if (consumed >= 0 && static_cast<std::size_t>(consumed) == text.size()) return true;
  const std::string why = packaging::whyNoJson(text);
  printMessage("not a JSON value: " + text + (why.empty() ? "" : ": " + why));
  return false;
}

std::string describe(const Message& message) {
  return message.from + " -> " + message.to + " " + message.name + " " + message.payload;
}

std::string replyNameFor(const std::string& name, const std::string& chosen) {
  return chosen.empty() ? name + "_reply" : chosen;
}

}  // namespace wz
