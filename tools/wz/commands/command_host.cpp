#include <algorithm>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "packaging/json_problem.h"
#include "support/file_system.h"
#include "workstation/zelipc/raw_notification.h"
#include "wz/commands/commands.h"
#include "wz/host/host_file.h"
#include "wz/host/host_texts.h"
#include "wz/host/programs.h"
#include "wz/host/reply_template.h"
#include "wz/reports/message_output.h"
#include "wz/reports/output.h"
#include "wz/reports/readable_file.h"
#include "wz/terminal/line_reader.h"
#include "wz/terminal/session.h"
#include "wz/words/bus_messages.h"
#include "wz/words/exit_code.h"

namespace wz {
namespace {

using zelipc::JSObject;

// An answer that is under way: until its program has ended, and then until its time.
struct Answering {
  Message message;
  HostAnswer answer;
  JSObject reply;
  std::string failure;  // of the program
};

// What the main thread is told: a notification that came, an answer that a program has given, a
// line of standard input, or its end.
struct HostEvent {
  std::optional<Message> message = {};
  std::optional<Answering> answer = {};
  std::optional<std::string> line = {};
  bool isInputOver = false;
};

// The file's name that stands for lines on standard input.
constexpr char kStandardInput[] = "-";

class HostPlay {
 public:
  HostPlay(const HostOptions& options, std::vector<HostRule> rules, std::string folder)
      : options_(options), rules_(std::move(rules)), folder_(std::move(folder)) {}

  int run() {
    if (!listen()) return kEnvironment;
    LineReader lines;
    if (options_.file == kStandardInput && !readLines(lines)) return kEnvironment;
    const Deadline deadline = deadlineIn(options_.timeoutSeconds);
    while (options_.count == 0 || settled_ < options_.count) {
      const std::optional<HostEvent> event = events_.take(std::min(deadline, nextDue()));
      if (event && event->message) onMessage(*event->message);
      if (event && event->answer) delay(*event->answer);
      if (event && event->line && !onLine(*event->line)) return kUsage;
      if (event && event->isInputOver) return kDone;
      if (!sendDue()) return kEnvironment;
      const bool isOver = !event && (interrupted() || std::chrono::steady_clock::now() >= deadline);
      if (isOver) return options_.count == 0 ? kDone : kApplicationFailed;
    }
    return kDone;
  }

 private:
  // For as long as it lives, hands the notifications of one name at one address on.
  class Ear {
   public:
    Ear(std::string address, std::string name, Inbox<HostEvent>& events)
        : address_(std::move(address)), name_(std::move(name)), events_(events) {
      isThere_ = zelipc::ipcRegisterNotificationCB(name_, hear, &events_, 0, address_) == 0;
    }
    Ear(const Ear&) = delete;
    Ear& operator=(const Ear&) = delete;
    ~Ear() {
      if (isThere_) zelipc::ipcUnregisterNotificationCB(name_, hear, &events_, address_);
    }
    [[nodiscard]] bool isThere() const { return isThere_; }

   private:
    static void hear(void* events, const std::string& from, const std::string& to,
                     const std::string& name, const JSObject& payload, unsigned flags) {
      static_cast<Inbox<HostEvent>*>(events)->put(
          {Message{from, to, name, payload.dump(), flags, false}});
    }

    const std::string address_, name_;
    Inbox<HostEvent>& events_;
    bool isThere_ = false;
  };

  bool readLines(LineReader& lines) {
    const auto onLine = [this](std::string line) {
      events_.put({std::nullopt, std::nullopt, std::move(line)});
    };
    const auto onEnd = [this] { events_.put({std::nullopt, std::nullopt, std::nullopt, true}); };
    if (lines.begin(onLine, onEnd)) return true;
    printMessage("cannot read standard input");
    return false;
  }

  // A line is a host file, in whose place it comes, or tells the answer of a notification that is
  // held. False after a message.
  bool onLine(const std::string& line) {
    JSObject command;
    if (command.parse(line.c_str()) >= 0 && command.has("answer")) return onAnswer(command);
    std::string error;
    if (!parseHostFile(line, "standard input", rules_, error)) {
      printMessage(error);
      return false;
    }
    if (!listen()) return false;
    if (options_.asJson) MessageOutput::print(output_.event("playing"));
    return true;
  }

  // {"answer": NUMBER, "reply": VALUE}; without a reply there is none.
  bool onAnswer(const JSObject& command) {
    const auto held = held_.extract(command["answer"].asInt());
    if (held.empty()) {
      printMessage("no notification is held as " + command["answer"].dump());
      return false;
    }
    Answering answering = std::move(held.mapped());
    if (command.has("reply")) {
      answering.answer.kind = HostAnswer::Kind::kReply;
      answering.reply = command["reply"];
    } else {
      answering.answer.kind = HostAnswer::Kind::kSilence;
    }
    return send(answering);
  }

  bool listen() {
    for (const HostRule& rule : rules_) {
      if (!heard_.emplace(rule.address, rule.name).second) continue;
      ears_.push_back(std::make_unique<Ear>(rule.address, rule.name, events_));
      if (ears_.back()->isThere()) continue;
      printMessage("cannot register for " + rule.name + " at " + rule.address);
      return false;
    }
    if (heard_.empty()) return true;
    std::set<std::string> addresses;
    for (const auto& [address, name] : heard_) addresses.insert(address);
    printNote("playing " + joined({addresses.begin(), addresses.end()}, ", "));
    return true;
  }

  void onMessage(const Message& message) {
    JSObject payload;
    payload.parse(message.payload.c_str());
    HostRule* const rule = findRule(rules_, message.to, message.name, payload);
    const HostAnswer* const answer = rule == nullptr ? nullptr : &nextAnswer(*rule);
    const bool isHeld = answer != nullptr && answer->kind == HostAnswer::Kind::kHeld;
    tell("asked", message, [&](JSObject& event) {
      event["rule"] = JSObject(rule == nullptr ? -1LL : rule - rules_.data());
      if (isHeld) event["held"] = JSObject(nextHeld_);
    });
    if (!options_.asJson) {
      printLine(describe(message) + (rule == nullptr ? "  no rule answers it" : "") +
                (isHeld ? "  held as " + std::to_string(nextHeld_) : ""));
    }
    if (rule == nullptr) {
      ++settled_;
      return;
    }
    const TemplateValues values{message.from,  message.to, message.name,
                                message.flags, payload,    rule->used};
    Answering answering{message, *answer, filledIn(answer->reply, values), ""};
    if (isHeld) {
      held_.emplace(nextHeld_++, std::move(answering));
      return;
    }
    if (answer->kind == HostAnswer::Kind::kProgram) return ask(std::move(answering), payload);
    delay(answering);
  }

  static const HostAnswer& nextAnswer(const HostRule& rule) {
    const auto last = static_cast<long long>(rule.answers.size());
    return rule.answers[static_cast<std::size_t>(std::min(rule.used, last) - 1)];
  }

  void ask(Answering answering, const JSObject& payload) {
    JSObject input;
    MessageOutput::addMessage(answering.message, input);
    input["payload"] = payload;
    const HostAnswer answer = answering.answer;
    programs_.start(answer.program, folder_, input.dump() + "\n", answer.timeout,
                    [this, answering = std::move(answering)](const ProgramOutput& output) mutable {
                      takeOutput(output, answering);
                      events_.put({std::nullopt, std::move(answering)});
                    });
  }

  // What a program wrote, or why it does not count.
  static void takeOutput(const ProgramOutput& output, Answering& answering) {
    const std::string& program = answering.answer.program.front();
    const bool isEmpty = output.output.find_first_not_of(" \t\r\n") == std::string::npos;
    if (!output.failure.empty()) {
      answering.failure = program + " " + output.failure;
    } else if (isEmpty) {
      answering.failure = program + " wrote nothing";
    } else if (const std::string why = packaging::whyNoJson(output.output); !why.empty()) {
      answering.failure = program + " did not write JSON: " + why;
    } else {
      answering.reply.parse(output.output.c_str());
    }
  }

  void delay(Answering answering) {
    const Deadline due = std::chrono::steady_clock::now() + answering.answer.delay;
    waiting_.emplace(due, std::move(answering));
  }

  [[nodiscard]] Deadline nextDue() const {
    return waiting_.empty() ? kNoDeadline : waiting_.begin()->first;
  }

  // False when one could not be sent.
  bool sendDue() {
    while (!waiting_.empty() && waiting_.begin()->first <= std::chrono::steady_clock::now()) {
      const Answering answering = std::move(waiting_.extract(waiting_.begin()).mapped());
      if (!send(answering)) return false;
    }
    return true;
  }

  bool send(const Answering& answering) {
    const Message& asked = answering.message;
    const HostAnswer& answer = answering.answer;
    if (!answering.failure.empty()) {
      printMessage(answering.failure);
      return notAnswered(asked, answering.failure);
    }
    if (answer.kind == HostAnswer::Kind::kSilence) return notAnswered(asked, "silence");
    const bool isMalformed = answer.kind == HostAnswer::Kind::kMalformed;
    const Message reply{asked.to,
                        asked.from,
                        replyNameFor(asked.name, answer.replyName),
                        isMalformed ? answer.text : answering.reply.dump(),
                        0,
                        false};
    const int code = isMalformed
                         ? zelipc::ipcNotifyText(reply.to, reply.name, reply.payload, 0, reply.from)
                         : zelipc::ipcNotify(reply.to, reply.name, answering.reply, 0, reply.from);
    if (code != 0) {
      printMessage("the answer to " + reply.to + " could not be sent");
      return false;
    }
    tell("answered", reply, [&](JSObject& event) {
      if (isMalformed) event["payload"] = JSObject(reply.payload);
      event["malformed"] = JSObject(isMalformed);
    });
    if (!options_.asJson) printLine("  " + describe(reply));
    ++settled_;
    return true;
  }

  bool notAnswered(const Message& asked, const std::string& why) {
    tell("not answered", asked, [&](JSObject& event) { event["reason"] = JSObject(why); });
    if (!options_.asJson) printLine("  " + asked.to + " does not answer " + asked.from);
    ++settled_;
    return true;
  }

  template <typename Add>
  void tell(const char* name, const Message& message, const Add& add) const {
    if (!options_.asJson) return;
    JSObject event = output_.event(name);
    MessageOutput::addMessage(message, event);
    add(event);
    MessageOutput::print(event);
  }

  const HostOptions& options_;
  std::vector<HostRule> rules_;
  const std::string folder_;  // of the file
  MessageOutput output_;
  Inbox<HostEvent> events_;
  std::set<std::pair<std::string, std::string>> heard_;  // address and name
  std::vector<std::unique_ptr<Ear>> ears_;
  std::map<long long, Answering> held_;
  long long nextHeld_ = 1;
  std::multimap<Deadline, Answering> waiting_;  // by the time at which each is to be sent
  Programs programs_;                           // first to go: they use what stands before
  unsigned settled_ = 0;                        // notifications with which there is no more to do
};

// An exit code, after a message unless kDone.
int readHostFile(const std::string& path, std::vector<HostRule>& rules) {
  std::string text, error;
  if (!wzapp::readFile(path.c_str(), text)) {
    printMessage(unreadText(path) + "; an example is printed by: wz host --example");
    return kEnvironment;
  }
  if (parseHostFile(text, path, rules, error)) return kDone;
  printMessage(error);
  return kUsage;
}

}  // namespace

int playHost(const HostOptions& options) {
  if (options.printSchema || options.printExample) {
    for (std::string_view rest = options.printSchema ? hostSchema() : hostExample();
         !rest.empty();) {
      const std::size_t end = rest.find('\n');
      printLine(rest.substr(0, end));
      rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
    }
    return kDone;
  }
  if (options.file.empty()) {
    printMessage("name a host file; wz host --example prints one");
    return kUsage;
  }
  std::vector<HostRule> rules;
  if (options.file != kStandardInput) {
    if (const int code = readHostFile(options.file, rules); code != kDone) return code;
  }
  std::error_code failure;
  const std::string folder =
      std::filesystem::absolute(options.file, failure).parent_path().string();
  watchInterrupts();
  Session session;
  if (!session.begin(options.terminal)) return kEnvironment;
  return HostPlay(options, std::move(rules), folder).run();
}

}  // namespace wz
