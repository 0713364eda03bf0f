#include "workstation/browser/engine/files/application_url.h"

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

namespace workstation {
namespace {

constexpr std::size_t kLongestLabel = 40;

bool isUpper(char c) { return c >= 'A' && c <= 'Z'; }
bool isLetter(char c) { return isUpper(c) || (c >= 'a' && c <= 'z'); }
bool isDigit(char c) { return c >= '0' && c <= '9'; }

int hexDigit(char c) {
  if (isDigit(c)) return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// False for malformed escapes and for octets that no name of a file may hold.
bool percentDecode(std::string_view segment, std::string& decoded) {
  decoded.clear();
  for (std::size_t i = 0; i < segment.size(); ++i) {
    char c = segment[i];
    if (c == '%') {
      if (segment.size() - i < 3) return false;
      const int high = hexDigit(segment[i + 1]);
      const int low = hexDigit(segment[i + 2]);
      if (high < 0 || low < 0) return false;
      c = static_cast<char>(high * 16 + low);
      i += 2;
    }
    if (c == '\0' || c == '/') return false;
    decoded += c;
  }
  return true;
}

// Escapes what may not stand in the path or query of a URL as it is; existing escapes stay.
std::string percentEncode(std::string_view text) {
  static const char kHex[] = "0123456789ABCDEF";
  std::string encoded;
  for (const char c : text) {
    const auto octet = static_cast<unsigned char>(c);
    const bool plain = octet > 0x20 && octet < 0x7F &&
                       std::string_view("\"<>\\^`{|}").find(c) == std::string_view::npos;
    if (plain) {
      encoded += c;
    } else {
      encoded += '%';
      encoded += kHex[octet >> 4];
      encoded += kHex[octet & 15];
    }
  }
  return encoded;
}

}  // namespace

std::string hostLabel(std::string_view name) {
  std::string label;
  for (const char c : name) {
    if (label.size() == kLongestLabel) break;
    if (isUpper(c)) {
      label += static_cast<char>(c - 'A' + 'a');
    } else if (isLetter(c) || isDigit(c)) {
      label += c;
    } else if (!label.empty() && label.back() != '-') {
      label += '-';
    }
  }
  while (!label.empty() && label.back() == '-') label.pop_back();
  // "xn--" announces an encoded international name, which this is not.
  if (label.compare(0, 4, "xn--") == 0) label.erase(0, 4);
  return label.empty() ? "app" : label;
}

bool splitUrl(std::string_view url, std::string& host, std::string& path) {
  constexpr std::string_view kScheme = "https://";
  if (url.substr(0, kScheme.size()) != kScheme) return false;
  url.remove_prefix(kScheme.size());
  const std::size_t end = url.find_first_of("/?#");
  const std::string_view authority = url.substr(0, end);
  if (authority.empty() || authority.find_first_of("@:") != std::string_view::npos) return false;
  host = authority;
  path = end == std::string_view::npos ? "/" : url.substr(end);
  path.erase(std::min(path.find_first_of("?#"), path.size()));
  if (path.empty()) path = "/";
  return true;
}

std::string_view urlScheme(std::string_view url) {
  const std::size_t colon = url.find(':');
  if (colon == std::string_view::npos || colon == 0 || !isLetter(url[0])) return {};
  for (const char c : url.substr(0, colon)) {
    if (!isLetter(c) && !isDigit(c) && c != '+' && c != '-' && c != '.') return {};
  }
  return url.substr(0, colon);
}

bool filePathOfUrl(std::string_view path, std::string& file) {
  std::vector<std::string> segments;
  bool directory = !path.empty() && path.back() == '/';
  while (!path.empty()) {
    const std::size_t end = std::min(path.find('/'), path.size());
    std::string segment;
    if (!percentDecode(path.substr(0, end), segment)) return false;
    path.remove_prefix(std::min(end + 1, path.size()));
    const bool step = segment.empty() || segment == "." || segment == "..";
    if (path.empty()) directory = directory || step;
    if (segment == "..") {
      if (segments.empty()) return false;
      segments.pop_back();
    } else if (!step) {
      segments.push_back(std::move(segment));
    }
  }
  file.clear();
  for (const std::string& segment : segments) file += (file.empty() ? "" : "/") + segment;
  // Kept, so that a file asked for as a folder is not found.
  if (directory && !file.empty()) file += '/';
  return true;
}

bool resolveStartUrl(std::string_view url, std::string& target, std::string& file) {
  if (!urlScheme(url).empty()) return false;
  // A browser takes a backslash for a slash, so these too begin with the name of a host.
  if (url.size() >= 2 && (url[0] == '/' || url[0] == '\\') && (url[1] == '/' || url[1] == '\\'))
    return false;
  const std::size_t pathEnd = std::min(url.find_first_of("?#"), url.size());
  std::string path(url.substr(0, pathEnd));
  for (char& c : path) {
    if (c == '\\') c = '/';
  }
  if (!filePathOfUrl(path, file)) return false;
  if (path.empty() || path[0] != '/') path.insert(0, "/");
  target = percentEncode(path) + percentEncode(url.substr(pathEnd));
  return true;
}

}  // namespace workstation
