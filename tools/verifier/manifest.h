/// Manifests: JSON, or sections of keys and values.
#ifndef VERIFIER_MANIFEST_H
#define VERIFIER_MANIFEST_H

#include <rapidjson/document.h>

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace verifier {

/// A value of JSON. What is missing, or of another type than is asked for, is empty.
class Value {
 public:
  Value() = default;
  explicit Value(const rapidjson::Value* value) : value_(value) {}

  [[nodiscard]] bool has(const char* key) const { return member(key).value_ != nullptr; }
  [[nodiscard]] Value member(const char* key) const;
  [[nodiscard]] std::string text() const;
  [[nodiscard]] bool isTrue() const { return value_ != nullptr && value_->IsTrue(); }
  [[nodiscard]] std::vector<Value> elements() const;

 private:
  const rapidjson::Value* value_ = nullptr;
};

class Manifest {
 public:
  /// The largest that terminals read.
  static constexpr std::size_t kLargest = std::size_t{1} << 20;

  explicit Manifest(const std::string& text);

  [[nodiscard]] bool isJson() const { return isJson_; }
  [[nodiscard]] Value root() const { return isJson_ ? Value(&document_) : Value(); }

  /// Whether a text that is not JSON has nothing but sections, keys with values, and comments.
  [[nodiscard]] bool isSections() const { return isSections_; }
  [[nodiscard]] std::string valueOf(const std::string& section, const std::string& key) const;

  /// The id under which it installs something, or removes it; empty when there is none that can
  /// name a folder.
  [[nodiscard]] std::string appId() const;

 private:
  void readSections(std::string_view text);
  void readLine(std::string_view line, std::string& section);

  rapidjson::Document document_;
  bool isJson_ = false;
  bool isSections_ = false;
  std::map<std::string, std::vector<std::string>> sections_;
};

/// Whether an id is one plain name.
[[nodiscard]] bool isPlainName(std::string_view id);

[[nodiscard]] std::string trimmed(std::string_view text);

/// Pieces between separators, trimmed; always one more than there are separators.
[[nodiscard]] std::vector<std::string> pieces(std::string_view text, char separator);

/// Negative, zero or positive: versions by their parts, of which one with fewer is the smaller.
[[nodiscard]] int compareVersions(std::string_view one, std::string_view other);

}  // namespace verifier

#endif  // VERIFIER_MANIFEST_H
