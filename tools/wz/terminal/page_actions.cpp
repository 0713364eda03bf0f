#include "wz/terminal/page_actions.h"

#include <rapidjson/document.h>

#include <string_view>
#include <vector>

#include "wz/reports/story.h"
#include "wz/terminal/key_params.h"
#include "zelipc/zelipc.h"

namespace wz {
namespace {

using rapidjson::Document;
using rapidjson::Value;
using workstation::PageEvent;
using zelipc::JSObject;

// Why an element is not there to be acted on.
constexpr char kNotThere[] = "there is no element ";

bool evaluate(int invocation, const std::string& expression, Document& value, std::string& error) {
  JSObject params;
  params["expression"] = JSObject(expression);
  params["returnByValue"] = JSObject(true);
  params["awaitPromise"] = JSObject(true);
  params["userGesture"] = JSObject(true);
  std::string result;
  if (!workstation::commandPage(invocation, "Runtime.evaluate", params.dump(), result, error))
    return false;
  Document answer;
  answer.Parse(result.data(), result.size());
  if (answer.HasParseError() || !answer.IsObject() || answer.HasMember("exceptionDetails") ||
      !answer.HasMember("result")) {
    error = kNoSelector;
    return false;
  }
  const Value& remote = answer["result"];
  const auto member = remote.FindMember("value");
  if (member != remote.MemberEnd()) value.CopyFrom(member->value, value.GetAllocator());
  return true;
}

std::string call(const char* function, const std::vector<std::string>& arguments) {
  std::string text = std::string("(") + function + ")(";
  for (std::size_t i = 0; i < arguments.size(); ++i)
    text += (i > 0 ? "," : "") + JSObject(arguments[i]).dump();
  return text + ")";
}

// ---- Style sheets ----

// A sheet that is still there when its successor has come never leaves the page without style.
constexpr char kReloadStyles[] = R"((names) => {
  const wanted = new Set(JSON.parse(names));
  const links = [...document.querySelectorAll('link[rel~=stylesheet][href]')].filter((link) => {
    const url = new URL(link.href);
    return url.origin === location.origin && wanted.has(decodeURIComponent(url.pathname.slice(1)));
  });
  const found = new Set(links.map((link) => decodeURIComponent(new URL(link.href).pathname.slice(1))));
  if (found.size < wanted.size) return false;
  return Promise.all(links.map((link) => new Promise((done) => {
    const next = link.cloneNode();
    const url = new URL(link.href);
    url.searchParams.set('wz', String(performance.now()));
    next.href = url.href;
    next.onload = next.onerror = () => { link.remove(); done(); };
    link.after(next);
  }))).then(() => true);
})";

std::string listOf(const std::set<std::string>& names) {
  JSObject list = JSObject::array();
  for (const std::string& name : names) list.append(JSObject(name));
  return list.dump();
}

// ---- Input ----

// The point to click at: the element's middle, or a place in it.
constexpr char kPointOf[] = R"((selector, x, y) => {
  const element = selector === '' ? document.documentElement : document.querySelector(selector);
  if (element === null) return null;
  element.scrollIntoView({block: 'nearest', inline: 'nearest', behavior: 'instant'});
  const box = element.getBoundingClientRect();
  return x === '' ? [box.x + box.width / 2, box.y + box.height / 2]
                  : [box.x + Number(x), box.y + Number(y)];
})";

constexpr char kFocus[] = R"((selector) => {
  const element = selector === '' ? document.body : document.querySelector(selector);
  if (element === null) return false;
  if (selector !== '' && document.activeElement !== element) element.focus();
  return true;
})";

constexpr char kChoose[] = R"((selector, value) => {
  const element = document.querySelector(selector);
  if (element === null) return false;
  element.value = value;
  element.dispatchEvent(new Event('input', {bubbles: true}));
  element.dispatchEvent(new Event('change', {bubbles: true}));
  return true;
})";

bool command(int invocation, const char* method, const JSObject& params, std::string& error) {
  std::string nothing;
  return workstation::commandPage(invocation, method, params.dump(), nothing, error);
}

Acted notThere(const std::string& selector, std::string& error) {
  error = kNotThere + selector;
  return Acted::kNotYet;
}

Acted sent(bool isConfirmed) { return isConfirmed ? Acted::kDone : Acted::kLost; }

bool sendMouse(int invocation, const char* type, double x, double y, std::string& error) {
  JSObject params;
  params["type"] = JSObject(type);
  params["x"] = JSObject(x);
  params["y"] = JSObject(y);
  params["button"] = JSObject("left");
  params["clickCount"] = JSObject(1);
  return command(invocation, "Input.dispatchMouseEvent", params, error);
}

Acted click(int invocation, const PageEvent::Input& input, std::string& error) {
  const std::string x = input.hasPoint ? std::to_string(input.x) : "";
  const std::string y = input.hasPoint ? std::to_string(input.y) : "";
  Document point;
  if (!evaluate(invocation, call(kPointOf, {input.target, x, y}), point, error))
    return Acted::kNotYet;
  if (!point.IsArray() || point.Size() != 2) return notThere(input.target, error);
  const double left = point[0].GetDouble(), top = point[1].GetDouble();
  return sent(sendMouse(invocation, "mousePressed", left, top, error) &&
              sendMouse(invocation, "mouseReleased", left, top, error));
}

Acted press(int invocation, const PageEvent::Input& input, std::string& error) {
  Document isThere;
  if (!evaluate(invocation, call(kFocus, {input.target}), isThere, error)) return Acted::kNotYet;
  if (!isThere.IsTrue()) return notThere(input.target, error);
  JSObject params = keyParams(input.text);
  params["type"] = JSObject(params.has("text") ? "keyDown" : "rawKeyDown");
  if (!command(invocation, "Input.dispatchKeyEvent", params, error)) return Acted::kLost;
  params["type"] = JSObject("keyUp");
  return sent(command(invocation, "Input.dispatchKeyEvent", params, error));
}

Acted choose(int invocation, const PageEvent::Input& input, std::string& error) {
  Document isThere;
  // The page does it as it is asked, so that an answer that is missing says nothing.
  if (!evaluate(invocation, call(kChoose, {input.target, input.text}), isThere, error))
    return error == kNoSelector ? Acted::kNotYet : Acted::kLost;
  return isThere.IsTrue() ? Acted::kDone : notThere(input.target, error);
}

struct ActionRow {
  std::string_view name;
  Acted (*act)(int invocation, const PageEvent::Input& input, std::string& error);
};

constexpr ActionRow kActions[] = {{"click", click}, {"key", press}, {"choose", choose}};

}  // namespace

bool findElement(int invocation, const std::string& selector, bool& isThere, std::string& error) {
  Document found;
  constexpr char kIsThere[] = "(selector) => document.querySelector(selector) !== null";
  if (!evaluate(invocation, call(kIsThere, {selector}), found, error)) return false;
  isThere = found.IsTrue();
  return true;
}

bool reloadPage(int invocation, std::string& error) {
  JSObject params;
  params["ignoreCache"] = JSObject(true);
  return command(invocation, "Page.reload", params, error);
}

bool reloadStyles(int invocation, const std::set<std::string>& names, std::string& error) {
  Document reloaded;
  if (!evaluate(invocation, call(kReloadStyles, {listOf(names)}), reloaded, error)) return false;
  return reloaded.IsTrue();
}

Acted actOnPage(int invocation, const PageEvent::Input& input, std::string& error) {
  for (const ActionRow& row : kActions) {
    if (row.name == input.action) return row.act(invocation, input, error);
  }
  error = "there is no action " + input.action;
  return Acted::kNotYet;
}

}  // namespace wz
