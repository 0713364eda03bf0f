#include "wz/words/codes.h"

#include <stdexcept>
#include <string>

namespace wz {

const std::vector<const Code*>& allCodes() {
  static const std::vector<const Code*> codes = [] {
    std::vector<const Code*> all;
    for (const auto family : {packageCodes, certificateCodes, signatureCodes, derCodes, stayCodes,
                              terminalCodes, manifestCodes, fileCodes, keyCodes, machineCodes}) {
      for (const Code& code : family()) all.push_back(&code);
    }
    return all;
  }();
  return codes;
}

const Code* findCode(std::string_view id) {
  for (const Code* const code : allCodes()) {
    if (code->id == id) return code;
  }
  return nullptr;
}

const Code& codeOf(std::string_view id) {
  const Code* const code = findCode(id);
  if (code == nullptr) throw std::logic_error("there is no code " + std::string(id));
  return *code;
}

const Code* findCode(Layer layer, int number) {
  for (const Code* const code : allCodes()) {
    if (layer != Layer::kNone && code->layer == layer && code->number == number) return code;
  }
  return nullptr;
}

const char* severityText(Severity severity) {
  return severity == Severity::kError ? "error" : "warning";
}

}  // namespace wz
