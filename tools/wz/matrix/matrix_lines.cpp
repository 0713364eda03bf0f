#include "wz/matrix/matrix_lines.h"

#include <cerrno>
#include <cstring>
#include <utility>

#include "wz/check/json_tree.h"
#include "wz/reports/json_output.h"
#include "wz/reports/output.h"
#include "wz/words/version_text.h"

namespace wz {
namespace {

void beginLine(JsonWriter& writer, const char* event) {
  putNumber(writer, "schema", 1);
  putText(writer, "event", event);
}

std::string packageLine(const MatrixPackage& package) {
  return jsonLine([&](JsonWriter& writer) {
    beginLine(writer, "package");
    putText(writer, "package", package.file);
    putText(writer, "sha256", package.sha256);
    putNumber(writer, "octets", package.octets);
  });
}

std::string terminalLine(const FleetTerminal& terminal, const FleetGroup& group) {
  const workstation::TerminalProfile& profile = group.image.terminal.profile;
  return jsonLine([&](JsonWriter& writer) {
    beginLine(writer, "terminal");
    putText(writer, "terminal", terminal.name);
    putNumber(writer, "count", terminal.count);
    putText(writer, "model", profile.model);
    putText(writer, "sponsor", profile.sponsorId);
    putText(writer, "fingerprint", group.fingerprint);
  });
}

}  // namespace

std::string MatrixHead::firstLine() const {
  return jsonLine([&](JsonWriter& writer) {
    beginLine(writer, "matrix");
    putText(writer, "version", version);
    putFlag(writer, "together", isTogether);
    putNumber(writer, "packages", packages.size());
    putNumber(writer, "terminals", terminals.size());
    putNumber(writer, "share", share.number);
    putNumber(writer, "shares", share.count);
  });
}

MatrixHead headOf(const MatrixPackages& packages, const Fleet& fleet, bool isTogether,
                  const Share& share) {
  MatrixHead head;
  head.version = versionNumber();
  head.isTogether = isTogether;
  head.share = share;
  for (const MatrixPackage& package : packages.all()) {
    head.packages.push_back(escaped(package.file));
    head.packageLines.push_back(packageLine(package));
  }
  for (const FleetTerminal& terminal : fleet.terminals()) {
    head.terminals.push_back({escaped(terminal.name), terminal.count,
                              terminalLine(terminal, fleet.groups()[terminal.group])});
  }
  return head;
}

std::string cellLine(const MatrixHead& head, const CellPlace& place, const Verdict& verdict) {
  const std::string names = jsonLine([&](JsonWriter& writer) {
    beginLine(writer, "cell");
    putText(writer, "package", head.packages[place.package]);
    putText(writer, "terminal", head.terminals[place.terminal].name);
  });
  return names.substr(0, names.size() - 1) + "," + verdict.json + "}";
}

// ---- Reading -----------------------------------------------------------------------------------

// A line without its end is none yet.
bool MatrixReader::readLine(std::string& line) {
  if (!std::getline(file_, line) || file_.eof()) return false;
  ++line_;
  position_ += line.size() + 1;
  return true;
}

bool MatrixReader::fail(const std::string& what, std::string& error) const {
  error = name_ + ":" + std::to_string(line_) + ": " + what;
  return false;
}

bool MatrixReader::open(const std::string& file, std::string& error) {
  name_ = file;
  file_.open(file, std::ios::binary);
  if (!file_) {
    error = "cannot read " + file + ": " + std::strerror(errno);
    return false;
  }
  const auto cut = [&] {
    isCut_ = true;
    return fail("the file ends before the first cell", error);
  };
  std::string line;
  if (!readLine(line)) return cut();
  const JsonText first = readJsonText(line);
  std::size_t packages = 0, terminals = 0;
  if (textAt(first.root, "event") != "matrix") {
    return fail("this is no matrix as wz matrix --json and -o write it", error);
  }
  head_.version = textAt(first.root, "version");
  head_.isTogether = flagAt(first.root, "together");
  takeNumber(first.root, "packages", packages);
  takeNumber(first.root, "terminals", terminals);
  takeNumber(first.root, "share", head_.share.number);
  takeNumber(first.root, "shares", head_.share.count);
  for (std::size_t i = 0; i < packages + terminals; ++i) {
    if (!readLine(line)) return cut();
    const JsonText text = readJsonText(line);
    const bool isPackage = i < packages;
    const std::string event = isPackage ? "package" : "terminal";
    const std::string name = textAt(text.root, event);
    if (textAt(text.root, "event") != event || name.empty()) {
      return fail("a line about a " + event + " is wanted here", error);
    }
    if (isPackage) {
      packageNumbers_[name] = i;
      head_.packages.push_back(name);
      head_.packageLines.push_back(line);
    } else {
      terminalNumbers_[name] = i - packages;
      head_.terminals.push_back({name, 1, line});
      takeNumber(text.root, "count", head_.terminals.back().count);
    }
  }
  return true;
}

bool MatrixReader::next(Cell& cell, std::string& error) {
  error.clear();
  const std::uint64_t before = position_;
  std::string line;
  if (!readLine(line)) return false;
  const JsonText text = readJsonText(line);
  if (text.root.find("command") != nullptr) {  // the document at the end
    position_ = before;
    return false;
  }
  const auto package = packageNumbers_.find(textAt(text.root, "package"));
  const auto terminal = terminalNumbers_.find(textAt(text.root, "terminal"));
  std::size_t begin = 0;
  for (const JsonMember& member : text.root.members) {
    if (member.key == "word") begin = member.offset;
  }
  if (package == packageNumbers_.end() || terminal == terminalNumbers_.end() || begin == 0 ||
      !readVerdict(std::string_view(line).substr(begin, line.size() - begin - 1), cell.verdict)) {
    position_ = before;
    return fail("a cell of this matrix is wanted here", error);
  }
  cell.place = {package->second, terminal->second};
  cell.line = line;
  return true;
}

}  // namespace wz
