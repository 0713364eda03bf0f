#include "wz/workbench/bus_story.h"

#include <algorithm>
#include <chrono>
#include <iterator>
#include <string_view>
#include <utility>

#include "wz/reports/story.h"
#include "zelipc/zelipc.h"

namespace wz {
namespace {

constexpr std::size_t kMostAsked = 4096;
constexpr std::size_t kLargestPayload = std::size_t{1} << 20;
constexpr std::size_t kShownOfLarge = 4096;
constexpr std::chrono::milliseconds kRestartTime{1000};  // a page shows that the bus was lost

bool isJson(const std::string& text) {
  zelipc::JSObject value;
  const int consumed = value.parse(text.c_str());
  return consumed >= 0 && static_cast<std::size_t>(consumed) == text.size();
}

// What is no JSON is told as a text.
void addPayload(const std::string& text, StoryLine& line) {
  if (text.size() > kLargestPayload) {
    line.text("payload", text.substr(0, kShownOfLarge));
    line.number("octets", static_cast<std::int64_t>(text.size()));
  } else if (isJson(text)) {
    line.json("payload", text);
  } else {
    line.text("payload", text).flag("malformed", true);
  }
}

}  // namespace

BusStory::BusStory(Loop& loop, Pages& pages, std::string terminal)
    : loop_(loop), pages_(pages), terminal_(std::move(terminal)) {}

BusStory::~BusStory() { loop_.cancel(timer_); }

bool BusStory::begin(std::string& error) { return use_.begin(terminal_, error) && open(error); }

bool BusStory::open(std::string& error) {
  BusMonitor::Listener listener;
  listener.onMessage = [this](const BusMessage& message) {
    message.kind == BusMessage::Kind::kReturned ? tellReturned(message) : tell(message);
  };
  listener.onLost = [this] { lose("the message bus has ended"); };
  monitor_ = BusMonitor::open(loop_, workstation::busPath(terminal_), std::move(listener), error);
  return monitor_ != nullptr;
}

void BusStory::lose(const std::string& why) {
  // Behind the call that tells it.
  const std::shared_ptr<BusMonitor> gone(std::move(monitor_));
  loop_.post([gone] {});
  asked_.clear();
  pages_.tell("workbench", StoryLine("bus-lost").text("error", why).at(pages_.log().now()));
  pages_.stateChanged();
  timer_ = loop_.after(kRestartTime, [this] {
    std::string error;
    (void)restart(error);  // it has told
  });
}

bool BusStory::restart(std::string& error) {
  if (isUp()) return true;
  loop_.cancel(timer_);
  if (!begin(error)) {
    lose(error);
    return false;
  }
  pages_.tell("workbench", StoryLine("bus-back").at(pages_.log().now()));
  pages_.stateChanged();
  return true;
}

// Only what is called a reply is one.
std::deque<BusStory::Asked>::iterator BusStory::findAsked(const BusMessage& reply) {
  constexpr std::string_view kReply = "_reply";
  if (!reply.name.ends_with(kReply)) return asked_.end();
  const std::string name = reply.name.substr(0, reply.name.size() - kReply.size());
  return std::find_if(asked_.begin(), asked_.end(), [&](const Asked& one) {
    return one.from == reply.to && one.to == reply.from && one.name == name;
  });
}

void BusStory::tell(const BusMessage& message) {
  const std::int64_t now = pages_.log().now();
  const auto asked = findAsked(message);
  const bool isReply = asked != asked_.end();
  const std::uint64_t serial = ++lastSerial_;
  StoryLine line("bus-message");
  line.text("from", message.from).text("to", message.to).text("name", message.name);
  addPayload(message.text, line);
  line.text("kind", isReply ? "reply" : "notify");
  line.number("flags", message.flags).number("serial", static_cast<std::int64_t>(serial));
  if (isReply) {
    line.number("replyTo", static_cast<std::int64_t>(asked->serial));
    line.number("took", now - asked->at);
    asked_.erase(asked);
  }
  if (asked_.size() == kMostAsked) asked_.pop_front();
  asked_.push_back(
      {serial, now, message.from, message.to, message.name, message.sender, message.cookie});
  pages_.tell("bus", line.at(now));
}

void BusStory::tellReturned(const BusMessage& message) {
  const auto fits = [&](const Asked& one) {
    return one.cookie == message.cookie && one.sender == message.sender;
  };
  const auto found = std::find_if(asked_.rbegin(), asked_.rend(), fits);
  if (found == asked_.rend()) return;
  const std::int64_t now = pages_.log().now();
  StoryLine line("bus-message");
  line.text("from", found->to).text("to", found->from).text("name", found->name);
  line.text("payload", "nobody has this address").text("kind", "error");
  line.number("serial", static_cast<std::int64_t>(++lastSerial_));
  line.number("replyTo", static_cast<std::int64_t>(found->serial));
  line.number("took", now - found->at);
  asked_.erase(std::next(found).base());
  pages_.tell("bus", line.at(now));
}

}  // namespace wz
