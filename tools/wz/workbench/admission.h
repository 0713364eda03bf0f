/// Who may talk to the workbench: a browser that was given the token, on a page of the workbench's
/// own.
///
/// The token is in the address that the user opens and is taken once, for a cookie. A request has
/// to name the loopback interface as its host, or a name that somebody else resolves to it would do
/// (DNS rebinding), and what changes anything has to come from the workbench's own page, or any
/// page of the web could send it.
#ifndef WZ_WORKBENCH_ADMISSION_H
#define WZ_WORKBENCH_ADMISSION_H

#include <string>
#include <string_view>

#include "support/mutex.h"

namespace wz {

/// Any thread may call, once begin() has.
class Admission {
 public:
  /// For a server on that port of the loopback interface. False when there are no random numbers.
  [[nodiscard]] bool begin(int port);

  /// What the user's browser opens.
  [[nodiscard]] std::string address() const;

  /// For the one who was given the token; it is then of no use any more.
  [[nodiscard]] bool takeToken(std::string_view token);

  /// The value of the header field Set-Cookie (RFC 6265).
  [[nodiscard]] std::string cookie() const;

  // Whether the header fields are as they have to be; null: the request has none.
  [[nodiscard]] bool isHost(const char* host) const;
  [[nodiscard]] bool isOrigin(const char* origin) const;
  [[nodiscard]] bool hasCookie(const char* cookies) const;
  /// Sec-Fetch-Site, by which browsers tell whose page asks; those that do not tell it are let
  /// through.
  [[nodiscard]] static bool isOwnSite(const char* site);

 private:
  [[nodiscard]] bool isPlace(std::string_view place) const;

  wzapp::Mutex mutex_;
  bool isTaken_ WZAPP_GUARDED_BY(mutex_) = false;
  std::string token_, cookieName_, cookieValue_, port_;
};

}  // namespace wz

#endif  // WZ_WORKBENCH_ADMISSION_H
