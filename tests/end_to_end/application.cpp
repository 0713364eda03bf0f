#include "tests/end_to_end/application.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>
#include <stdexcept>
#include <thread>

#include "tests/end_to_end/waiting.h"

namespace wzapp_test {
namespace {

namespace fs = std::filesystem;

constexpr char kConfigRoot[] = "/mnt/flash/etc/config/wzapp";

void writeWhole(const fs::path& path, const std::string& content) {
  fs::create_directories(path.parent_path());
  std::ofstream file(path, std::ios::binary);
  file << content;
  file.close();
  if (!file) throw std::runtime_error("cannot write " + path.string());
}

}  // namespace

Application::Application(const std::string& id)
    : id_(id), directory_(std::string(kConfigRoot) + "/wz/" + id) {
  manifest(R"({"application":{"id":")" + id +
           R"(","version":"1.2.3"},"desktop":{"file":"index.html"}})");
}

Application::~Application() {
  for (const char* root : {"wz", "mp", "fsroot"}) {
    std::error_code ignored;
    fs::remove_all(fs::path(kConfigRoot) / root / id_, ignored);
  }
}

Application& Application::script(const std::string& source) {
  return file("index.html", "<!DOCTYPE html><html><head><meta charset=\"utf-8\"><script>\n" +
                                source + "\n</script></head><body>page</body></html>");
}

Application& Application::file(const std::string& name, const std::string& content) {
  writeWhole(directory_ + "/" + name, content);
  return *this;
}

Application& Application::manifest(const std::string& content) {
  return file(id_ + ".MFT", content);
}

Application& Application::ownerDocument(const std::string& content) {
  writeWhole(fs::path(kConfigRoot) / "mp" / id_ / "confOwner.json", content);
  return *this;
}

// What onExit is told. Shared with the application's thread, which may outlive a test that failed.
struct ApplicationRun::Ending {
  struct Told {
    int result;
    Properties properties;
  };
  Collected<Told> told;
  Told last{};  // a copy of the first, once it has been awaited
};

void ApplicationRun::onExit(void* user, int result, const Properties& properties) {
  const std::unique_ptr<std::shared_ptr<Ending>> ending(
      static_cast<std::shared_ptr<Ending>*>(user));
  (*ending)->told.add({result, properties});
}

ApplicationRun::ApplicationRun(const Application& application, const std::string& entry,
                               const Properties& params)
    : ending_(std::make_shared<Ending>()) {
  auto user = std::make_unique<std::shared_ptr<Ending>>(ending_);
  code_ = wzapp::wzAppRun(app_, 0, application.manifestPath().c_str(), entry.c_str(), params,
                          onExit, user.get());
  if (code_ == 0) (void)user.release();  // onExit's
}

ApplicationRun::~ApplicationRun() {
  if (code_ != 0) return;
  if (app_) cancel();
  awaitEnd();
}

bool ApplicationRun::awaitEnd() {
  const bool told = ending_->told.await([](const auto& all) { return !all.empty(); });
  if (told) ending_->last = ending_->told.all().front();
  EXPECT_TRUE(told) << "the end of the application was not told";
  return told;
}

int ApplicationRun::result() const { return ending_->last.result; }

const Properties& ApplicationRun::properties() const { return ending_->last.properties; }

int ApplicationRun::timesTold() const { return static_cast<int>(ending_->told.all().size()); }

void ApplicationRun::cancel() {
  std::packaged_task<void()> task([app = app_] { wzapp::wzAppCancel(app); });
  std::future<void> done = task.get_future();
  std::thread thread(std::move(task));
  if (done.wait_for(kPatience) == std::future_status::ready) return thread.join();
  std::fprintf(stderr, "wzAppCancel does not return\n");
  std::abort();
}

}  // namespace wzapp_test
