#include "wz/workbench/requests.h"

#include <civetweb.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <functional>
#include <string_view>

#include "wz/reports/json_output.h"
#include "wz/workbench/http_answer.h"
#include "wz/workbench/page_files.h"

namespace wz {
namespace {

constexpr std::size_t kLargestPageFile = std::size_t{8} << 20;
constexpr std::size_t kLargestIcon = std::size_t{1} << 20;

int sendNotFound(mg_connection* connection) {
  return sendWords(connection, 404, "Not found", "The workbench has nothing of that name.");
}

}  // namespace

struct Requests::Route {
  const char* method;
  std::string_view path;
  int (Requests::*handle)(mg_connection* connection, const mg_request_info& request) const;
};

Requests::Requests(const RequestPlan& plan)
    : plan_(plan), terminal_(plan.terminal), saved_(plan.saved), page_(plan.page) {}

const Requests::Route Requests::kRoutes[] = {
    {"POST", "/upload", &Requests::takeUpload},
    {"GET", "/file", &Requests::sendTerminalFile},
    {"GET", "/icon", &Requests::sendIcon},
    {"GET", "/saved", &Requests::sendSaved},
};

int Requests::answer(mg_connection* connection, const mg_request_info& request) const {
  std::string_view method = request.request_method;
  if (method == "HEAD") method = "GET";
  const std::string_view path = pathOf(request);
  if (path.empty()) return sendNotFound(connection);
  for (const Route& route : kRoutes) {
    if (path != route.path) continue;
    if (method == route.method) return (this->*route.handle)(connection, request);
    return sendWords(connection, 405, "Refused", "This is not asked for in that way.");
  }
  if (method == "GET") return sendPage(connection, request);
  return sendWords(connection, 405, "Refused", "This is not asked for in that way.");
}

bool Requests::findPageFile(const std::string& name, std::string& content) const {
  if (!plan_.page.empty()) return page_.readFile(name, kLargestPageFile, content);
  for (const PageFile& file : pageFiles()) {
    if (file.name != name) continue;
    content = file.content;
    return true;
  }
  return false;
}

int Requests::sendPage(mg_connection* connection, const mg_request_info& request) const {
  std::string name(pathOf(request).substr(1));
  if (name.empty()) name = "index.html";
  const char* const type = pageFileType(name);
  std::string content;
  if (type == nullptr || !findPageFile(name, content)) return sendNotFound(connection);
  const std::string tag = "\"" + std::to_string(std::hash<std::string>()(content)) + "\"";
  HttpAnswer answer;
  answer.type = type;
  answer.further = "ETag: " + tag + "\r\n";
  const char* const known = mg_get_header(connection, "If-None-Match");
  if (known != nullptr && tag == known) {
    answer.status = 304;
    content.clear();
  }
  return sendAnswer(connection, answer, content);
}

int Requests::takeUpload(mg_connection* connection, const mg_request_info& request) const {
  Upload upload;
  const auto read = [connection](char* octets, std::size_t size) {
    return mg_read(connection, octets, size);
  };
  HttpAnswer answer;
  answer.type = "application/json";
  const auto refuse = [&](int status, const std::string& error) {
    answer.status = status;
    return sendAnswer(connection, answer,
                      jsonLine([&](JsonWriter& writer) { putText(writer, "error", error); }));
  };
  switch (plan_.uploads->take(queryText(request, "name"), request.content_length, read, upload)) {
    case UploadResult::kDone:
      return sendAnswer(connection, answer, jsonLine([&](JsonWriter& writer) {
                          putText(writer, "upload", upload.id);
                          putText(writer, "name", upload.name);
                          putNumber(writer, "size", upload.size);
                          putText(writer, "sha256", upload.sha256);
                        }));
    case UploadResult::kTooLarge:
      return refuse(413, "the workbench takes files of up to 256 MiB, and 2 GiB in all");
    case UploadResult::kCutShort:
      return refuse(400, "the file did not come whole");
    case UploadResult::kNoSpace:
      break;
  }
  return refuse(507, "the file could not be written");
}

int Requests::sendTerminalFile(mg_connection* connection, const mg_request_info& request) const {
  const std::string path = queryText(request, "path");
  std::uint64_t size = 0;
  const workstation::UniqueFd file = terminal_.openFile(path, size);
  if (!file) return sendNotFound(connection);
  HttpAnswer answer;
  answer.policy = "sandbox; default-src 'none'";
  std::array<char, 4096> begin{};
  const ssize_t shown = pread(file.get(), begin.data(), begin.size(), 0);
  const std::string_view head(begin.data(), static_cast<std::size_t>(std::max<ssize_t>(shown, 0)));
  if (head.find('\0') != std::string_view::npos) answer.type = "application/octet-stream";
  if (hasQuery(request, "download")) {
    answer.further =
        "Content-Disposition: attachment; filename=\"" + plainFileName(path) + "\"\r\n";
  }
  return sendFile(connection, answer, file.get(), size);
}

int Requests::sendIcon(mg_connection* connection, const mg_request_info& request) const {
  IconPlace icon;
  std::string content;
  if (!plan_.findIcon(queryText(request, "application"), queryText(request, "folder"), icon))
    return sendNotFound(connection);
  const char* const type = pictureType(icon.file);
  if (type == nullptr || !SafeFolder(icon.folder).readFile(icon.file, kLargestIcon, content))
    return sendNotFound(connection);
  HttpAnswer answer;
  answer.type = type;
  answer.policy = "sandbox; default-src 'none'; style-src 'unsafe-inline'";
  return sendAnswer(connection, answer, content);
}

int Requests::sendSaved(mg_connection* connection, const mg_request_info& request) const {
  const std::string name = queryText(request, "name");
  std::uint64_t size = 0;
  if (name != plainFileName(name)) return sendNotFound(connection);
  const workstation::UniqueFd file = saved_.openFile(name, size);
  if (!file) return sendNotFound(connection);
  HttpAnswer answer;
  const char* const type = pictureType(name);
  answer.type = type == nullptr ? "application/octet-stream" : type;
  answer.policy = "sandbox; default-src 'none'";
  answer.further =
      "Content-Disposition: " + std::string(type == nullptr ? "attachment" : "inline") +
      "; filename=\"" + name + "\"\r\n";
  return sendFile(connection, answer, file.get(), size);
}

}  // namespace wz
