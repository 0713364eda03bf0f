#include "wz/workbench/workbench.h"

#include <poll.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
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
  ~Core() {
    if (interruptDescriptor() >= 0) loop_.forget(interruptDescriptor());
  }
  Core(const Core&) = delete;
  Core& operator=(const Core&) = delete;

  bool begin(const WorkbenchPlan& plan, std::string& error);
  std::string address() const { return server_.address(); }
  bool run();

 private:
  using Asked = void (*)(Core& core, const JSObject& question, const Answer& answer);
  struct Row {
    const char* name;
    Asked ask;
    bool isReading = false;  // done where it is asked: it may take its time, and touches no other
  };
  static const Row kRows[];

  bool beginServer(int port, std::string& error);
  void onMessage(const SharedPage& page, const std::string& message);
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
  int ending_ = 0;    // parts that are still to end
  WebServer server_;  // first to go: it calls the rest
};

// ---- Beginning and end -------------------------------------------------------------------------

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
  plan.terminal = terminal_;
  plan.saved = saved_;
  plan.page = pageFolder();
  plan.log = &log_;
  plan.uploads = &uploads_;
  plan.findIcon = [this](const std::string& id, const std::string& folder, std::string& root,
                         std::string& file) {
    return applications_.findIcon(id, folder, root, file);
  };
  plan.onOpen = [this](const SharedPage& page) {
    page->put(hello());
    loop_.post([this, page] { pages_.add(page); });
  };
  plan.onMessage = [this](const SharedPage& page, const std::string& message) {
    onMessage(page, message);
  };
  plan.onClose = [this](const SharedPage& page) {
    loop_.post([this, page] {
      pages_.remove(page);
      runs_->forget(page);
    });
  };
  return server_.begin(std::move(plan), error);
}

bool Workbench::Core::run() {
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

const Workbench::
    Core::
        Row
            Workbench::
                Core::
                    kRows
                        [] =
                            {
                                {"applications",
                                 [](Core& core, const JSObject&, const Answer& answer) {
                                   answer.done(core.applications_.all());
                                 },
                                 true},
                                {"addFolder",
                                 [](Core& core, const JSObject& question, const Answer& answer) {
                                   const Problem problem =
                                       core.applications_.addFolder(question["path"].asString());
                                   problem.empty() ? answer.done(core.applications_.all())
                                                   : answer.failed(problem);
                                   core.loop_.post(
                                       [&core] { core.pages_.changed({"applications"}); });
                                 },
                                 true},
                                {"removeFolder",
                                 [](Core& core, const JSObject& question, const Answer& answer) {
                                   const Problem problem =
                                       core.applications_.removeFolder(question["path"].asString());
                                   problem.empty() ? answer.done(core.applications_.all())
                                                   : answer.failed(problem);
                                   core.loop_.post(
                                       [&core] { core.pages_.changed({"applications"}); });
                                 },
                                 true},
                                {"files",
                                 [](Core& core, const JSObject& question, const Answer& answer) {
                                   listFiles(core.terminal_, question["path"].asString(), answer);
                                 },
                                 true},
                                {"recordings",
                                 [](Core& core, const JSObject&, const Answer& answer) {
                                   listRecordings(core.saved_, answer);
                                 },
                                 true},
                                {"openStory",
                                 [](Core& core, const JSObject& question, const Answer& answer) {
                                   Upload upload;
                                   if (!core.uploads_.find(question["upload"].asString(), upload)) {
                                     return answer.failed("there is no such upload");
                                   }
                                   openStory(upload, answer);
                                 },
                                 true},
                                {"wz",
                                 [](Core& core, const JSObject& question, const Answer& answer) {
                                   core.commands_->run(question, answer);
                                 }},
                                {"notify",
                                 [](Core& core, const JSObject& question, const Answer& answer) {
                                   core.commands_->notify(question, answer);
                                 }},
                                {"start",
                                 [](Core& core, const JSObject& question, const Answer& answer) {
                                   core.runs_->start(question, answer);
                                 }},
                                {"cancel",
                                 [](Core& core, const JSObject& question, const Answer& answer) {
                                   core.runs_->cancel(question, answer);
                                 }},
                                {"look",
                                 [](Core& core, const JSObject& question, const Answer& answer) {
                                   core.runs_->look(question, answer);
                                 }},
                                {"seen",
                                 [](Core& core, const JSObject& question, const Answer& answer) {
                                   core.runs_->seen(question, answer);
                                 }},
                                {"pointer",
                                 [](Core& core, const JSObject& question, const Answer& answer) {
                                   core.runs_->point(question, answer);
                                 }},
                                {"key",
                                 [](Core& core, const JSObject& question, const Answer& answer) {
                                   core.runs_->press(question, answer);
                                 }},
                                {"screenshot",
                                 [](Core& core, const JSObject& question, const Answer& answer) {
                                   core.runs_->takePicture(question, answer);
                                 }},
                                {"log",
                                 [](Core& core, const JSObject& question, const Answer& answer) {
                                   core.runs_->tellLog(question, answer);
                                 }},
                                {"bus",
     [](Core& core, const JSObject&, const Answer& answer) {
       std::string error;
       core.bus_.restart(error) ? answer.done() : answer.failed(error);
     }},
    {"hosts",
                                 [](Core& core, const JSObject&,
                                    const Answer& answer) { core.hosts_->list(answer); }},
                                {"host",
                                 [](Core& core, const JSObject& question, const Answer& answer) {
                                   core.hosts_->change(question, answer);
                                 }},
                                {"follow",
                                 [](Core&, const JSObject& question, const Answer& answer) {
                                   const long long from = question["from"].asInt();
                                   if (const SharedPage page = answer.page()) {
                                     page->follow(from > 0 ? static_cast<std::uint64_t>(from) : 1);
                                   }
                                   answer.done();
                                 },
                                 true},
};

// On the page's own thread of the server.
void Workbench::Core::onMessage(const SharedPage& page, const std::string& message) {
  JSObject question;
  const bool isRead = question.parse(message.c_str()) >= 0 && question.isObject();
  const JSObject& id = question["id"];
  const Answer answer(page, id.isNumber() || id.isString() ? asciiJson(id) : "null");
  if (!isRead) return answer.failed("a question is an object of JSON");
  const std::string name = question["do"].asString();
  for (const Row& row : kRows) {
    if (name != row.name) continue;
    if (row.isReading) return row.ask(*this, question, answer);
    return loop_.post([this, &row, question, answer] {
      if (!isEnding_) row.ask(*this, question, answer);
    });
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
