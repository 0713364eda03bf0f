#include "wz/workbench/pointer.h"

#include <algorithm>

#include "wz/terminal/key_params.h"

namespace wz {

using zelipc::JSObject;

namespace {

struct PointerRow {
  const char* type;
  const char* mouse;
  const char* touch;
};

constexpr PointerRow kPointers[] = {
    {"move", "mouseMoved", "touchMove"},
    {"down", "mousePressed", "touchStart"},
    {"up", "mouseReleased", "touchEnd"},
    {"wheel", "mouseWheel", nullptr},
};

// As a bit of "buttons" (UI Events, 5.2).
int bitOf(const std::string& button) {
  if (button == "left") return 1;
  if (button == "right") return 2;
  return button == "middle" ? 4 : 0;
}

void addTouch(const PointerRow& row, double x, double y, PageCommand& command) {
  command.method = "Input.dispatchTouchEvent";
  command.params["type"] = JSObject(row.touch);
  command.params["touchPoints"] = JSObject::array();
  if (std::string(row.type) == "up") return;
  JSObject point;
  point["x"] = JSObject(x);
  point["y"] = JSObject(y);
  command.params["touchPoints"].append(point);
}

// One character, whatever its octets (RFC 3629); names of keys have several.
bool isCharacter(const std::string& key) {
  const auto begins = [](char octet) { return (static_cast<unsigned char>(octet) & 0xC0) != 0x80; };
  return std::count_if(key.begin(), key.end(), begins) == 1;
}

}  // namespace

Problem pointerCommand(const JSObject& question, std::string& pressed, PageCommand& command) {
  const std::string type = question["type"].asString();
  const auto* const row = std::find_if(std::begin(kPointers), std::end(kPointers),
                                       [&](const PointerRow& one) { return type == one.type; });
  if (row == std::end(kPointers)) return "a pointer moves, is down, is up, or is a wheel";
  const double x = question["x"].asDouble(), y = question["y"].asDouble();
  command.params = JSObject();
  if (question["touch"].asBool() && row->touch != nullptr) {
    addTouch(*row, x, y, command);
    return "";
  }
  std::string button = question["button"].asString();
  if (bitOf(button) == 0) button = type == "move" || type == "wheel" ? pressed : "left";
  if (type == "down") pressed = button;
  command.method = "Input.dispatchMouseEvent";
  command.params["type"] = JSObject(row->mouse);
  command.params["x"] = JSObject(x);
  command.params["y"] = JSObject(y);
  command.params["button"] = JSObject(type == "move" || type == "wheel" ? pressed : button);
  command.params["buttons"] = JSObject(type == "up" ? 0 : bitOf(pressed));
  if (type == "down" || type == "up") command.params["clickCount"] = JSObject(1);
  if (type == "up") pressed = "none";
  if (type == "wheel") {
    command.params["deltaX"] = JSObject(question["dx"].asDouble());
    command.params["deltaY"] = JSObject(question["dy"].asDouble());
  }
  return "";
}

Problem keyCommands(const JSObject& question, std::vector<PageCommand>& commands) {
  const std::string type = question["type"].asString(), key = question["key"].asString();
  if (key.empty() || (type != "down" && type != "up" && type != "press")) {
    return "a key has a name, and is down, up or pressed";
  }
  JSObject params = keyParams(key);
  const bool types = isCharacter(key) || key == "Enter";
  if (!types) params["text"] = JSObject("");
  const std::string code = question["code"].asString();
  if (!code.empty()) params["code"] = JSObject(code);
  if (type != "up") {
    params["type"] = JSObject(types ? "keyDown" : "rawKeyDown");
    commands.push_back({"Input.dispatchKeyEvent", params});
  }
  if (type != "down") {
    params["type"] = JSObject("keyUp");
    commands.push_back({"Input.dispatchKeyEvent", params});
  }
  return "";
}

}  // namespace wz
