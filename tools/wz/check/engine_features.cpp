#include "wz/check/engine_features.h"

#include <regex.h>

#include <optional>
#include <string>

namespace wz {
namespace {

enum class Language { kScript, kStyle };

struct Feature {
  Language language;
  const char* name;
  const char* pattern;
  unsigned since;
  const char* source;
};

// Extended regular expressions of POSIX, with \w and \b. A version is the "version_added" for
// "chrome" at that place of MDN's tables (the npm package @mdn/browser-compat-data, 8.1.9).
constexpr Feature kFeatures[] = {
    {Language::kScript, "let and const",
     R"((^|[[:space:];{(])(let|const)[[:space:]]+[[:alnum:]_${[])", 49,
     "javascript.statements.let"},
    {Language::kScript, "an arrow function", R"(=>)", 45, "javascript.functions.arrow_functions"},
    {Language::kScript, "an async function", R"(\basync[[:space:]]+(function|\())", 55,
     "javascript.statements.async_function"},
    {Language::kScript, "spread in an object", R"([{,][[:space:]]*\.\.\.\w+[[:space:]]*[,}])", 60,
     "javascript.operators.spread.spread_in_object_literals"},
    {Language::kScript, "a module", R"(^[[:space:]]*(import|export)[[:space:]]+[[:alnum:]_{*"'])",
     61, "javascript.statements.import"},
    {Language::kScript, "import()", R"(\bimport[[:space:]]*\()", 63, "javascript.operators.import"},
    {Language::kScript, "catch without a name", R"(\bcatch[[:space:]]*\{)", 66,
     "javascript.statements.try_catch.optional_catch_binding"},
    {Language::kScript, "a private field", R"(\bthis\.#\w)", 74,
     "javascript.classes.private_class_fields"},
    {Language::kScript, "optional chaining", R"(\?\.[[:alpha:]_[(])", 80,
     "javascript.operators.optional_chaining"},
    {Language::kScript, "the operator ??", R"(\?\?([^=]|$))", 80,
     "javascript.operators.nullish_coalescing"},
    {Language::kScript, "replaceAll", R"(\.replaceAll\()", 85,
     "javascript.builtins.String.replaceAll"},
    {Language::kScript, "a logical assignment", R"((\?\?|\|\||&&)=)", 85,
     "javascript.operators.nullish_coalescing_assignment"},
    {Language::kScript, "at()", R"(\w\.at\(-?[0-9])", 92, "javascript.builtins.Array.at"},
    {Language::kScript, "findLast", R"(\.findLast(Index)?\()", 97,
     "javascript.builtins.Array.findLast"},
    {Language::kScript, "structuredClone", R"(\bstructuredClone\()", 98, "api.structuredClone"},
    {Language::kScript, "toSorted", R"(\.to(Sorted|Reversed|Spliced)\()", 110,
     "javascript.builtins.Array.toSorted"},
    {Language::kStyle, "a custom property", R"(var\([[:space:]]*--)", 49, "css.types.var"},
    {Language::kStyle, "a grid", R"(display[[:space:]]*:[[:space:]]*(inline-)?grid)", 57,
     "css.properties.display.grid"},
    {Language::kStyle, "min(), max() or clamp()", R"(:[^;{}]*\b(min|max|clamp)\()", 79,
     "css.types.clamp"},
    {Language::kStyle, "inset", R"([;{[:space:]]inset[[:space:]]*:)", 87, "css.properties.inset"},
    {Language::kStyle, "aspect-ratio", R"(aspect-ratio[[:space:]]*:)", 88,
     "css.properties.aspect-ratio"},
    {Language::kStyle, ":is() or :where()", R"(:(is|where)\()", 88, "css.selectors.where"},
    {Language::kStyle, "@layer", R"(@layer\b)", 99, "css.at-rules.layer"},
    {Language::kStyle, "@container", R"(@container\b)", 105, "css.at-rules.container"},
    {Language::kStyle, ":has()", R"(:has\()", 105, "css.selectors.has"},
    {Language::kStyle, "dvh and the like", R"([0-9][dsl]v[hw]\b)", 108,
     "css.types.length.viewport_percentage_units_dynamic"},
    {Language::kStyle, "color-mix()", R"(\bcolor-mix\()", 111, "css.types.color.color-mix"},
    {Language::kStyle, "nested rules", R"([;{][[:space:]]*&[[:space:].:#[>])", 112,
     "css.selectors.nesting"},
};

class Pattern {
 public:
  explicit Pattern(const char* text)
      : isGood_(regcomp(&compiled_, text, REG_EXTENDED | REG_NEWLINE) == 0) {}
  Pattern(const Pattern&) = delete;
  Pattern& operator=(const Pattern&) = delete;
  ~Pattern() {
    if (isGood_) regfree(&compiled_);
  }

  [[nodiscard]] std::optional<std::size_t> find(const std::string& text) const {
    regmatch_t match{};
    if (!isGood_ || regexec(&compiled_, text.c_str(), 1, &match, 0) != 0) return std::nullopt;
    return static_cast<std::size_t>(match.rm_so);
  }

 private:
  regex_t compiled_{};
  bool isGood_;
};

void blank(std::string& text, std::string_view open, std::string_view close) {
  for (std::size_t at = text.find(open); at != std::string::npos; at = text.find(open, at)) {
    const std::size_t end = text.find(close, at + open.size());
    const std::size_t stop = end == std::string::npos ? text.size() : end;
    for (; at < stop; ++at) {
      if (text[at] != '\n') text[at] = ' ';
    }
    if (end != std::string::npos && close != "\n") {
      for (std::size_t i = 0; i < close.size(); ++i) text[at++] = ' ';
    }
  }
}

bool hasEnding(std::string_view name, std::string_view ending) { return name.ends_with(ending); }

}  // namespace

std::vector<NewerFeature> newerFeaturesIn(std::string_view name, std::string_view text,
                                          unsigned engine) {
  constexpr std::size_t kMostOctets = std::size_t{1} << 20;
  const bool isScript = hasEnding(name, ".js") || hasEnding(name, ".mjs");
  const bool isStyle = hasEnding(name, ".css");
  std::vector<NewerFeature> found;
  if ((!isScript && !isStyle) || text.size() > kMostOctets) return found;
  std::string code(text);
  blank(code, "/*", "*/");
  if (isScript) blank(code, "// ", "\n");
  for (const Feature& feature : kFeatures) {
    if (feature.since <= engine || (feature.language == Language::kScript) != isScript) continue;
    const std::optional<std::size_t> offset = Pattern(feature.pattern).find(code);
    if (offset) found.push_back({feature.name, feature.since, feature.source, *offset});
  }
  return found;
}

}  // namespace wz
