#include "workstation/browser/engine/files/file_server.h"

#include <exception>
#include <utility>

#include "workstation/browser/engine/files/application_url.h"
#include "workstation/browser/engine/files/content_type.h"
#include "workstation/browser/engine/process/quiet_thread.h"
#include "workstation/browser/engine/protocol/base64.h"

namespace workstation {
namespace {

constexpr int kThreads = 2;

// Octets of answers on their way to the browser: a moment's work for it. A larger one goes alone.
constexpr std::size_t kMostUnderWay = 2U << 20;

struct StatusText {
  int status;
  const char* text;
};

constexpr StatusText kStatusTexts[] = {
    {200, "OK"},
    {204, "No Content"},
    {404, "Not Found"},
    {405, "Method Not Allowed"},
    {413, "Content Too Large"},
};

const char* statusText(int status) {
  for (const StatusText& row : kStatusTexts) {
    if (row.status == status) return row.text;
  }
  return "";
}

std::string header(const char* name, const std::string& value) {
  return JsonObject().add("name", name).add("value", value).text();
}

constexpr char kAnswer[] = "Fetch.fulfillRequest";

JsonObject answerOf(const std::string& requestId, int status, const std::string& type,
                    const std::string& body) {
  const std::string headers = '[' + header("Content-Type", type) + ',' +
                              header("Cache-Control", "no-store") + ',' +
                              header("Content-Length", std::to_string(body.size())) + ']';
  JsonObject answer;
  answer.add("requestId", requestId)
      .add("responseCode", status)
      .add("responsePhrase", statusText(status))
      .addRaw("responseHeaders", headers)
      .addRaw("body", '"' + base64Encode(body) + '"');  // there is nothing to escape
  return answer;
}

}  // namespace

void answerRequest(CdpConnection& connection, const std::string& requestId, int status,
                   const std::string& type, const std::string& body) {
  connection.call("", kAnswer, answerOf(requestId, status, type, body));
}

bool FileServer::start() {
  for (int i = 0; i < kThreads; ++i) {
    threads_.push_back(startQuietThread([this] { run(); }));
    if (!threads_.back().joinable()) return false;
  }
  return true;
}

void FileServer::add(FileRequest request) {
  const MutexLock lock(mutex_);
  requests_.push_back(std::move(request));
  wakeUp_.notifyOne();
}

void FileServer::stop() {
  {
    const MutexLock lock(mutex_);
    stopping_ = true;
    requests_.clear();
  }
  wakeUp_.notifyAll();
  taken_.notifyAll();
  for (std::thread& thread : threads_) {
    if (thread.joinable()) thread.join();
  }
  threads_.clear();
}

void FileServer::run() {
  for (;;) {
    FileRequest request;
    {
      const MutexLock lock(mutex_);
      while (!stopping_ && requests_.empty()) wakeUp_.wait(mutex_);
      if (stopping_) return;
      request = std::move(requests_.front());
      requests_.pop_front();
    }
    try {
      if (!*request.over) answer(request);
    } catch (const std::exception&) {
      // Out of memory: this request stays without an answer, the others get theirs.
    }
  }
}

void FileServer::answer(const FileRequest& request) {
  const auto plain = [&](int status) {
    const std::string body = std::to_string(status) + ' ' + statusText(status) + '\n';
    send(request, status, "text/plain; charset=utf-8", status == 204 ? "" : body);
  };
  if (request.method != "GET" && request.method != "HEAD") return plain(405);
  std::string file;
  std::string content;
  const FileResult result =
      filePathOfUrl(request.path, file) ? request.files->read(file, content) : FileResult::kMissing;
  if (result == FileResult::kTooLarge) return plain(413);
  // Most applications have no icon, which is no failure of theirs.
  if (result == FileResult::kMissing) return plain(request.forIcon ? 204 : 404);
  if (request.method == "HEAD") content.clear();
  send(request, 200, contentType(file), content);
}

void FileServer::send(const FileRequest& request, int status, const std::string& type,
                      const std::string& body) {
  // Made before it is its turn, while the browser works through the last.
  const JsonObject answer = answerOf(request.id, status, type, body);
  const std::size_t size = answer.size();
  if (!waitForTurn(request, size)) return;
  try {
    connection_->call("", kAnswer, answer, [this, size](const CdpReply&) { onTaken(size); });
  } catch (...) {
    onTaken(size);
    throw;
  }
}

// False when nobody wants the answer by then.
bool FileServer::waitForTurn(const FileRequest& request, std::size_t size) {
  const MutexLock lock(mutex_);
  while (!stopping_ && !*request.over && underWay_ > 0 && underWay_ + size > kMostUnderWay) {
    taken_.wait(mutex_);
  }
  if (stopping_ || *request.over) return false;
  underWay_ += size;
  return true;
}

void FileServer::onTaken(std::size_t size) {
  const MutexLock lock(mutex_);
  underWay_ -= size;
  taken_.notifyAll();
}

}  // namespace workstation
