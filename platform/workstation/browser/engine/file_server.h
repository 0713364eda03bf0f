/// Answers requests of pages from the files of their applications, beside the connection's thread:
/// one page's large file must not hold up the others.
#ifndef WORKSTATION_BROWSER_ENGINE_FILE_SERVER_H
#define WORKSTATION_BROWSER_ENGINE_FILE_SERVER_H

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "workstation/browser/engine/application_files.h"
#include "workstation/browser/engine/cdp_connection.h"

namespace workstation {

/// Answers a paused request with a status, a type and a body. Any thread.
void answerRequest(CdpConnection& connection, const std::string& requestId, int status,
                   const std::string& type, const std::string& body);

struct FileRequest {
  std::string id;        ///< The browser's.
  std::string method;    ///< "GET"
  std::string path;      ///< Of the URL, percent-encoded.
  bool forIcon = false;  ///< The browser itself looks for the page's icon.
  std::shared_ptr<const ApplicationFiles> files;
};

/// Any thread.
class FileServer {
 public:
  explicit FileServer(std::shared_ptr<CdpConnection> connection)
      : connection_(std::move(connection)) {}
  ~FileServer() { stop(); }
  FileServer(const FileServer&) = delete;
  FileServer& operator=(const FileServer&) = delete;

  /// False when there can be no thread.
  [[nodiscard]] bool start();

  void add(FileRequest request);

  /// Forgets what is waiting and ends the threads. The connection must be closed or still running.
  void stop();

 private:
  void run();
  void answer(const FileRequest& request);

  const std::shared_ptr<CdpConnection> connection_;
  std::vector<std::thread> threads_;

  std::mutex mutex_;  // guards what follows
  std::condition_variable wakeUp_;
  std::deque<FileRequest> requests_;
  bool stopping_ = false;
};

}  // namespace workstation

#endif  // WORKSTATION_BROWSER_ENGINE_FILE_SERVER_H
