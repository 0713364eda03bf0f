#include "workstation/browser/js/script_call.h"

#include "workstation/browser/engine/protocol/json.h"

namespace workstation {
namespace {

// In the order of ScriptCall::Kind.
constexpr const char* kKindNames[] = {"notify", "notifyAndWait", "log", "trace"};

bool readKind(const JsonValue& root, ScriptCall& call) {
  const std::string name = jsonString(root, "call");
  for (std::size_t i = 0; i < std::size(kKindNames); ++i) {
    if (name != kKindNames[i]) continue;
    call.kind = static_cast<ScriptCall::Kind>(i);
    return true;
  }
  return false;
}

std::string textArray(const std::vector<std::string>& texts) {
  std::string array = "[";
  for (const std::string& text : texts) array += (array.size() > 1 ? "," : "") + jsonQuote(text);
  return array + ']';
}

}  // namespace

std::string scriptSource(const ScriptCall& call) {
  JsonObject info;
  for (const auto& [name, value] : call.info) info.add(name, value);
  return JsonObject()
      .add("call", kKindNames[static_cast<std::size_t>(call.kind)])
      .add("to", call.to)
      .add("name", call.name)
      .add("json", call.json)
      .add("from", call.from)
      .add("flags", static_cast<long long>(call.flags))
      .add("replyName", call.replyName)
      .add("timeout", call.timeoutMs)
      .add("level", call.level)
      .addRaw("texts", textArray(call.texts))
      .addRaw("info", info.text())
      .text();
}

bool readScriptSource(const std::string& source, ScriptCall& call) {
  JsonDocument root;
  if (!parseJson(source, root) || !readKind(root, call)) return false;
  const JsonValue& flags = jsonMember(root, "flags");
  const JsonValue& texts = jsonMember(root, "texts");
  const JsonValue& info = jsonMember(root, "info");
  if (!flags.IsUint() || !texts.IsArray() || !info.IsObject()) return false;
  call.to = jsonString(root, "to");
  call.name = jsonString(root, "name");
  call.json = jsonString(root, "json");
  call.from = jsonString(root, "from");
  call.flags = flags.GetUint();
  call.replyName = jsonString(root, "replyName");
  call.timeoutMs = jsonInt(root, "timeout", 0);
  call.level = jsonInt(root, "level", 0);
  call.texts.clear();
  for (const JsonValue& text : texts.GetArray()) call.texts.push_back(jsonString(text));
  call.info.clear();
  for (const auto& member : info.GetObject())
    call.info[jsonString(member.name)] = jsonString(member.value);
  return true;
}

}  // namespace workstation
