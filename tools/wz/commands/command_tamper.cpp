#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <map>
#include <string>
#include <system_error>
#include <vector>

#include "devkeys/rsa_key.h"
#include "packaging/temporary_folders.h"
#include "wz/commands/commands.h"
#include "wz/commands/signing_options.h"
#include "wz/reports/json_document.h"
#include "wz/reports/output.h"
#include "wz/reports/readable_file.h"
#include "wz/reports/screen.h"
#include "wz/tamper/lab.h"
#include "wz/tamper/lab_folder.h"
#include "wz/tamper/player.h"
#include "wz/terminal/interrupt.h"
#include "wz/words/exit_code.h"

namespace wz {
namespace {

namespace fs = std::filesystem;

// ---- Making ------------------------------------------------------------------------------------

std::map<std::string, std::size_t> countsOf(const Variants& variants) {
  std::map<std::string, std::size_t> counts;
  for (const Variant& variant : variants) ++counts[variant.group];
  return counts;
}

void putUnprovoked(JsonWriter& writer, const Variants& variants) {
  writer.Key("unprovoked");
  writer.StartArray();
  for (const Unprovoked& message : unprovokedBy(variants)) {
    writer.StartObject();
    putText(writer, "code", message.code);
    putText(writer, "line", message.line);
    putText(writer, "why", message.why);
    writer.EndObject();
  }
  writer.EndArray();
}

void printMadeJson(const Lab& lab, const std::string& directory) {
  printJsonDocument("tamper", true, {}, [&](JsonWriter& writer) {
    putText(writer, "directory", directory);
    putNumber(writer, "variants", lab.variants().size());
    writer.Key("groups");
    writer.StartArray();
    for (const auto& [group, count] : countsOf(lab.variants())) {
      writer.StartObject();
      putText(writer, "group", group);
      putNumber(writer, "variants", count);
      writer.EndObject();
    }
    writer.EndArray();
    putUnprovoked(writer, lab.variants());
    writer.Key("leftOut");
    writer.StartArray();
    for (const LeftOut& leftOut : lab.leftOut()) {
      writer.StartObject();
      putText(writer, "group", leftOut.group);
      putText(writer, "why", leftOut.why);
      writer.EndObject();
    }
    writer.EndArray();
  });
}

void printMade(const Lab& lab, const std::string& directory) {
  printSuccess("made " + directory + ", " + std::to_string(lab.variants().size()) + " variants");
  for (const auto& [group, count] : countsOf(lab.variants())) {
    printSuccess("  " + group + std::string(14 - std::min<std::size_t>(group.size(), 12), ' ') +
                 std::to_string(count));
  }
  if (volume() == Volume::kVerbose) {
    for (const Variant& variant : lab.variants())
      printLine("  " + variant.group + ": " + variant.what);
  }
  for (const LeftOut& leftOut : lab.leftOut()) {
    printNote("left out of " + leftOut.group + ": " + leftOut.why);
  }
  std::size_t missing = 0;
  for (const Unprovoked& message : unprovokedBy(lab.variants())) missing += message.why.empty();
  if (missing > 0) {
    printMessage("messages of the installer that no variant provokes for that: " +
                 std::to_string(missing) + "; tamper.json names them");
  }
  printSuccess("play them: wz tamper " + directory + " --run HOST");
}

int make(const TamperOptions& options) {
  const std::string keys = findKeyDirectory(options.keys);
  if (keys.empty()) return kUsage;
  if (!isReadableFile(options.file)) return kEnvironment;
  if (std::error_code failure; !fs::is_directory(keys, failure)) {
    printMessage("there is no folder " + keys + " of keys; wz keys init DIR makes one");
    return kEnvironment;
  }
  SigningAuthorities authorities;
  if (!authorities.load(keys)) return kEnvironment;
  BasePackage base;
  std::string error;
  if (!readBasePackage(options.file, authorities.rows(), base, error)) {
    printMessage(error + " [WZ-0911]");
    return kApplicationFailed;
  }
  const LabKeys labKeys = readLabKeys(keys);
  Lab lab(base, labKeys);
  Progress progress("making variants");
  lab.setWatcher([&progress] { progress.step(); });
  try {
    addAllVariants(lab);
  } catch (const devkeys::KeyError& problem) {
    printMessage(problem.what());
    return kEnvironment;
  }
  if (!writeLab(lab, options.file, options.output, error)) {
    printMessage(error);
    return kEnvironment;
  }
  if (options.asJson) {
    printMadeJson(lab, options.output);
  } else {
    printMade(lab, options.output);
  }
  return kDone;
}

// ---- Playing -----------------------------------------------------------------------------------

struct Played {
  std::size_t count = 0;
  std::vector<Difference> differences;
};

bool isMeant(const KeptVariant& variant, const std::string& only) {
  return only.empty() || variant.group == only || variant.name == only;
}

std::size_t countMeant(const KeptLab& lab, const std::string& only) {
  return static_cast<std::size_t>(std::ranges::count_if(
      lab.variants, [&only](const KeptVariant& variant) { return isMeant(variant, only); }));
}

void printDifference(const Difference& difference) {
  printLine(difference.variant + ": " + difference.what);
  for (const std::string& line : difference.missing) printLine("  not said: " + line);
  for (const std::string& line : difference.unexpected) printLine("  said:     " + line);
  if (!difference.otherwise.empty()) printLine("  " + difference.otherwise);
}

void printPlayedJson(const TamperOptions& options, const Played& played) {
  Diagnostics diagnostics;
  for (const Difference& difference : played.differences) {
    diagnostics.push_back({"WZ-0912", "the host says something else of " + difference.variant,
                           options.file, difference.variant, 0, 0, difference.what});
  }
  printJsonDocument("tamper", played.differences.empty(), diagnostics, [&](JsonWriter& writer) {
    putText(writer, "directory", options.file);
    putText(writer, "host", options.host);
    putNumber(writer, "variants", played.count);
    putRows(writer, "differences", played.differences, [&writer](const Difference& difference) {
      putText(writer, "variant", difference.variant);
      putText(writer, "what", difference.what);
      putTexts(writer, "missing", difference.missing);
      putTexts(writer, "unexpected", difference.unexpected);
      putText(writer, "otherwise", difference.otherwise);
    });
  });
}

int play(const TamperOptions& options) {
  KeptLab lab;
  std::string error;
  Player player;
  if (!readLab(options.file, lab, error) ||
      !player.begin(options.file, lab, options.terminal, error)) {
    printMessage(error);
    return kEnvironment;
  }
  Played played;
  Progress progress("playing variants", countMeant(lab, options.only));
  for (const KeptVariant& variant : lab.variants) {
    if (!isMeant(variant, options.only)) continue;
    Difference difference;
    if (!player.play(variant, options.host, difference, error)) {
      printMessage(variant.name + ": " + error);
      return kEnvironment;
    }
    ++played.count;
    progress.step();
    if (volume() == Volume::kVerbose && !options.asJson) {
      printLine(variant.name + ": " + variant.what);
    }
    if (difference.isNone()) continue;
    if (!options.asJson) printDifference(difference);
    played.differences.push_back(difference);
  }
  if (played.count == 0) {
    printMessage("there is no group and no variant " + options.only + " in " + options.file);
    return kUsage;
  }
  if (options.asJson) {
    printPlayedJson(options, played);
  } else {
    const std::string text = std::to_string(played.count - played.differences.size()) + " of " +
                             std::to_string(played.count) + " variants are as they must be";
    if (played.differences.empty()) {
      printSuccess(text);
    } else {
      printLine(text + " [WZ-0912]");
    }
  }
  return played.differences.empty() ? kDone : kApplicationFailed;
}

// Options that would do nothing. False after a message.
bool checkPurpose(const TamperOptions& options) {
  const bool isMaking = options.host.empty();
  const struct {
    const char* name;
    const std::string& value;
    bool isOfMaking;
  } rows[] = {{"--keys", options.keys, true},
              {"--terminal", options.terminal, false},
              {"--only", options.only, false}};
  for (const auto& row : rows) {
    if (row.value.empty() || row.isOfMaking == isMaking) continue;
    printMessage(std::string(row.name) + (isMaking ? " is of playing variants, with --run"
                                                   : " is of making variants, with -o"));
    return false;
  }
  return true;
}

}  // namespace

int tamper(const TamperOptions& options) {
  (void)packaging::removeFoldersOnSignals();
  outliveReader();
  if (options.host.empty() == options.output.empty()) {
    printMessage("name the folder for the variants with -o, or a host to play them on with --run");
    return kUsage;
  }
  if (options.output == "-") {
    printMessage("- is no folder; the variants are files, for which -o names one");
    return kUsage;
  }
  if (!checkPurpose(options)) return kUsage;
  return options.host.empty() ? make(options) : play(options);
}

}  // namespace wz
