#include "wz/workbench/answer.h"

#include <utility>

#include "wz/reports/message_output.h"

namespace wz {

using zelipc::JSObject;

Answer::Answer(const std::shared_ptr<PageSocket>& page, std::string id)
    : page_(page), id_(std::move(id)) {}

void Answer::put(const std::string& rest) const {
  if (const auto page = page_.lock()) page->put("{\"id\":" + id_ + "," + rest + "}");
}

void Answer::done(const JSObject& result) const { doneWith(asciiJson(result)); }

void Answer::doneWith(const std::string& result) const { put("\"ok\":true,\"result\":" + result); }

void Answer::failed(const std::string& error) const {
  put("\"ok\":false,\"error\":" + asciiJson(JSObject(error)));
}

JSObject objectWith(const std::string& key, const std::string& value) {
  JSObject object;
  object[key] = JSObject(value);
  return object;
}

JSObject listOf(const std::vector<std::string>& texts) {
  JSObject list = JSObject::array();
  for (const std::string& text : texts) list.append(JSObject(text));
  return list;
}

std::vector<std::string> textsOf(const JSObject& list) {
  std::vector<std::string> texts;
  for (std::size_t i = 0; i < list.size(); ++i) texts.push_back(list.at(i).asString());
  return texts;
}

}  // namespace wz
