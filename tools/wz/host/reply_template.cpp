#include "wz/host/reply_template.h"

#include <regex.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <string_view>
#include <vector>

namespace wz {
namespace {

using zelipc::JSObject;

constexpr std::string_view kOpen = "{{", kClose = "}}";
constexpr std::size_t kLongestMatched = 4096;  // octets; an expression may take long over a text

// The value at a path; null where there is none. A member that has the whole rest of the path as
// its name comes before one that has a part of it.
const JSObject* valueAt(const JSObject& value, std::string_view path) {
  if (value.isObject() && value.has(std::string(path))) return &value[std::string(path)];
  const std::size_t dot = path.find('.');
  const std::string step(path.substr(0, dot));
  const JSObject* next = nullptr;
  if (value.isObject() && value.has(step)) {
    next = &value[step];
  } else if (value.isArray()) {
    std::size_t index = 0;
    const auto [end, failure] = std::from_chars(step.data(), step.data() + step.size(), index);
    if (failure == std::errc() && end == step.data() + step.size() && index < value.size()) {
      next = &value.at(index);
    }
  }
  if (next == nullptr || dot == std::string_view::npos) return next;
  return valueAt(*next, path.substr(dot + 1));
}

JSObject valueOf(std::string_view placeholder, const TemplateValues& values) {
  if (placeholder == "$from") return JSObject(values.from);
  if (placeholder == "$to") return JSObject(values.to);
  if (placeholder == "$name") return JSObject(values.name);
  if (placeholder == "$flags") return JSObject(static_cast<long long>(values.flags));
  if (placeholder == "$payload") return values.payload;
  if (placeholder == "$count") return JSObject(values.count);
  const JSObject* const found = valueAt(values.payload, placeholder);
  if (found != nullptr) return *found;
  JSObject missing;
  return missing["null"];  // inserted as null
}

std::string textOf(const JSObject& value) {
  if (value.isNull()) return {};
  return value.isString() ? value.asString() : value.dump();
}

JSObject filledText(const std::string& text, const TemplateValues& values) {
  std::string result;
  std::size_t from = 0;
  for (;;) {
    const std::size_t open = text.find(kOpen, from);
    const std::size_t close = open == std::string::npos ? open : text.find(kClose, open);
    if (close == std::string::npos) return JSObject(result + text.substr(from));
    const std::string_view placeholder =
        std::string_view(text).substr(open + kOpen.size(), close - open - kOpen.size());
    const std::size_t end = close + kClose.size();
    if (open == 0 && end == text.size()) return valueOf(placeholder, values);
    result += text.substr(from, open - from) + textOf(valueOf(placeholder, values));
    from = end;
  }
}

// ---- Conditions --------------------------------------------------------------------------------

bool isEqual(const JSObject& a, const JSObject& b) {
  if (a.isNumber() && b.isNumber()) {
    return a.isInt() && b.isInt() ? a.asInt() == b.asInt() : a.asDouble() == b.asDouble();
  }
  if (a.isObject() && b.isObject()) {
    const std::vector<std::string> keys = a.keys();
    return a.size() == b.size() && std::ranges::all_of(keys, [&](const std::string& key) {
             return b.has(key) && isEqual(a[key], b[key]);
           });
  }
  if (a.isArray() && b.isArray()) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
      if (!isEqual(a.at(i), b.at(i))) return false;
    }
    return true;
  }
  return a.dump() == b.dump();
}

bool isIn(const JSObject& value, const JSObject& array) {
  for (std::size_t i = 0; i < array.size(); ++i) {
    if (isEqual(value, array.at(i))) return true;
  }
  return false;
}

// An extended regular expression (regex(7)).
class Expression {
 public:
  explicit Expression(const std::string& text)
      : code_(regcomp(&compiled_, text.c_str(), REG_EXTENDED | REG_NOSUB)) {}
  Expression(const Expression&) = delete;
  Expression& operator=(const Expression&) = delete;
  ~Expression() {
    if (code_ == 0) regfree(&compiled_);
  }

  [[nodiscard]] bool isIn(const std::string& text) const {
    return code_ == 0 && regexec(&compiled_, text.c_str(), 0, nullptr, 0) == 0;
  }

  // Empty: it is one.
  [[nodiscard]] std::string problem() const {
    if (code_ == 0) return {};
    std::array<char, 128> text{};
    regerror(code_, &compiled_, text.data(), text.size());
    return text.data();
  }

 private:
  regex_t compiled_{};
  int code_;
};

bool matches(const JSObject& value, const JSObject& expression) {
  const std::string text = textOf(value);
  return text.size() <= kLongestMatched && Expression(expression.asString()).isIn(text);
}

struct Test {
  const char* name;
  bool (*holds)(const JSObject* value, const JSObject& operand);  // null: there is no value
};

const Test kTests[] = {
    {"is", [](const JSObject* v, const JSObject& o) { return v != nullptr && isEqual(*v, o); }},
    {"not", [](const JSObject* v, const JSObject& o) { return v == nullptr || !isEqual(*v, o); }},
    {"in", [](const JSObject* v, const JSObject& o) { return v != nullptr && isIn(*v, o); }},
    {"exists", [](const JSObject* v, const JSObject& o) { return (v != nullptr) == o.asBool(); }},
    {"min",
     [](const JSObject* v, const JSObject& o) {
       return v != nullptr && v->isNumber() && v->asDouble() >= o.asDouble();
     }},
    {"max",
     [](const JSObject* v, const JSObject& o) {
       return v != nullptr && v->isNumber() && v->asDouble() <= o.asDouble();
     }},
    {"contains",
     [](const JSObject* v, const JSObject& o) {
       return v != nullptr && textOf(*v).find(o.asString()) != std::string::npos;
     }},
    {"matches",
     [](const JSObject* v, const JSObject& o) { return v != nullptr && matches(*v, o); }},
};

bool meetsOne(const JSObject& wanted, const JSObject* value) {
  if (!wanted.isObject()) return value != nullptr && isEqual(*value, wanted);
  return std::ranges::all_of(kTests, [&](const Test& test) {
    return !wanted.has(test.name) || test.holds(value, wanted[test.name]);
  });
}

}  // namespace

JSObject filledIn(const JSObject& value, const TemplateValues& values) {
  if (value.isString()) return filledText(value.asString(), values);
  if (value.isArray()) {
    JSObject array = JSObject::array();
    for (std::size_t i = 0; i < value.size(); ++i) array.append(filledIn(value.at(i), values));
    return array;
  }
  if (!value.isObject()) return value;
  JSObject object;
  for (const std::string& key : value.keys()) object[key] = filledIn(value[key], values);
  return object;
}

bool meets(const JSObject& condition, const JSObject& payload) {
  const std::vector<std::string> paths =
      condition.isObject() ? condition.keys() : std::vector<std::string>();
  return std::ranges::all_of(paths, [&](const std::string& path) {
    return meetsOne(condition[path], valueAt(payload, path));
  });
}

std::string whyNoCondition(const JSObject& condition) {
  for (const std::string& path :
       condition.isObject() ? condition.keys() : std::vector<std::string>()) {
    if (!condition[path].isObject() || !condition[path].has("matches")) continue;
    const std::string expression = condition[path]["matches"].asString();
    const std::string problem = Expression(expression).problem();
    if (!problem.empty()) {
      return "the expression " + expression + " of " + path + " is none: " + problem;
    }
  }
  return {};
}

}  // namespace wz
