// Symbols to link against; see CMakeLists.txt.

#include <cstdlib>

#include "zelipc/zelipc.h"

namespace zelipc {

JSObject::JSObject() { std::abort(); }
JSObject::JSObject(bool) { std::abort(); }
JSObject::JSObject(int) { std::abort(); }
JSObject::JSObject(long long) { std::abort(); }
JSObject::JSObject(double) { std::abort(); }
JSObject::JSObject(const char*) { std::abort(); }
JSObject::JSObject(const std::string&) { std::abort(); }
JSObject::JSObject(const JSObject&) { std::abort(); }
JSObject& JSObject::operator=(const JSObject&) { std::abort(); }
JSObject::~JSObject() { std::abort(); }
JSObject JSObject::array() { std::abort(); }
bool JSObject::isNull() const { std::abort(); }
bool JSObject::isBool() const { std::abort(); }
bool JSObject::isInt() const { std::abort(); }
bool JSObject::isNumber() const { std::abort(); }
bool JSObject::isString() const { std::abort(); }
bool JSObject::isArray() const { std::abort(); }
bool JSObject::isObject() const { std::abort(); }
bool JSObject::asBool() const { std::abort(); }
long long JSObject::asInt() const { std::abort(); }
double JSObject::asDouble() const { std::abort(); }
std::string JSObject::asString() const { std::abort(); }
std::size_t JSObject::size() const { std::abort(); }
bool JSObject::has(const std::string&) const { std::abort(); }
std::vector<std::string> JSObject::keys() const { std::abort(); }
const JSObject& JSObject::operator[](const std::string&) const { std::abort(); }
JSObject& JSObject::operator[](const std::string&) { std::abort(); }
const JSObject& JSObject::at(std::size_t) const { std::abort(); }
JSObject& JSObject::append(const JSObject&) { std::abort(); }
int JSObject::parse(const char*) { std::abort(); }
std::string JSObject::dump() const { std::abort(); }
int ipcNotify(const std::string&, const std::string&, const JSObject&, unsigned int,
              const std::string&) {
  std::abort();
}
int ipcRegisterNotificationCB(const std::string&, NotificationCallback, void*, int,
                              const std::string&) {
  std::abort();
}
int ipcUnregisterNotificationCB(const std::string&, NotificationCallback, void*,
                                const std::string&) {
  std::abort();
}
int ipcRegisterUnicastError(UnicastErrorCallback, void*) { std::abort(); }
int ipcUnregisterUnicastError(UnicastErrorCallback, void*) { std::abort(); }

}  // namespace zelipc
