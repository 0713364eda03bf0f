/// An application written into the terminal from a few strings, and one run of it.
#ifndef WZAPP_TESTS_END_TO_END_APPLICATION_H
#define WZAPP_TESTS_END_TO_END_APPLICATION_H

#include <map>
#include <memory>
#include <string>

#include "wzapp/wzapp.h"

namespace wzapp_test {

using Properties = std::map<std::string, std::string>;

/// An installed application: a folder in the application root with the manifest ID.MFT, which is
/// that of version 1.2.3 with the desktop page index.html unless told otherwise. The folder, its
/// owner's documents and its own files go with the object.
class Application {
 public:
  explicit Application(const std::string& id);
  Application(const Application&) = delete;
  Application& operator=(const Application&) = delete;
  ~Application();

  /// Makes index.html a page with this script in its head.
  Application& script(const std::string& source);

  /// Writes a file of the application.
  Application& file(const std::string& name, const std::string& content);

  /// Replaces the manifest.
  Application& manifest(const std::string& content);

  /// Writes the owner's configuration document, which lies outside of the application's folder.
  Application& ownerDocument(const std::string& content);

  const std::string& id() const { return id_; }
  std::string manifestPath() const { return directory_ + "/" + id_ + ".MFT"; }

 private:
  std::string id_;
  std::string directory_;
};

/// A run through wzAppRun. An application that still runs when the object goes is cancelled.
class ApplicationRun {
 public:
  explicit ApplicationRun(const Application& application, const std::string& entry = "desktop",
                          const Properties& params = {});
  ApplicationRun(const ApplicationRun&) = delete;
  ApplicationRun& operator=(const ApplicationRun&) = delete;
  ~ApplicationRun();

  /// What wzAppRun returned.
  int code() const { return code_; }

  /// Waits until the end has been told. False, and a failure of the test, when it is not.
  bool awaitEnd();

  /// What onExit was called with; to be read after the end.
  int result() const;
  const Properties& properties() const;

  /// How often onExit has been called.
  int timesTold() const;

  /// By wzAppCancel, on a thread of its own, so that one that hangs becomes a failure of the test.
  void cancel();

  void dropHandle() { app_.reset(); }

 private:
  struct Ending;
  static void onExit(void* user, int result, const Properties& properties);

  wzapp::counted_ptr<wzapp::WZApp> app_;
  std::shared_ptr<Ending> ending_;
  int code_;
};

}  // namespace wzapp_test

#endif  // WZAPP_TESTS_END_TO_END_APPLICATION_H
