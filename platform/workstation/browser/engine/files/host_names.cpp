#include "workstation/browser/engine/files/host_names.h"

#include "workstation/browser/engine/files/application_url.h"

namespace workstation {

std::string HostNames::acquire(const std::string& name, const std::string& directory) {
  const MutexLock lock(mutex_);
  for (auto& [host, entry] : entries_) {
    if (entry.directory != directory) continue;
    ++entry.users;
    return host;
  }
  const std::string label = hostLabel(name);
  std::string host = label + ".invalid";
  for (int number = 2; entries_.count(host) != 0; ++number)
    host = label + '-' + std::to_string(number) + ".invalid";
  entries_[host] = {directory, 1};
  return host;
}

void HostNames::release(const std::string& host) {
  const MutexLock lock(mutex_);
  const auto entry = entries_.find(host);
  if (entry != entries_.end() && --entry->second.users == 0) entries_.erase(entry);
}

}  // namespace workstation
