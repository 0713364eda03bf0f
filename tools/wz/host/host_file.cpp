#include "wz/host/host_file.h"

#include <rapidjson/document.h>
#include <rapidjson/schema.h>
#include <rapidjson/stringbuffer.h>

#include <algorithm>
#include <array>
#include <set>
#include <string_view>

#include "packaging/json_problem.h"
#include "wz/host/host_texts.h"
#include "wz/host/reply_template.h"

namespace wz {
namespace {

using zelipc::JSObject;

// ---- Form --------------------------------------------------------------------------------------

struct SchemaWords {
  std::string_view keyword, words;
};

constexpr SchemaWords kSchemaWords[] = {
    {"additionalProperties", "has a member that is not known"},
    {"anyOf", "is neither a value nor an object of tests that are known"},
    {"enum", "is not one of the values that it may have"},
    {"maximum", "is too large"},
    {"minItems", "is empty"},
    {"minLength", "is empty"},
    {"minimum", "is too small"},
    {"required", "lacks a member that must be there"},
    {"type", "is of another type than it must be"},
};

std::string_view wordsFor(std::string_view keyword) {
  for (const SchemaWords& row : kSchemaWords) {
    if (row.keyword == keyword) return row.words;
  }
  return "is not as the schema wants it";
}

// Of an object: its members that the schema does not know, or those that it wants and misses.
std::string membersMeant(const rapidjson::Value* value, const rapidjson::Value* schema) {
  std::string names;
  const auto add = [&names](const char* name) {
    names += (names.empty() ? ": " : ", ") + std::string(name);
  };
  if (value == nullptr || schema == nullptr || !value->IsObject() || !schema->IsObject()) return {};
  if (schema->HasMember("required")) {
    for (const auto& name : (*schema)["required"].GetArray()) {
      if (!value->HasMember(name.GetString())) add(name.GetString());
    }
  }
  if (schema->HasMember("properties")) {
    for (const auto& member : value->GetObject()) {
      if (!(*schema)["properties"].HasMember(member.name)) add(member.name.GetString());
    }
  }
  return names;
}

// ": array", what the schema wants in the value's place.
std::string typeMeant(const rapidjson::Value* schema) {
  if (schema == nullptr || !schema->IsObject() || !schema->HasMember("type")) return {};
  const rapidjson::Value& type = (*schema)["type"];
  return type.IsString() ? std::string(": ") + type.GetString() : std::string();
}

// Which member stands twice in an object, "/rules/0/delay"; empty: none. Of two, readers take one,
// and not all the same.
std::string memberGivenTwice(const rapidjson::Value& value, const std::string& place) {
  std::set<std::string_view> names;
  std::string found;
  if (value.IsObject()) {
    for (auto member = value.MemberBegin(); found.empty() && member != value.MemberEnd();
         ++member) {
      const std::string_view name(member->name.GetString(), member->name.GetStringLength());
      const std::string there = place + "/" + std::string(name);
      found = names.insert(name).second ? memberGivenTwice(member->value, there) : there;
    }
  } else if (value.IsArray()) {
    for (rapidjson::SizeType i = 0; found.empty() && i < value.Size(); ++i) {
      found = memberGivenTwice(value[i], place + "/" + std::to_string(i));
    }
  }
  return found;
}

std::string whyAmbiguous(const std::string& text) {
  rapidjson::Document document;
  document.Parse<rapidjson::kParseIterativeFlag>(text.data(), text.size());
  const std::string place = memberGivenTwice(document, "");
  return place.empty() ? "" : place + " is given twice";
}

// What the schema has against the file: "/rules/0/delay is too large"; empty: nothing.
std::string schemaProblem(const std::string& text) {
  rapidjson::Document schema, document;
  schema.Parse(hostSchema().data(), hostSchema().size());
  schema.RemoveMember("$schema");  // what it uses is the same in the draft that this reader knows
  document.Parse<rapidjson::kParseIterativeFlag>(text.data(), text.size());
  const rapidjson::SchemaDocument compiled(schema);
  rapidjson::SchemaValidator validator(compiled);
  if (document.Accept(validator)) return {};
  const auto pointer = validator.GetInvalidDocumentPointer();
  rapidjson::StringBuffer place;
  pointer.Stringify(place);
  const std::string_view keyword = validator.GetInvalidSchemaKeyword();
  const rapidjson::Value* const wanted = validator.GetInvalidSchemaPointer().Get(schema);
  const bool isAboutMembers = keyword == "required" || keyword == "additionalProperties";
  return (place.GetSize() == 0 ? "the file" : std::string(place.GetString(), place.GetSize())) +
         " " + std::string(wordsFor(keyword)) +
         (isAboutMembers ? membersMeant(pointer.Get(document), wanted) : "") +
         (keyword == "type" ? typeMeant(wanted) : "");
}

// ---- Content -----------------------------------------------------------------------------------

constexpr std::array kKinds = {"reply", "silence", "error", "malformed", "exec", "hold"};

// What is wrong with the kinds of answer in `value`, of which there must be one; empty: nothing.
std::string whyNoAnswer(const JSObject& value, const char* wanted) {
  std::string kinds;
  int count = 0;
  for (const char* const kind : kKinds) {
    if (value.has(kind)) kinds += (count++ > 0 ? " and " : "") + std::string(kind);
  }
  if (count == 1) return {};
  return count == 0 ? std::string(" needs one of ") + wanted
                    : " has more than one answer: " + kinds;
}

// Good when there is exactly one kind of answer.
void readAnswer(const JSObject& value, HostAnswer& answer) {
  if (value.has("reply")) {
    answer.kind = HostAnswer::Kind::kReply;
    answer.reply = value["reply"];
  } else if (value.has("error")) {
    answer.kind = HostAnswer::Kind::kError;
    answer.reply["error"] = value["error"];
  } else if (value.has("malformed")) {
    answer.kind = HostAnswer::Kind::kMalformed;
    answer.text = value["malformed"].asString();
  } else if (value.has("exec")) {
    answer.kind = HostAnswer::Kind::kProgram;
    for (std::size_t i = 0; i < value["exec"].size(); ++i) {
      answer.program.push_back(value["exec"].at(i).asString());
    }
  } else if (value.has("hold")) {
    answer.kind = HostAnswer::Kind::kHeld;
  }
  answer.replyName = value["replyName"].asString();
  answer.delay = std::chrono::milliseconds(value["delay"].asInt());
  if (value.has("timeout")) answer.timeout = std::chrono::milliseconds(value["timeout"].asInt());
}

std::string readAnswers(const JSObject& value, const std::string& place, HostRule& rule) {
  constexpr char kAnswers[] = "reply, silence, error, malformed, exec, hold and sequence";
  constexpr char kInSequence[] = "reply, silence, error, malformed, exec and hold";
  if (!value.has("sequence")) {
    if (const std::string why = whyNoAnswer(value, kAnswers); !why.empty()) return place + why;
    readAnswer(value, rule.answers.emplace_back());
    return {};
  }
  for (const char* const kind : kKinds) {
    if (value.has(kind)) return place + " has both a sequence and " + kind;
  }
  for (std::size_t i = 0; i < value["sequence"].size(); ++i) {
    const JSObject& answer = value["sequence"].at(i);
    if (const std::string why = whyNoAnswer(answer, kInSequence); !why.empty()) {
      return place + "/sequence/" + std::to_string(i) + why;
    }
    readAnswer(answer, rule.answers.emplace_back());
  }
  return {};
}

// Why a rule cannot be meant; empty when it can.
std::string readRule(const JSObject& value, const std::string& place,
                     const std::string& defaultAddress, HostRule& rule) {
  rule.address = value.has("address") ? value["address"].asString() : defaultAddress;
  rule.name = value["name"].asString();
  rule.condition = value["when"];
  if (value.has("times")) rule.times = value["times"].asInt();
  if (rule.address.empty()) return place + " needs an address, of its own or of the file";
  if (const std::string why = whyNoCondition(rule.condition); !why.empty()) {
    return place + "/when: " + why;
  }
  return readAnswers(value, place, rule);
}

}  // namespace

bool parseHostFile(const std::string& text, const std::string& file, std::vector<HostRule>& rules,
                   std::string& error) {
  if (const std::string why = packaging::whyNoJson(text); !why.empty()) {
    error = file + " is no JSON: " + why;
    return false;
  }
  JSObject root;
  std::string why = schemaProblem(text);
  if (why.empty() && root.parse(text.c_str()) < 0) why = "it is nested too deeply";
  if (why.empty()) why = whyAmbiguous(text);
  std::vector<HostRule> read;
  for (std::size_t i = 0; why.empty() && i < root["rules"].size(); ++i) {
    why = readRule(root["rules"].at(i), "/rules/" + std::to_string(i), root["address"].asString(),
                   read.emplace_back());
  }
  if (why.empty() && read.empty()) why = "/rules is empty";
  if (!why.empty()) {
    error = file + ": " + why;
    return false;
  }
  rules = std::move(read);
  return true;
}

HostRule* findRule(std::vector<HostRule>& rules, const std::string& address,
                   const std::string& name, const JSObject& payload) {
  const auto fits = [&](const HostRule& rule) {
    return rule.address == address && rule.name == name &&
           (!rule.times || rule.used < *rule.times) && meets(rule.condition, payload);
  };
  const auto found = std::ranges::find_if(rules, fits);
  if (found == rules.end()) return nullptr;
  ++found->used;
  return &*found;
}

}  // namespace wz
