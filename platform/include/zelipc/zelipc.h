/// The terminal's messaging: named notifications between programs, and the JSON values they carry.
///
/// A notification reaches every registration of its name whose `from` (the registrant's own
/// address) equals its `to`. One whose `to` has no registrant comes back to the sender's
/// unicast-error callbacks with the sender's `from`, `to` and `name`. Callbacks run on the
/// messaging library's own thread, never inside the call that sends, so a sender may hold its
/// locks. After an unregister call has returned, that registration's callback is not running and
/// will not run again; called from inside that very callback it returns at once.
#ifndef ZELIPC_ZELIPC_H
#define ZELIPC_ZELIPC_H

#include <cstddef>
#include <string>
#include <vector>

namespace zelipc {

/// A JSON value (RFC 8259); copying copies the value. Not to be changed while another thread reads.
///
/// Holds one pointer and nothing else, and nothing is inline, so that another build of this library
/// fits under the same binaries.
class JSObject {
 public:
  JSObject();  ///< The empty object {}.
  JSObject(bool value);
  JSObject(int value);
  JSObject(long long value);
  JSObject(double value);
  JSObject(const char* value);
  JSObject(const std::string& value);
  JSObject(const JSObject& other);
  JSObject& operator=(const JSObject& other);
  ~JSObject();
  static JSObject array();  ///< The empty array [].

  bool isNull() const;
  bool isBool() const;
  bool isInt() const;
  bool isNumber() const;
  bool isString() const;
  bool isArray() const;
  bool isObject() const;

  bool asBool() const;           ///< False unless a boolean.
  long long asInt() const;       ///< 0 unless a number.
  double asDouble() const;       ///< 0 unless a number.
  std::string asString() const;  ///< Empty unless a string.

  std::size_t size() const;                ///< Elements or members; 0 for anything else.
  bool has(const std::string& key) const;  ///< False unless an object with that member.
  std::vector<std::string> keys() const;
  const JSObject& operator[](const std::string& key) const;  ///< Missing: a shared null value.
  JSObject& operator[](const std::string& key);              ///< Makes it an object, inserts null.
  const JSObject& at(std::size_t index) const;               ///< Out of range: a shared null value.
  JSObject& append(const JSObject& value);                   ///< Makes it an array.

  /// Reads one JSON value with the white space around it. Returns the octets consumed, or -1 when
  /// no value could be read; the object is then empty.
  int parse(const char* text);

  std::string dump() const;  ///< Compact JSON text, UTF-8.

 private:
  struct Value;
  Value* value_;
};

typedef void (*NotificationCallback)(void* data, const std::string& from, const std::string& to,
                                     const std::string& name, const JSObject& payload,
                                     unsigned int flags);
typedef void (*UnicastErrorCallback)(void* data, const std::string& from, const std::string& to,
                                     const std::string& name, const JSObject& payload,
                                     unsigned int flags);

/// Sends a notification; 0 when it went out, which does not say that anybody received it.
int ipcNotify(const std::string& to, const std::string& name, const JSObject& payload,
              unsigned int flags, const std::string& from);

/// Asks for the notifications named `name` that are sent to the address `from`. 0 on success.
int ipcRegisterNotificationCB(const std::string& name, NotificationCallback callback, void* data,
                              int options, const std::string& from);
int ipcUnregisterNotificationCB(const std::string& name, NotificationCallback callback, void* data,
                                const std::string& from);

/// Asks to be told of this process's notifications that nobody was there to receive.
int ipcRegisterUnicastError(UnicastErrorCallback callback, void* data);
int ipcUnregisterUnicastError(UnicastErrorCallback callback, void* data);

}  // namespace zelipc

#endif  // ZELIPC_ZELIPC_H
