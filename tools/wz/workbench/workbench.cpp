#include "wz/workbench/workbench.h"

#include <poll.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <future>
#include <optional>
#include <thread>
#include <utility>

#include "workstation/terminal/terminal_profile.h"
#include "wz/reports/json_output.h"
#include "wz/reports/message_output.h"
#include "wz/reports/output.h"
#include "wz/reports/terminal_output.h"
#include "wz/terminal/interrupt.h"
#include "wz/terminal/swept_folder.h"
#include "wz/words/random_text.h"
#include "wz/workbench/applications.h"
#include "wz/workbench/bus_story.h"
#include "wz/workbench/commands.h"
#include "wz/workbench/event_log.h"
#include "wz/workbench/hosts.h"
#include "wz/workbench/loop.h"
#include "wz/workbench/pages.h"
#include "wz/workbench/readings.h"
#include "wz/workbench/runs.h"
#include "wz/workbench/uploads.h"
#include "wz/workbench/web_server.h"

namespace wz {

using zelipc::JSObject;

namespace {

constexpr char kFolderPrefix[] = "wz-workbench-";

// Whoever works on the page has its files shown as they are saved.
constexpr char kPageFolder[] = "WZ_WORKBENCH_PAGE";

std::string pageFolder() {
  const char* const folder = std::getenv(kPageFolder);
  return folder == nullptr ? "" : folder;
}

bool makeFolder(const std::string& path, std::string& error) {
  if (mkdir(path.c_str(), 0700) == 0) return true;
  error = "cannot make " + path + ": " + std::strerror(errno);
  return false;
}

}  // namespace

class Workbench::Core {
 public:
  Core() : pages_(loop_, log_) {}
  ~Core();
  Core(const Core&) = delete;
  Core& operator=(const Core&) = delete;

  bool begin(const WorkbenchPlan& plan, std::string& error);
  std::string address() const { return server_->address(); }
  bool run();

 private:
  struct Row {
    const char* name;
    void (Core::*ask)(const JSObject& question, const Answer& answer);
    bool isReading = false;  // done on the thread for readings: it may take its time
  };
  static const Row kRows[];

  bool beginServer(int port, std::string& error);
  bool findIcon(const std::string& id, const std::string& folder, IconPlace& place);
  void onMessage(const SharedPage& page, const std::string& message);

  void tellApplications(const JSObject& question, const Answer& answer);
  void addFolder(const JSObject& question, const Answer& answer);
  void removeFolder(const JSObject& question, const Answer& answer);
  void answerFolders(const Problem& problem, const Answer& answer);
  void tellFiles(const JSObject& question, const Answer& answer);
  void tellRecordings(const JSObject& question, const Answer& answer);
  void tellStory(const JSObject& question, const Answer& answer);
  void restartBus(const JSObject& question, const Answer& answer);
  void follow(const JSObject& question, const Answer& answer);
  template <auto part, auto method>
  void passOn(const JSObject& question, const Answer& answer);

  [[nodiscard]] std::string hello() const;
  [[nodiscard]] std::string state() const;
  void end();

  const std::string terminal_ = workstation::terminalDirectory();
  const std::string serverId_ = randomText(8);
  JSObject facts_;  // about the terminal
  SweptFolder folder_;
  std::string saved_;
  Loop loop_;
  EventLog log_;
  Pages pages_;
  Uploads uploads_;
  Applications applications_{terminal_};
  BusStory bus_{loop_, pages_, terminal_};
  std::unique_ptr<Runs> runs_;
  std::unique_ptr<Hosts> hosts_;
  std::unique_ptr<Commands> commands_;
  bool isEnding_ = false, hasFailed_ = false;
  int ending_ = 0;  // parts that are still to end
  // The threads of the server have hardly any stack, so that nothing of size is done there.
  Loop readings_;
  std::thread reader_;
  std::unique_ptr<WebServer> server_;  // first to go: it calls the rest
};

// ---- Beginning and end -------------------------------------------------------------------------

Workbench::Core::~Core() {
  server_.reset();
  if (!reader_.joinable()) return;
  readings_.post([this] { readings_.stop(); });
  reader_.join();
}

bool Workbench::Core::begin(const WorkbenchPlan& plan, std::string& error) {
  workstation::TerminalProfile profile;
  workstation::ProfileError profileError;
  if (!workstation::loadTerminalProfile(terminal_, profile, profileError)) {
    error = profileError.text();
    return false;
  }
  facts_.parse(jsonLine([&](JsonWriter& writer) { putTerminal(writer, profile); }).c_str());
  facts_["folder"] = JSObject(terminal_);
  for (const std::string& folder : plan.folders) {
    error = applications_.addFolder(folder);
    if (!error.empty()) return false;
  }
  if (!folder_.make(kFolderPrefix, error) || !log_.begin(folder_.path(), error)) return false;
  saved_ = folder_.path() + "/saved";
  const std::string uploaded = folder_.path() + "/uploads";
  if (!makeFolder(saved_, error) || !makeFolder(uploaded, error)) return false;
  uploads_.begin(uploaded);
  runs_ =
      std::make_unique<Runs>(loop_, pages_, saved_, profile.displayWidth, profile.displayHeight);
  hosts_ = std::make_unique<Hosts>(loop_, pages_, uploads_, applications_);
  commands_ = std::make_unique<Commands>(loop_, pages_, uploads_);
  pages_.begin(
      [this] { return state(); },
      [this] {
        printMessage("events can no more be kept in " + folder_.path() + ": is the disk full?");
        hasFailed_ = true;
        end();
      });
  return bus_.begin(error) && beginServer(plan.port, error);
}

bool Workbench::Core::beginServer(int port, std::string& error) {
  WebServerPlan plan;
  plan.port = port;
  plan.requests.terminal = terminal_;
  plan.requests.saved = saved_;
  plan.requests.page = pageFolder();
  plan.log = &log_;
  plan.requests.uploads = &uploads_;
  plan.requests.findIcon = [this](const std::string& id, const std::string& folder,
                                  IconPlace& place) { return findIcon(id, folder, place); };
  plan.onOpen = [this](const SharedPage& page) {
    page->put(hello());
    loop_.post([this, page] { pages_.add(page); });
  };
  plan.onMessage = [this](const SharedPage& page, const std::string& message) {
    loop_.post([this, page, message] { onMessage(page, message); });
  };
  plan.onClose = [this](const SharedPage& page) {
    loop_.post([this, page] {
      pages_.remove(page);
      runs_->forget(page);
    });
  };
  server_ = std::make_unique<WebServer>();
  return server_->begin(std::move(plan), error);
}

// Called by the server, which waits.
bool Workbench::Core::findIcon(const std::string& id, const std::string& folder, IconPlace& place) {
  constexpr std::chrono::seconds kPatience{5};
  const auto found = std::make_shared<std::promise<std::optional<IconPlace>>>();
  std::future<std::optional<IconPlace>> awaited = found->get_future();
  readings_.post([this, id, folder, found] {
    IconPlace icon;
    const bool isThere = applications_.findIcon(id, folder, icon.folder, icon.file);
    found->set_value(isThere ? std::optional(icon) : std::nullopt);
  });
  if (awaited.wait_for(kPatience) != std::future_status::ready) return false;
  const std::optional<IconPlace> icon = awaited.get();
  place = icon.value_or(IconPlace());
  return icon.has_value();
}

bool Workbench::Core::run() {
  reader_ = std::thread([this] { readings_.run(); });

  loop_.watch(interruptDescriptor(), POLLIN, [this] {
    loop_.forget(interruptDescriptor());
    end();
  });
  loop_.run();
  return !hasFailed_;
}

void Workbench::Core::end() {
  if (std::exchange(isEnding_, true)) return;
  ending_ = 3;
  const auto onEnded = [this] {
    if (--ending_ == 0) loop_.stop();
  };
  runs_->endAll(onEnded);
  hosts_->endAll(onEnded);
  commands_->endAll(onEnded);
}

// ---- What pages are told -----------------------------------------------------------------------

std::string Workbench::Core::hello() const {
  JSObject hello = objectWith("event", "hello");
  hello["version"] = JSObject(WZ_VERSION);
  hello["server"] = JSObject(serverId_);
  hello["last"] = JSObject(static_cast<long long>(log_.last()));
  hello["terminal"] = facts_;
  return asciiJson(hello);
}

std::string Workbench::Core::state() const {
  JSObject state = objectWith("event", "state");
  state["runs"] = runs_->state();
  state["hosts"] = hosts_->state();
  state["bus"] = JSObject(bus_.isUp() ? "up" : "down");
  return asciiJson(state);
}

// ---- What they ask -----------------------------------------------------------------------------

void Workbench::Core::tellApplications(const JSObject&, const Answer& answer) {
  answer.done(applications_.all());
}

void Workbench::Core::addFolder(const JSObject& question, const Answer& answer) {
  answerFolders(applications_.addFolder(question["path"].asString()), answer);
}

void Workbench::Core::removeFolder(const JSObject& question, const Answer& answer) {
  answerFolders(applications_.removeFolder(question["path"].asString()), answer);
}

void Workbench::Core::answerFolders(const Problem& problem, const Answer& answer) {
  if (!problem.empty()) return answer.failed(problem);
  answer.done(applications_.all());
  loop_.post([this] { pages_.changed({"applications"}); });
}

void Workbench::Core::tellFiles(const JSObject& question, const Answer& answer) {
  listFiles(terminal_, question["path"].asString(), answer);
}

void Workbench::Core::tellRecordings(const JSObject&, const Answer& answer) {
  listRecordings(saved_, answer);
}

void Workbench::Core::tellStory(const JSObject& question, const Answer& answer) {
  Upload upload;
  if (!uploads_.find(question["upload"].asString(), upload)) {
    return answer.failed("there is no such upload");
  }
  openStory(upload, answer);
}

void Workbench::Core::restartBus(const JSObject&, const Answer& answer) {
  std::string error;
  bus_.restart(error) ? answer.done() : answer.failed(error);
}

void Workbench::Core::follow(const JSObject& question, const Answer& answer) {
  const long long from = std::max(1LL, question["from"].asInt());
  if (const SharedPage page = answer.page()) page->follow(static_cast<std::uint64_t>(from));
  answer.done();
}

// A question that a part of the workbench answers.
template <auto part, auto method>
void Workbench::Core::passOn(const JSObject& question, const Answer& answer) {
  ((*(this->*part)).*method)(question, answer);
}

const Workbench::Core::Row Workbench::Core::kRows[] = {
    {"applications", &Core::tellApplications, true},
    {"addFolder", &Core::addFolder, true},
    {"removeFolder", &Core::removeFolder, true},
    {"files", &Core::tellFiles, true},
    {"recordings", &Core::tellRecordings, true},
    {"openStory", &Core::tellStory, true},
    {"wz", &Core::passOn<&Core::commands_, &Commands::run>},
    {"notify", &Core::passOn<&Core::commands_, &Commands::notify>},
    {"start", &Core::passOn<&Core::runs_, &Runs::start>},
    {"cancel", &Core::passOn<&Core::runs_, &Runs::cancel>},
    {"look", &Core::passOn<&Core::runs_, &Runs::look>},
    {"seen", &Core::passOn<&Core::runs_, &Runs::seen>},
    {"pointer", &Core::passOn<&Core::runs_, &Runs::point>},
    {"key", &Core::passOn<&Core::runs_, &Runs::press>},
    {"screenshot", &Core::passOn<&Core::runs_, &Runs::takePicture>},
    {"log", &Core::passOn<&Core::runs_, &Runs::tellLog>},
    {"hosts", &Core::passOn<&Core::hosts_, &Hosts::list>},
    {"host", &Core::passOn<&Core::hosts_, &Hosts::change>},
    {"bus", &Core::restartBus},
    {"follow", &Core::follow},
};

void Workbench::Core::onMessage(const SharedPage& page, const std::string& message) {
  if (isEnding_) return;
  JSObject question;
  const bool isRead = question.parse(message.c_str()) >= 0 && question.isObject();
  const JSObject& id = question["id"];
  const Answer answer(page, id.isNumber() || id.isString() ? asciiJson(id) : "null");
  if (!isRead) return answer.failed("a question is an object of JSON");
  const std::string name = question["do"].asString();
  for (const Row& row : kRows) {
    if (name != row.name) continue;
    if (!row.isReading) return (this->*row.ask)(question, answer);
    return readings_.post([this, &row, question, answer] { (this->*row.ask)(question, answer); });
  }
  answer.failed("the workbench does not know how to do " + question["do"].dump());
}

// ---- For others --------------------------------------------------------------------------------

Workbench::Workbench() : core_(std::make_unique<Core>()) {}

Workbench::~Workbench() = default;

bool Workbench::begin(const WorkbenchPlan& plan, std::string& error) {
  return core_->begin(plan, error);
}

std::string Workbench::address() const { return core_->address(); }

bool Workbench::run() { return core_->run(); }

}  // namespace wz
