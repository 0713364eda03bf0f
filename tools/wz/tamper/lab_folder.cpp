#include "wz/tamper/lab_folder.h"

#include <rapidjson/document.h>
#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <string_view>
#include <system_error>

#include "packaging/temporary_folders.h"
#include "packaging/work_folder.h"
#include "support/file_system.h"
#include "wz/words/codes.h"
#include "wz/words/explain.h"

namespace wz {
namespace {

namespace fs = std::filesystem;
using Writer = rapidjson::PrettyWriter<rapidjson::StringBuffer>;

constexpr char kManifest[] = "tamper.json";
constexpr char kSchema[] = "urn:wzapp:tamper-lab:1";

struct Reason {
  std::string_view codes;  // what their ids begin with
  const char* why;
};

constexpr Reason kReasons[] = {
    {"WZ-0201", "an empty certificate is told as one that cannot be unpacked"},
    {"WZ-06", "it is about the terminal's own folders and services, which no package changes"},
};

const char* whyNever(std::string_view id) {
  for (const Reason& reason : kReasons) {
    if (id.starts_with(reason.codes)) return reason.why;
  }
  return "";
}

void put(Writer& writer, std::string_view text) {
  writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
}

void put(Writer& writer, const char* key, std::string_view text) {
  writer.Key(key);
  put(writer, text);
}

void putList(Writer& writer, const char* key, const std::vector<std::string>& texts) {
  writer.Key(key);
  writer.StartArray();
  for (const std::string& text : texts) put(writer, text);
  writer.EndArray();
}

// "017-flip"
std::string nameOf(std::size_t index, const Variant& variant) {
  std::string number = std::to_string(index + 1);
  number.insert(0, number.size() < 3 ? 3 - number.size() : 0, '0');
  return number + "-" + variant.group;
}

void putVariant(Writer& writer, const std::string& name, const Variant& variant) {
  writer.StartObject();
  put(writer, "name", name);
  put(writer, "group", variant.group);
  put(writer, "what", variant.what);
  putList(writer, "log", variant.expected.log);
  put(writer, "result", variant.expected.result);
  writer.Key("installed");
  writer.Bool(variant.expected.isInstalled);
  writer.EndObject();
}

std::string manifestText(const Lab& lab, const std::string& package) {
  rapidjson::StringBuffer buffer;
  Writer writer(buffer);
  writer.SetIndent(' ', 1);
  writer.StartObject();
  put(writer, "schema", kSchema);
  put(writer, "package", package);
  put(writer, "application", lab.base().id);
  putList(writer, "sponsors", lab.base().sponsors);
  writer.Key("variants");
  writer.StartArray();
  for (std::size_t i = 0; i < lab.variants().size(); ++i) {
    putVariant(writer, nameOf(i, lab.variants()[i]), lab.variants()[i]);
  }
  writer.EndArray();
  writer.Key("unprovoked");
  writer.StartArray();
  for (const Unprovoked& message : unprovokedBy(lab.variants())) {
    writer.StartObject();
    put(writer, "code", message.code);
    put(writer, "line", message.line);
    put(writer, "why", message.why);
    writer.EndObject();
  }
  writer.EndArray();
  writer.EndObject();
  return std::string(buffer.GetString(), buffer.GetSize()) + "\n";
}

bool writeFile(const fs::path& path, const std::string& content) {
  std::ofstream file(path, std::ios::binary);
  file << content;
  file.close();
  return !file.fail();
}

bool writeVariant(const fs::path& folder, const Variant& variant) {
  std::error_code failure;
  fs::create_directory(folder, failure);
  for (const DroppedFile& file : variant.files) {
    if (file.isFolder) {
      fs::create_directory(folder / file.name, failure);
    } else if (!writeFile(folder / file.name, file.octets)) {
      return false;
    }
    if (failure) return false;
  }
  return !failure;
}

bool writeAll(const Lab& lab, const std::string& package, const fs::path& folder) {
  std::error_code failure;
  fs::create_directory(folder, failure);
  for (std::size_t i = 0; i < lab.variants().size(); ++i) {
    const Variant& variant = lab.variants()[i];
    if (failure || !writeVariant(folder / nameOf(i, variant), variant)) return false;
  }
  return !failure && writeFile(folder / kManifest, manifestText(lab, package));
}

// ---- Reading -----------------------------------------------------------------------------------

using Value = rapidjson::Value;

std::string textIn(const Value& object, const char* key) {
  const auto found = object.FindMember(key);
  return found != object.MemberEnd() && found->value.IsString()
             ? std::string(found->value.GetString(), found->value.GetStringLength())
             : std::string();
}

std::vector<std::string> listIn(const Value& object, const char* key) {
  std::vector<std::string> texts;
  const auto found = object.FindMember(key);
  if (found == object.MemberEnd() || !found->value.IsArray()) return texts;
  for (const Value& value : found->value.GetArray()) {
    if (value.IsString()) texts.emplace_back(value.GetString(), value.GetStringLength());
  }
  return texts;
}

bool readVariant(const Value& value, KeptVariant& variant) {
  if (!value.IsObject()) return false;
  const auto installed = value.FindMember("installed");
  variant.name = textIn(value, "name");
  variant.group = textIn(value, "group");
  variant.what = textIn(value, "what");
  variant.expected.log = listIn(value, "log");
  variant.expected.result = textIn(value, "result");
  if (installed == value.MemberEnd() || !installed->value.IsBool()) return false;
  variant.expected.isInstalled = installed->value.GetBool();
  // It names a folder below this one.
  return !variant.name.empty() && variant.name.find('/') == std::string::npos &&
         variant.name[0] != '.';
}

}  // namespace

std::vector<Unprovoked> unprovokedBy(const Variants& variants) {
  std::set<std::string> provoked;
  for (const Variant& variant : variants) {
    for (const std::string& line : variant.expected.log) {
      if (const LogMatch match = matchLogLine(line); match.code != nullptr) {
        provoked.insert(match.code->id);
      }
    }
  }
  std::vector<Unprovoked> rest;
  for (const Code* const code : allCodes()) {
    if (*code->logLine == '\0' || provoked.contains(code->id)) continue;
    std::string line = code->logLine;
    if (line.ends_with('\n')) line.pop_back();
    rest.push_back({code->id, line, whyNever(code->id)});
  }
  return rest;
}

bool writeLab(const Lab& lab, const std::string& package, const std::string& directory,
              std::string& error) {
  std::error_code failure;
  if (fs::exists(fs::symlink_status(directory, failure))) {
    error = "cannot make " + directory + ": " + std::strerror(EEXIST);
    return false;
  }
  packaging::WorkFolder work;
  if (!work.makeBeside(directory, error)) return false;
  if (!writeAll(lab, package, work / "lab")) {
    error = "cannot write " + directory + ": " + std::strerror(errno);
    return false;
  }
  return work.moveToTarget("lab", error);
}

bool readLab(const std::string& directory, KeptLab& lab, std::string& error) {
  const std::string path = (fs::path(directory) / kManifest).string();
  std::string text;
  if (!wzapp::readFile(path.c_str(), text)) {
    error = "cannot read " + path + "; wz tamper PACKAGE -o DIR makes such a folder";
    return false;
  }
  rapidjson::Document document;
  document.Parse(text.c_str());
  error = path + " is not what wz tamper writes";
  if (!document.IsObject() || textIn(document, "schema") != kSchema) return false;
  lab.application = textIn(document, "application");
  lab.sponsors = listIn(document, "sponsors");
  const auto variants = document.FindMember("variants");
  if (variants == document.MemberEnd() || !variants->value.IsArray()) return false;
  for (const Value& value : variants->value.GetArray()) {
    if (!readVariant(value, lab.variants.emplace_back())) return false;
  }
  error.clear();
  return !lab.application.empty() && !lab.sponsors.empty() && !lab.variants.empty();
}

}  // namespace wz
