#include "wz/check/manifest_check.h"

#include <algorithm>
#include <set>
#include <vector>

#include "installer/version.h"
#include "packaging/application_folder.h"
#include "wz/check/json_tree.h"
#include "wz/words/nearest.h"

namespace wz {
namespace {

using Type = JsonNode::Type;

// ---- What a manifest has -----------------------------------------------------------------------

enum class Form { kText, kVersion, kFlag, kObject, kTexts, kSponsors, kObjects };

struct KeyRule {
  const char* object;  // "": the outermost; of a list, what its elements are
  const char* key;
  Form form;
};

constexpr KeyRule kKeys[] = {
    {"", "application", Form::kObject},
    {"", "sponsors", Form::kSponsors},
    {"", "desktop", Form::kObject},
    {"", "exports_sdk", Form::kObject},
    {"", "exports_trigger", Form::kObjects},
    {"", "exports_api", Form::kObjects},
    {"", "imports_sdk", Form::kObject},
    {"", "imports_trigger", Form::kObjects},
    {"", "imports_api", Form::kObjects},
    {"", "imports_hardware", Form::kObject},
    {"application", "id", Form::kText},
    {"application", "version", Form::kVersion},
    {"desktop", "file", Form::kText},
    {"desktop", "name", Form::kText},
    {"desktop", "icon", Form::kText},
    {"exports_sdk", "triggers_version", Form::kVersion},
    {"exports_trigger", "id", Form::kText},
    {"exports_api", "id", Form::kText},
    {"imports_sdk", "triggers_min_version", Form::kVersion},
    {"imports_sdk", "triggers_max_version", Form::kVersion},
    {"imports_sdk", "wzruntime_min_version", Form::kVersion},
    {"imports_sdk", "wzruntime_max_version", Form::kVersion},
    {"imports_trigger", "id", Form::kText},
    {"imports_trigger", "file", Form::kText},
    {"imports_trigger", "optional", Form::kFlag},
    {"imports_api", "id", Form::kText},
    {"imports_api", "optional", Form::kFlag},
    {"imports_hardware", "platforms", Form::kTexts},
};

const KeyRule* findRule(std::string_view object, std::string_view key) {
  for (const KeyRule& rule : kKeys) {
    if (rule.object == object && rule.key == key) return &rule;
  }
  return nullptr;
}

std::vector<std::string> keysOf(std::string_view object) {
  std::vector<std::string> keys;
  for (const KeyRule& rule : kKeys) {
    if (rule.object == object) keys.emplace_back(rule.key);
  }
  return keys;
}

const char* formText(Form form) {
  switch (form) {
    case Form::kText:
    case Form::kVersion:
      return "a text";
    case Form::kFlag:
      return "true or false";
    case Form::kObject:
      return "an object";
    case Form::kTexts:
    case Form::kSponsors:
      return "a list of texts";
    case Form::kObjects:
      return "a list of objects";
  }
  return "?";
}

bool hasForm(const JsonNode& node, Form form) {
  switch (form) {
    case Form::kText:
    case Form::kVersion:
      return node.type == Type::kText;
    case Form::kFlag:
      return node.type == Type::kFlag;
    case Form::kObject:
      return node.type == Type::kObject;
    default:
      return node.type == Type::kArray;
  }
}

// The runtime that terminals of this library have.
constexpr char kRuntimeVersion[] = "2.46.6";

class ManifestCheck {
 public:
  ManifestCheck(std::string_view text, const std::string& file, const std::string& entry,
                Diagnostics& diagnostics)
      : text_(text), file_(file), entry_(entry), diagnostics_(diagnostics) {}

  void run(const JsonNode& root) {
    if (root.type != Type::kObject) {
      return add(
          "WZ-0708", root.offset,
          std::string("the manifest is ") + typeText(root.type) + " where an object is wanted");
    }
    checkObject(root, "");
    checkIdentity(root);
    checkBounds(root);
  }

  void add(const char* code, std::size_t offset, const std::string& message,
           const std::string& evidence = "") {
    const TextPlace place = placeIn(text_, offset);
    diagnostics_.push_back({code, message, file_, entry_, place.line, place.column, evidence});
  }

  void checkDoubles(const JsonNode& object) {
    std::set<std::string> seen;
    for (const JsonMember& member : object.members) {
      if (!seen.insert(member.key).second) {
        add("WZ-0706", member.offset, "the key " + member.key + " stands twice in one object");
      }
    }
  }

 private:
  void checkObject(const JsonNode& object, std::string_view name) {
    checkDoubles(object);
    for (const JsonMember& member : object.members) {
      const KeyRule* const rule = findRule(name, member.key);
      if (rule != nullptr) {
        checkValue(*rule, member);
      } else if (!isOwn(member.key)) {
        add("WZ-0707", member.offset, unknownText(name, member.key));
      }
    }
  }

  static bool isOwn(std::string_view key) { return key.starts_with('$') || key.starts_with("x-"); }

  static std::string unknownText(std::string_view object, const std::string& key) {
    const std::string where =
        object.empty() ? std::string("the manifest") : "\"" + std::string(object) + "\"";
    std::string text = where + " has no key " + key;
    if (const std::string meant = nearest(key, keysOf(object)); !meant.empty()) {
      return text + "; did you mean " + meant + "?";
    }
    for (const KeyRule& rule : kKeys) {
      if (rule.key != key) continue;
      const std::string place = *rule.object == '\0' ? std::string("the outermost object")
                                                     : "\"" + std::string(rule.object) + "\"";
      return text + "; it belongs into " + place;
    }
    return text;
  }

  void checkValue(const KeyRule& rule, const JsonMember& member) {
    const JsonNode& value = member.value;
    if (!hasForm(value, rule.form)) {
      const bool isNumber = rule.form == Form::kVersion && value.type == Type::kNumber;
      return add(isNumber ? "WZ-0720" : "WZ-0708", value.offset,
                 member.key + " is " + typeText(value.type) + " where " + formText(rule.form) +
                     " is wanted",
                 value.text);
    }
    switch (rule.form) {
      case Form::kVersion:
        return checkVersion(member);
      case Form::kObject:
        return checkObject(value, rule.key);
      case Form::kObjects:
        return checkElements(value, rule.key);
      case Form::kTexts:
      case Form::kSponsors:
        return checkTexts(member, rule.form);
      default:
        return;
    }
  }

  void checkVersion(const JsonMember& member) {
    const std::string& version = member.value.text;
    std::size_t digits = 0;
    bool isPlain = !version.empty();
    for (const char c : version) {
      if (c == '.') {
        isPlain = isPlain && digits > 0;
        digits = 0;
        continue;
      }
      isPlain = isPlain && c >= '0' && c <= '9';
      ++digits;
    }
    if (isPlain && digits > 0) return;
    add("WZ-0721", member.value.offset,
        member.key + " is not made of numbers with dots between them", version);
  }

  void checkElements(const JsonNode& list, const char* name) {
    for (const JsonNode& element : list.items) {
      if (element.type != Type::kObject) {
        add("WZ-0732", element.offset,
            std::string("an element of ") + name + " is " + typeText(element.type) +
                " where an object with an id is wanted",
            element.text);
        continue;
      }
      checkObject(element, name);
      const JsonNode* const id = element.find("id");
      if (id == nullptr || (id->type == Type::kText && id->text.empty())) {
        add("WZ-0732", element.offset, std::string("an element of ") + name + " has no id");
      }
    }
  }

  void checkTexts(const JsonMember& member, Form form) {
    const bool isPlatforms = form == Form::kTexts;
    if (isPlatforms && member.value.items.empty()) {
      add("WZ-0730", member.value.offset, "the list of platforms is empty, which fits no terminal");
    }
    for (const JsonNode& item : member.value.items) {
      if (item.type != Type::kText) {
        add("WZ-0708", item.offset,
            "an element of " + member.key + " is " + typeText(item.type) +
                " where a text is wanted",
            item.text);
      } else if (const std::string why = packaging::whyNoSponsor(item.text);
                 !isPlatforms && !why.empty()) {
        add("WZ-0714", item.offset, "the sponsor " + item.text + " " + why, item.text);
      }
    }
  }

  void checkIdentity(const JsonNode& root) {
    const JsonNode* const application = root.find("application");
    const JsonNode* const id = application == nullptr ? nullptr : application->find("id");
    if (id == nullptr) {
      const std::size_t offset = application == nullptr ? root.offset : application->offset;
      return add("WZ-0710", offset, "the application id is missing");
    }
    if (id->type != Type::kText) return;  // said already
    const std::string why = packaging::whyNoApplicationId(id->text);
    if (why.empty()) return;
    add(id->text.empty() ? "WZ-0710" : "WZ-0711", id->offset, "the application id " + why,
        id->text);
  }

  // ---- Bounds ----------------------------------------------------------------------------------

  static const JsonNode* textOf(const JsonNode* object, const char* key) {
    const JsonNode* const node = object == nullptr ? nullptr : object->find(key);
    return node != nullptr && node->type == Type::kText ? node : nullptr;
  }

  void checkBounds(const JsonNode& root) {
    const JsonNode* const imports = root.find("imports_sdk");
    checkPair(textOf(imports, "triggers_min_version"), textOf(imports, "triggers_max_version"),
              "triggers", nullptr);
    checkPair(textOf(imports, "wzruntime_min_version"), textOf(imports, "wzruntime_max_version"),
              "wzruntime", kRuntimeVersion);
  }

  void checkPair(const JsonNode* low, const JsonNode* high, const std::string& name,
                 const char* actual) {
    const std::string minimum = name + "_min_version", maximum = name + "_max_version";
    if (low != nullptr && high != nullptr &&
        wzapp::Version(low->text) > wzapp::Version(high->text)) {
      return add("WZ-0723", low->offset,
                 minimum + " " + low->text + " is above " + maximum + " " + high->text);
    }
    if (actual != nullptr) {
      if (low != nullptr && wzapp::Version(actual) < wzapp::Version(low->text)) {
        add("WZ-0724", low->offset, "the runtime " + std::string(actual) + " is below " + minimum,
            low->text);
      }
      if (high != nullptr && wzapp::Version(actual) > wzapp::Version(high->text)) {
        add("WZ-0724", high->offset, "the runtime " + std::string(actual) + " is above " + maximum,
            high->text);
      }
      return;
    }
    // What terminals export is not known here; the trap is.
    if (low != nullptr && low->text.ends_with(".0") && std::ranges::count(low->text, '.') >= 2) {
      add("WZ-0722", low->offset,
          minimum + " " + low->text + " is not reached by the same version with fewer parts",
          low->text);
    }
    if (high != nullptr && std::ranges::count(high->text, '.') < 2) {
      add("WZ-0722", high->offset,
          maximum + " " + high->text + " is exceeded by the same version with more parts",
          high->text);
    }
  }

  std::string_view text_;
  const std::string& file_;
  const std::string& entry_;
  Diagnostics& diagnostics_;
};

bool looksLikeJson(std::string_view text) {
  if (text.starts_with(kByteOrderMark)) return true;
  const std::size_t first = text.find_first_not_of(" \t\r\n");
  return first != std::string_view::npos && text[first] == '{';
}

}  // namespace

void checkManifestText(std::string_view text, const std::string& file, const std::string& entry,
                       Diagnostics& diagnostics) {
  const JsonText json = readJsonText(text);
  ManifestCheck check(text, file, entry, diagnostics);
  if (json.isJson) return check.run(json.root);
  if (!looksLikeJson(text)) return;
  if (text.starts_with(kByteOrderMark)) {
    return check.add("WZ-0703", 0, "the manifest begins with a byte order mark", "EF BB BF");
  }
  check.add("WZ-0702", json.offset, "the manifest is no JSON: " + json.problem);
}

void checkConfiguration(std::string_view text, const std::string& file, const std::string& entry,
                        Diagnostics& diagnostics) {
  const JsonText json = readJsonText(text);
  if (json.isJson) return;
  const bool hasMark = text.starts_with(kByteOrderMark);
  const TextPlace place = placeIn(text, hasMark ? 0 : json.offset);
  diagnostics.push_back({"WZ-0740",
                         "the configuration is no JSON: " +
                             (hasMark ? "it begins with a byte order mark" : json.problem),
                         file, entry, place.line, place.column, ""});
}

}  // namespace wz
