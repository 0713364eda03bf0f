// Makes ZIP archives (PKWARE's APPNOTE.TXT), honest ones and such as lie.
//
//   ZipBuilder().file("shop/index.html", "<p>").stored("shop/logo.png", logo).build()
//
// The same calls give the same octets: every date is 1980-01-01. What cannot be said in the fields
// of the format (a name of 70,000 octets) throws std::length_error.
#ifndef WZAPP_TESTS_BUILDERS_ZIP_BUILDER_H
#define WZAPP_TESTS_BUILDERS_ZIP_BUILDER_H

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace wzapp_test {

inline constexpr std::uint16_t kZipStored = 0;
inline constexpr std::uint16_t kZipDeflated = 8;

// One entry. The optional members replace what would be the truth, in the local header and in the
// directory alike unless the name says otherwise.
struct ZipEntry {
  std::string name;
  std::string content;
  bool isDeflated = true;

  // The sizes and the CRC stand behind the data, and zeros in the local header.
  bool hasDataDescriptor = false;
  // The sizes stand in the extra fields, and 0xFFFFFFFF in their places.
  bool hasZip64Sizes = false;

  std::string comment;
  std::string extra;  // of the directory's record

  std::optional<std::string> data;  // what stands in the archive instead of the packed content
  std::optional<std::uint16_t> method;
  std::optional<std::uint16_t> flags;
  std::optional<std::uint32_t> crc;
  std::optional<std::uint32_t> size;        // of the content
  std::optional<std::uint32_t> packedSize;  // of the data
  std::optional<std::string> localName;
  // Shows the local header of the entry of this number (from 0) instead of one of its own; nothing
  // but the directory's record is written for it.
  std::optional<std::size_t> sharesDataOf;
};

class ZipBuilder {
 public:
  ZipBuilder& file(std::string name, std::string content);    // deflated
  ZipBuilder& stored(std::string name, std::string content);  // as it is
  ZipBuilder& directory(std::string name);                    // "/" is added where it is missing
  ZipBuilder& entry(ZipEntry entry);

  // Octets in front of the archive; its offsets do not count them, as in a self-extracting file.
  ZipBuilder& prefix(std::string octets);
  ZipBuilder& comment(std::string text);
  // Adds the ZIP64 form of the end of the directory, with the marks in the plain one that point to
  // it.
  ZipBuilder& zip64Directory();

  // Lies about the directory: in its end, and in the ZIP64 form where there is one.
  ZipBuilder& statedEntries(std::uint64_t count);
  ZipBuilder& statedDirectorySize(std::uint64_t size);
  ZipBuilder& statedDirectoryOffset(std::uint64_t offset);

  [[nodiscard]] std::string build() const;

 private:
  std::vector<ZipEntry> entries_;
  std::string prefix_;
  std::string comment_;
  bool hasZip64Directory_ = false;
  std::optional<std::uint64_t> statedEntries_;
  std::optional<std::uint64_t> statedDirectorySize_;
  std::optional<std::uint64_t> statedDirectoryOffset_;
};

// `content` in the deflate format (RFC 1951), without a header.
std::string deflated(const std::string& content);

}  // namespace wzapp_test

#endif  // WZAPP_TESTS_BUILDERS_ZIP_BUILDER_H
