// What the manifest of an application says about one of its entry points.
#ifndef WZAPP_RUNTIME_MANIFEST_ENTRY_H
#define WZAPP_RUNTIME_MANIFEST_ENTRY_H

#include <string>

namespace wzapp {

struct ManifestEntry {
  std::string appId;
  std::string version;
  std::string startFile;  // The page that the entry point opens; empty when there is none.
};

// Reads the manifest at `path` as JSON or, when it is none, as sectioned key/value text, and looks
// the entry point `entry` up. A text that is missing, or is no string, is left empty. False when
// the file is neither, holds more than kMaxManifestSize octets, or names an application by an id
// that is no plain name (support/app_id.h).
[[nodiscard]] bool readManifestEntry(const char* path, const std::string& entry,
                                     ManifestEntry& result);

}  // namespace wzapp

#endif  // WZAPP_RUNTIME_MANIFEST_ENTRY_H
