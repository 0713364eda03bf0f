#include "workstation/browser/engine/page/page_call.h"

#include "workstation/browser/engine/protocol/json.h"
#include "workstation/browser/engine/protocol/utf8.h"

namespace workstation {
namespace {

// For what reaches the callbacks as a zero-terminated string.
std::string plainText(const JsonValue& root, const char* name) {
  return wellFormedWithoutNul(jsonString(root, name));
}

bool readNotification(const JsonValue& root, PageCall& call) {
  const JsonValue& flags = jsonMember(root, "flags");
  if (!flags.IsUint()) return false;
  call.script.to = plainText(root, "to");
  call.script.name = plainText(root, "name");
  call.script.json = plainText(root, "json");
  repairSurrogates(call.script.json);  // escaped once more inside of the payload's own text
  call.script.from = plainText(root, "from");
  call.script.flags = flags.GetUint();
  return true;
}

bool readNotify(const JsonValue& root, PageCall& call) {
  call.script.kind = ScriptCall::Kind::kNotify;
  return readNotification(root, call);
}

bool readWait(const JsonValue& root, PageCall& call) {
  call.script.kind = ScriptCall::Kind::kNotifyAndWait;
  call.script.replyName = plainText(root, "replyName");
  call.script.timeoutMs = jsonInt(root, "timeout", 0);
  return readNotification(root, call);
}

bool readWaitSync(const JsonValue& root, PageCall& call) {
  call.kind = PageCall::Kind::kBlocking;
  return readWait(root, call);
}

bool readLog(const JsonValue& root, PageCall& call) {
  call.script.kind = ScriptCall::Kind::kLog;
  call.script.level = jsonInt(root, "level", -1);
  const JsonValue& texts = jsonMember(root, "texts");
  if (call.script.level < 0 || call.script.level > 7 || !texts.IsArray()) return false;
  for (const JsonValue& text : texts.GetArray()) call.script.texts.push_back(jsonString(text));
  return true;
}

bool readDrop(const JsonValue&, PageCall& call) {
  call.kind = PageCall::Kind::kDrop;
  return true;
}

bool readExit(const JsonValue& root, PageCall& call) {
  call.kind = PageCall::Kind::kExit;
  const JsonValue& result = jsonMember(root, "result");
  const JsonValue& properties = jsonMember(root, "properties");
  if (!result.IsInt() || !properties.IsArray()) return false;
  call.result = result.GetInt();
  for (const JsonValue& pair : properties.GetArray()) {
    if (!pair.IsArray() || pair.Size() != 2) return false;
    call.properties[jsonString(pair[0])] = jsonString(pair[1]);
  }
  return true;
}

bool readClose(const JsonValue&, PageCall& call) {
  call.kind = PageCall::Kind::kClose;
  return true;
}

bool readInput(const JsonValue& root, PageCall& call) {
  call.kind = PageCall::Kind::kInput;
  const JsonValue& point = jsonMember(root, "at");
  call.input = {jsonString(root, "action"),
                jsonString(root, "target"),
                jsonString(root, "text"),
                point.IsArray() && point.Size() == 2 && point[0].IsInt() && point[1].IsInt(),
                0,
                0};
  if (call.input.hasPoint) {
    call.input.x = point[0].GetInt();
    call.input.y = point[1].GetInt();
  }
  return true;
}

struct OperationRow {
  const char* name;
  bool (*read)(const JsonValue& root, PageCall& call);
};

constexpr OperationRow kOperations[] = {
    {"notify", readNotify}, {"wait", readWait}, {"waitSync", readWaitSync}, {"log", readLog},
    {"drop", readDrop},     {"exit", readExit}, {"close", readClose},       {"input", readInput},
};

}  // namespace

bool readPageCall(const std::string& payload, PageCall& call) {
  JsonDocument root;
  if (!parseJson(payload, root)) return false;
  const JsonValue& id = jsonMember(root, "id");
  call.id = id.IsInt64() ? id.GetInt64() : 0;
  const std::string operation = jsonString(root, "op");
  for (const OperationRow& row : kOperations) {
    if (operation == row.name) return row.read(root, call);
  }
  return false;
}

}  // namespace workstation
