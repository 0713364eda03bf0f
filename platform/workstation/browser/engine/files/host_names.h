/// Which application is behind which virtual host, as long as it runs.
#ifndef WORKSTATION_BROWSER_ENGINE_HOST_NAMES_H
#define WORKSTATION_BROWSER_ENGINE_HOST_NAMES_H

#include <map>
#include <string>

#include "workstation/mutex.h"

namespace workstation {

/// Any thread.
class HostNames {
 public:
  /// The host for the application named `name` in `directory`: the same for every call with that
  /// directory until as many calls of release(), and never that of another directory.
  std::string acquire(const std::string& name, const std::string& directory);

  void release(const std::string& host);

 private:
  struct Entry {
    std::string directory;
    int users = 0;
  };
  Mutex mutex_;
  std::map<std::string, Entry> entries_ WORKSTATION_GUARDED_BY(mutex_);
};

}  // namespace workstation

#endif  // WORKSTATION_BROWSER_ENGINE_HOST_NAMES_H
