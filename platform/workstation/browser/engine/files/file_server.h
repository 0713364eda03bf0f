/// Answers requests of pages from the files of their applications, beside the connection's thread:
/// one page's large file must not hold up the others.
///
/// The browser reads its pipe faster than it works through what came: what it has not got to yet
/// stands before everything that is sent later, a new page's opening too. So only a little is under
/// way at a time, and nothing for an application that has ended.
#ifndef WORKSTATION_BROWSER_ENGINE_FILE_SERVER_H
#define WORKSTATION_BROWSER_ENGINE_FILE_SERVER_H

#include <atomic>
#include <cstddef>
#include <deque>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "workstation/browser/engine/files/application_files.h"
#include "workstation/browser/engine/protocol/cdp_connection.h"
#include "workstation/mutex.h"

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
  std::shared_ptr<const std::atomic<bool>> over;  ///< Nobody waits for an answer any more.
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

  /// Forgets what is waiting and ends the threads. The connection has stopped, or never started.
  void stop();

 private:
  void run();
  void answer(const FileRequest& request);
  void send(const FileRequest& request, int status, const std::string& type,
            const std::string& body);
  [[nodiscard]] bool waitForTurn(const FileRequest& request, std::size_t size);
  void onTaken(std::size_t size);

  const std::shared_ptr<CdpConnection> connection_;
  std::vector<std::thread> threads_;

  Mutex mutex_;
  Condition wakeUp_, taken_;
  std::deque<FileRequest> requests_ WORKSTATION_GUARDED_BY(mutex_);
  // Octets of answers that the browser has not taken yet.
  std::size_t underWay_ WORKSTATION_GUARDED_BY(mutex_) = 0;
  bool stopping_ WORKSTATION_GUARDED_BY(mutex_) = false;
};

}  // namespace workstation

#endif  // WORKSTATION_BROWSER_ENGINE_FILE_SERVER_H
