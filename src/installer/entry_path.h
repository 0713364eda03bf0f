// Where the entry of an archive goes.
#ifndef WZAPP_INSTALLER_ENTRY_PATH_H
#define WZAPP_INSTALLER_ENTRY_PATH_H

#include <string>
#include <string_view>

namespace wzapp {

// The name of an entry as a path that does not climb: "/" for every "\", and "_" for every
// component "..". A "/" at its beginning stays. The only exception is std::bad_alloc.
[[nodiscard]] std::string sanitizeEntryPath(std::string name);

// Whether `path` lies below the directory `root`, both absolute and normalised. The root does not
// lie below itself.
[[nodiscard]] bool isBelow(std::string_view path, std::string_view root);

// Where the entries of an archive go, one after the other. The memory of one is used for the next.
// For one thread at a time. The only exception is std::bad_alloc.
class Destination {
 public:
  // `root` is a directory, absolute and normalised, and stays as it is while the object lives.
  explicit Destination(std::string_view root);

  // Finds where the entry `name` goes: its path that does not climb, seen from the root.
  void find(std::string_view name);

  // As that path was put together: normalised, but for an absolute one, which is as the archive has
  // it.
  [[nodiscard]] const std::string& path() const { return isAbsolute_ ? joined_ : normalized_; }

  // The same, normalised.
  [[nodiscard]] const std::string& normalized() const { return normalized_; }

  [[nodiscard]] bool isBelowRoot() const { return isBelow(normalized_, root_); }

 private:
  std::string_view root_;
  std::string sanitized_;
  std::string joined_;
  std::string normalized_;
  bool isAbsolute_ = false;
};

}  // namespace wzapp

#endif  // WZAPP_INSTALLER_ENTRY_PATH_H
