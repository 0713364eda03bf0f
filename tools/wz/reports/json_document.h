/// What commands with --json print: one document on standard output.
///
///     {"schema": "urn:wzapp:list:1", "command": "list", "ok": true, "result": {...},
///      "diagnostics": [...]}
///
/// `result` is an object, or null where the command ended before it had one; `diagnostics` then say
/// why. Commands that tell things as they happen print an object a line instead; where one ends
/// otherwise than with 0, such a document without a result is its last line. Documents are only
/// ever extended; share/wzapp/schemas has a schema of each.
#ifndef WZ_REPORTS_JSON_DOCUMENT_H
#define WZ_REPORTS_JSON_DOCUMENT_H

#include <functional>
#include <string>

#include "wz/reports/diagnostic.h"
#include "wz/reports/json_output.h"

namespace wz {

/// Prints the document of a command.
/// \param command  its words: "keys show".
/// \param ok       whether it ends with 0.
/// \param body     writes the members of the result.
void printJsonDocument(const std::string& command, bool ok, const Diagnostics& diagnostics,
                       const std::function<void(JsonWriter& writer)>& body);

/// The same for a command that has found why it cannot go on; it has no result.
void printJsonFailure(const std::string& command, const Diagnostics& diagnostics);

enum class JsonForm {
  kDocument,  ///< one document
  kLines,     ///< an object a line
};

/// Promises a document on every way out: finishJson() prints one with the messages that were
/// printed meanwhile, where the command has printed none itself.
void promiseJson(const std::string& command, JsonForm form);

/// To be called once where the program, or a child of it that has printed for it, ends with `code`.
void finishJson(int code);

/// Says that a child of this program has kept the promise.
void leaveJsonToChild();

}  // namespace wz

#endif  // WZ_REPORTS_JSON_DOCUMENT_H
