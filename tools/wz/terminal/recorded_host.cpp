#include "wz/terminal/recorded_host.h"

#include <set>
#include <utility>

namespace wz {
namespace {

using Address = std::pair<std::string, std::string>;  // to, name

std::string text(const rapidjson::Value& line, const char* name) {
  const auto member = line.FindMember(name);
  return member != line.MemberEnd() && member->value.IsString() ? member->value.GetString() : "";
}

bool isEvent(const RecordedLine& line, const char* event) {
  return text(line.json, "event") == event;
}

bool isFlagged(const rapidjson::Value& line, const char* name) {
  const auto member = line.FindMember(name);
  return member != line.MemberEnd() && member->value.IsTrue();
}

// The first reply behind the line `index` that its receiver has sent and that is nobody's yet.
const rapidjson::Value* replyTo(const Recording& recording, std::size_t index,
                                std::set<std::size_t>& taken) {
  const std::string to = text(recording.lines[index].json, "to");
  for (std::size_t i = index + 1; i < recording.lines.size(); ++i) {
    const RecordedLine& line = recording.lines[i];
    if (!isEvent(line, "reply") || text(line.json, "from") != to) continue;
    if (taken.insert(i).second) return &line.json;
  }
  return nullptr;
}

}  // namespace

RecordedHost::RecordedHost(const Recording& recording) {
  std::set<Address> absent;
  for (const RecordedLine& line : recording.lines) {
    if (isEvent(line, "undelivered"))
      absent.insert({text(line.json, "to"), text(line.json, "name")});
  }
  for (const RecordedLine& line : recording.lines) {
    const Address address(text(line.json, "to"), text(line.json, "name"));
    if (!isEvent(line, "messageSent") || absent.count(address) > 0) continue;
    auto& receiver = receivers_[address];
    if (receiver) continue;
    receiver = std::make_unique<Receiver>();
    receiver->address = address.first;
    receiver->name = address.second;
  }
  addReplies(recording);
  for (const auto& [address, receiver] : receivers_) {
    zelipc::ipcRegisterNotificationCB(receiver->name, onNotification, receiver.get(), 0,
                                      receiver->address);
  }
}

RecordedHost::~RecordedHost() {
  for (const auto& [address, receiver] : receivers_) {
    zelipc::ipcUnregisterNotificationCB(receiver->name, onNotification, receiver.get(),
                                        receiver->address);
  }
}

void RecordedHost::addReplies(const Recording& recording) {
  std::set<std::size_t> taken;
  for (std::size_t i = 0; i < recording.lines.size(); ++i) {
    const RecordedLine& line = recording.lines[i];
    if (!isEvent(line, "messageSent") || !isFlagged(line.json, "awaitsReply")) continue;
    const auto receiver = receivers_.find({text(line.json, "to"), text(line.json, "name")});
    if (receiver == receivers_.end()) continue;
    Reply reply;
    const rapidjson::Value* const recorded = replyTo(recording, i, taken);
    const bool hasAnswer = recorded != nullptr && recorded->HasMember("payload");
    reply.isSilence = !hasAnswer;
    if (hasAnswer) {
      reply.name = text(*recorded, "name");
      reply.payload = lineText((*recorded)["payload"]);
    }
    const wzapp::MutexLock lock(receiver->second->mutex);
    receiver->second->replies.push_back(std::move(reply));
  }
}

void RecordedHost::onNotification(void* user, const std::string& from, const std::string&,
                                  const std::string&, const zelipc::JSObject&, unsigned) {
  auto& receiver = *static_cast<Receiver*>(user);
  Reply reply;
  {
    const wzapp::MutexLock lock(receiver.mutex);
    if (receiver.replies.empty()) return;
    reply = receiver.replies.front();
    if (receiver.replies.size() > 1) receiver.replies.pop_front();
  }
  if (reply.isSilence) return;
  zelipc::JSObject payload;
  (void)payload.parse(reply.payload.c_str());
  (void)zelipc::ipcNotify(from, reply.name, payload, 0, receiver.address);
}

}  // namespace wz
