#include "wz/workbench/admission.h"

#include <cstddef>

#include "wz/words/random_text.h"

namespace wz {
namespace {

constexpr std::size_t kSecretOctets = 16;

// In a time that does not tell how much of it is right.
bool isSame(std::string_view given, std::string_view secret) {
  if (given.size() != secret.size()) return false;
  unsigned difference = 0;
  for (std::size_t i = 0; i < secret.size(); ++i) {
    difference |= static_cast<unsigned char>(given[i]) ^ static_cast<unsigned char>(secret[i]);
  }
  return difference == 0;
}

}  // namespace

bool Admission::begin(int port) {
  token_ = randomText(kSecretOctets);
  cookieValue_ = randomText(kSecretOctets);
  port_ = std::to_string(port);
  // Cookies are of a host whatever the port: two workbenches must not share one.
  cookieName_ = "wzworkbench" + port_;
  return !token_.empty() && !cookieValue_.empty();
}

std::string Admission::address() const { return "http://127.0.0.1:" + port_ + "/?token=" + token_; }

bool Admission::takeToken(std::string_view token) {
  const wzapp::MutexLock lock(mutex_);
  if (isTaken_ || !isSame(token, token_)) return false;
  isTaken_ = true;
  return true;
}

std::string Admission::cookie() const {
  return cookieName_ + "=" + cookieValue_ + "; HttpOnly; SameSite=Strict; Path=/";
}

bool Admission::isPlace(std::string_view place) const {
  return place == "127.0.0.1:" + port_ || place == "localhost:" + port_;
}

bool Admission::isHost(const char* host) const { return host != nullptr && isPlace(host); }

bool Admission::isOrigin(const char* origin) const {
  constexpr std::string_view kScheme = "http://";
  if (origin == nullptr || !std::string_view(origin).starts_with(kScheme)) return false;
  return isPlace(std::string_view(origin).substr(kScheme.size()));
}

bool Admission::hasCookie(const char* cookies) const {
  std::string_view rest = cookies == nullptr ? "" : cookies;
  while (!rest.empty()) {
    const std::size_t end = rest.find(';');
    std::string_view pair = rest.substr(0, end);
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
    while (pair.starts_with(' ')) pair.remove_prefix(1);
    const std::size_t equals = pair.find('=');
    if (equals == std::string_view::npos || pair.substr(0, equals) != cookieName_) continue;
    if (isSame(pair.substr(equals + 1), cookieValue_)) return true;
  }
  return false;
}

bool Admission::isOwnSite(const char* site) {
  const std::string_view told = site == nullptr ? "none" : site;
  return told == "same-origin" || told == "none";
}

}  // namespace wz
