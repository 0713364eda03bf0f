/// What the workbench's server answers to those whom it has admitted: the page's files, uploads,
/// files of the terminal, icons, what was saved.
#ifndef WZ_WORKBENCH_REQUESTS_H
#define WZ_WORKBENCH_REQUESTS_H

#include <functional>
#include <string>

#include "wz/workbench/safe_folder.h"
#include "wz/workbench/uploads.h"

struct mg_connection;
struct mg_request_info;

namespace wz {

/// Where an icon is: a file in a folder.
struct IconPlace {
  std::string folder, file;
};

struct RequestPlan {
  std::string terminal;  ///< whose files are shown
  std::string saved;     ///< folder with what was made
  std::string page;      ///< folder whose files are shown instead of those built in; empty: none
  Uploads* uploads = nullptr;

  /// Of an installed application, or of a folder's. False when it has none. Called on the server's
  /// threads.
  std::function<bool(const std::string& application, const std::string& folder, IconPlace& place)>
      findIcon;
};

/// Any thread may call.
class Requests {
 public:
  explicit Requests(const RequestPlan& plan);

  /// Answers a request; gives the status.
  int answer(mg_connection* connection, const mg_request_info& request) const;

 private:
  struct Route;
  static const Route kRoutes[];

  int sendPage(mg_connection* connection, const mg_request_info& request) const;
  int takeUpload(mg_connection* connection, const mg_request_info& request) const;
  int sendTerminalFile(mg_connection* connection, const mg_request_info& request) const;
  int sendIcon(mg_connection* connection, const mg_request_info& request) const;
  int sendSaved(mg_connection* connection, const mg_request_info& request) const;
  [[nodiscard]] bool findPageFile(const std::string& name, std::string& content) const;

  const RequestPlan& plan_;
  const SafeFolder terminal_, saved_, page_;
};

}  // namespace wz

#endif  // WZ_WORKBENCH_REQUESTS_H
