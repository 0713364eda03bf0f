#include "wz/workbench/http_answer.h"

#include <civetweb.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <span>
#include <vector>

namespace wz {
namespace {

constexpr char kPagePolicy[] =
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' blob: data:; "
    "connect-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'";

struct TypeRow {
  std::string_view ending;
  const char* type;
};

constexpr TypeRow kPageTypes[] = {
    {".html", "text/html; charset=utf-8"},
    {".css", "text/css; charset=utf-8"},
    {".js", "text/javascript; charset=utf-8"},
    {".svg", "image/svg+xml"},
};
constexpr TypeRow kPictureTypes[] = {
    {".png", "image/png"}, {".jpg", "image/jpeg"},  {".jpeg", "image/jpeg"},
    {".gif", "image/gif"}, {".webp", "image/webp"}, {".svg", "image/svg+xml"},
};

const char* findType(std::span<const TypeRow> rows, std::string_view name) {
  std::string lower(name);
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
  for (const TypeRow& row : rows) {
    if (lower.ends_with(row.ending)) return row.type;
  }
  return nullptr;
}

constexpr int kOk = 200;
constexpr int kNotModified = 304;

// Whether further requests may come by the same connection, which saves a page with its thirty
// files a third of its time. After a refusal, and after any request with content, there may be
// octets that nobody has read.
bool mayGoOn(mg_connection* connection, const HttpAnswer& answer) {
  const mg_request_info& request = *mg_get_request_info(connection);
  const std::string_view method = request.request_method;
  return (method == "GET" || method == "HEAD") && request.content_length <= 0 &&
         (answer.status == kOk || answer.status == kNotModified);
}

void sendHead(mg_connection* connection, const HttpAnswer& answer, std::uint64_t size) {
  const bool goesOn = mayGoOn(connection, answer);
  if (!goesOn) mg_disable_connection_keep_alive(connection);
  const std::string policy = answer.policy.empty() ? kPagePolicy : answer.policy;
  const std::string head =
      "HTTP/1.1 " + std::to_string(answer.status) + " " +
      mg_get_response_code_text(connection, answer.status) + "\r\nContent-Type: " + answer.type +
      "\r\nContent-Length: " + std::to_string(size) + "\r\nContent-Security-Policy: " + policy +
      "\r\nX-Content-Type-Options: nosniff"
      "\r\nX-Frame-Options: DENY"
      "\r\nReferrer-Policy: no-referrer"
      "\r\nCross-Origin-Resource-Policy: same-origin"
      "\r\nCross-Origin-Opener-Policy: same-origin"
      "\r\nCache-Control: no-cache"
      "\r\nConnection: " +
      (goesOn ? "keep-alive" : "close") + "\r\n" + answer.further + "\r\n";
  mg_write(connection, head.data(), head.size());
}

bool isHead(mg_connection* connection) {
  return std::string_view(mg_get_request_info(connection)->request_method) == "HEAD";
}

}  // namespace

int sendAnswer(mg_connection* connection, const HttpAnswer& answer, std::string_view content) {
  sendHead(connection, answer, content.size());
  if (!isHead(connection) && !content.empty()) mg_write(connection, content.data(), content.size());
  return answer.status;
}

int sendFile(mg_connection* connection, const HttpAnswer& answer, int file, std::uint64_t size) {
  sendHead(connection, answer, size);
  if (isHead(connection)) return answer.status;
  std::vector<char> block(std::size_t{256} << 10);
  while (size > 0) {
    const std::size_t wanted =
        static_cast<std::size_t>(std::min<std::uint64_t>(size, block.size()));
    const ssize_t count = read(file, block.data(), wanted);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) break;
    if (mg_write(connection, block.data(), static_cast<std::size_t>(count)) <= 0) break;
    size -= static_cast<std::uint64_t>(count);
  }
  // It has become shorter, which the connection's end tells.
  if (size > 0) mg_disable_connection_keep_alive(connection);
  return answer.status;
}

int sendWords(mg_connection* connection, int status, const std::string& title,
              const std::string& text) {
  HttpAnswer answer;
  answer.status = status;
  answer.type = "text/html; charset=utf-8";
  return sendAnswer(connection, answer,
                    "<!doctype html><html lang=en><meta charset=utf-8><title>" + title +
                        "</title><h1>" + title + "</h1><p>" + text + "</p></html>\n");
}

std::string_view pathOf(const mg_request_info& request) {
  return request.local_uri == nullptr ? "" : request.local_uri;
}

std::string queryText(const mg_request_info& request, const char* name) {
  const std::string_view query = request.query_string == nullptr ? "" : request.query_string;
  std::array<char, 8192> value{};
  const int size = mg_get_var(query.data(), query.size(), name, value.data(), value.size());
  return size < 0 ? std::string() : std::string(value.data(), static_cast<std::size_t>(size));
}

bool hasQuery(const mg_request_info& request, const char* name) {
  const std::string_view query = request.query_string == nullptr ? "" : request.query_string;
  std::array<char, 8192> value{};
  return mg_get_var(query.data(), query.size(), name, value.data(), value.size()) != -1;
}

const char* pageFileType(std::string_view name) { return findType(kPageTypes, name); }

const char* pictureType(std::string_view name) { return findType(kPictureTypes, name); }

}  // namespace wz
