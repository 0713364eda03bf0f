#include "tests/builders/zip_builder.h"

#include <zlib.h>

#include <stdexcept>

namespace wzapp_test {
namespace {

constexpr std::uint32_t kLocalHeader = 0x04034B50;
constexpr std::uint32_t kDataDescriptor = 0x08074B50;
constexpr std::uint32_t kDirectoryRecord = 0x02014B50;
constexpr std::uint32_t kZip64DirectoryEnd = 0x06064B50;
constexpr std::uint32_t kZip64Locator = 0x07064B50;
constexpr std::uint32_t kDirectoryEnd = 0x06054B50;

constexpr std::uint16_t kFlagDataDescriptor = 0x0008;
constexpr std::uint16_t kZip64Extra = 0x0001;
constexpr std::uint16_t kVersion = 20;
constexpr std::uint16_t kVersionZip64 = 45;
constexpr std::uint32_t kFirstDay = 0x00210000;  // 1980-01-01 00:00 in the format of DOS
constexpr std::uint16_t kMax16 = 0xFFFF;
constexpr std::uint32_t kMax32 = 0xFFFFFFFF;
constexpr std::size_t kMaxDeflated = std::size_t{1} << 30;

// Appends numbers with the lowest octet first.
class Writer {
 public:
  Writer& u16(std::uint64_t value) { return number(value, 2); }
  Writer& u32(std::uint64_t value) { return number(value, 4); }
  Writer& u64(std::uint64_t value) { return number(value, 8); }
  Writer& octets(const std::string& text) {
    octets_ += text;
    return *this;
  }
  Writer& length16(const std::string& text) {
    if (text.size() > kMax16) throw std::length_error("longer than 65535 octets");
    return u16(text.size());
  }

  [[nodiscard]] const std::string& octets() const { return octets_; }
  [[nodiscard]] std::size_t size() const { return octets_.size(); }

 private:
  Writer& number(std::uint64_t value, int size) {
    for (int i = 0; i < size; ++i) octets_ += static_cast<char>(value >> (8 * i) & 0xFF);
    return *this;
  }

  std::string octets_;
};

// What an entry's headers say.
struct Fields {
  std::uint16_t version;
  std::uint16_t flags;
  std::uint16_t method;
  std::uint32_t crc;
  std::uint64_t size;
  std::uint64_t packedSize;
};

std::uint32_t crcOf(const std::string& content) {
  return static_cast<std::uint32_t>(
      crc32_z(0, reinterpret_cast<const Bytef*>(content.data()), content.size()));
}

std::string packed(const ZipEntry& entry) {
  if (entry.data) return *entry.data;
  return entry.isDeflated ? deflated(entry.content) : entry.content;
}

Fields fieldsOf(const ZipEntry& entry, std::size_t packedSize) {
  Fields fields{};
  fields.version = entry.hasZip64Sizes ? kVersionZip64 : kVersion;
  fields.flags = entry.flags.value_or(entry.hasDataDescriptor ? kFlagDataDescriptor : 0);
  fields.method = entry.method.value_or(entry.isDeflated ? kZipDeflated : kZipStored);
  fields.crc = entry.crc.value_or(crcOf(entry.content));
  fields.size = entry.size ? *entry.size : entry.content.size();
  fields.packedSize = entry.packedSize ? *entry.packedSize : packedSize;
  return fields;
}

// What both headers have in common, from the flags to the sizes.
void writeCommon(Writer& out, const Fields& fields, bool hasZip64Sizes) {
  out.u16(fields.flags).u16(fields.method).u32(kFirstDay).u32(fields.crc);
  out.u32(hasZip64Sizes ? kMax32 : fields.packedSize);
  out.u32(hasZip64Sizes ? kMax32 : fields.size);
}

std::string zip64Extra(const Fields& fields) {
  Writer extra;
  extra.u16(kZip64Extra).u16(16).u64(fields.size).u64(fields.packedSize);
  return extra.octets();
}

void writeLocal(Writer& out, const ZipEntry& entry, const Fields& fields, const std::string& data) {
  Fields local = fields;
  if (entry.hasDataDescriptor) {
    local.crc = 0;
    local.size = 0;
    local.packedSize = 0;
  }
  const bool hasZip64Sizes = entry.hasZip64Sizes && !entry.hasDataDescriptor;
  const std::string extra = hasZip64Sizes ? zip64Extra(local) : std::string();
  const std::string& name = entry.localName ? *entry.localName : entry.name;

  out.u32(kLocalHeader).u16(local.version);
  writeCommon(out, local, hasZip64Sizes);
  out.length16(name).length16(extra).octets(name).octets(extra).octets(data);
  if (!entry.hasDataDescriptor) return;
  out.u32(kDataDescriptor).u32(fields.crc);
  if (entry.hasZip64Sizes) {
    out.u64(fields.packedSize).u64(fields.size);
  } else {
    out.u32(fields.packedSize).u32(fields.size);
  }
}

void writeRecord(Writer& out, const ZipEntry& entry, const Fields& fields, std::size_t offset) {
  const std::string extra =
      (entry.hasZip64Sizes ? zip64Extra(fields) : std::string()) + entry.extra;
  out.u32(kDirectoryRecord).u16(fields.version).u16(fields.version);
  writeCommon(out, fields, entry.hasZip64Sizes);
  out.length16(entry.name).length16(extra).length16(entry.comment);
  out.u16(0).u16(0).u32(0);  // disk, attributes inside and outside
  out.u32(offset).octets(entry.name).octets(extra).octets(entry.comment);
}

std::uint64_t atMost(std::uint64_t limit, std::uint64_t value) {
  return value < limit ? value : limit;
}

}  // namespace

std::string deflated(const std::string& content) {
  if (content.size() > kMaxDeflated) throw std::length_error("too long to be deflated at once");
  z_stream stream{};
  if (deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, -MAX_WBITS, MAX_MEM_LEVEL,
                   Z_DEFAULT_STRATEGY) != Z_OK) {
    throw std::runtime_error("deflateInit2");
  }
  std::string output(deflateBound(&stream, content.size()), '\0');
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(content.data()));
  stream.avail_in = static_cast<uInt>(content.size());
  stream.next_out = reinterpret_cast<Bytef*>(output.data());
  stream.avail_out = static_cast<uInt>(output.size());
  const int code = deflate(&stream, Z_FINISH);
  output.resize(stream.total_out);
  deflateEnd(&stream);
  if (code != Z_STREAM_END) throw std::runtime_error("deflate");
  return output;
}

ZipBuilder& ZipBuilder::file(std::string name, std::string content) {
  ZipEntry added;
  added.name = std::move(name);
  added.content = std::move(content);
  return entry(std::move(added));
}

ZipBuilder& ZipBuilder::stored(std::string name, std::string content) {
  ZipEntry added;
  added.name = std::move(name);
  added.content = std::move(content);
  added.isDeflated = false;
  return entry(std::move(added));
}

ZipBuilder& ZipBuilder::directory(std::string name) {
  if (!name.ends_with('/')) name += '/';
  return stored(std::move(name), "");
}

ZipBuilder& ZipBuilder::entry(ZipEntry entry) {
  entries_.push_back(std::move(entry));
  return *this;
}

ZipBuilder& ZipBuilder::prefix(std::string octets) {
  prefix_ = std::move(octets);
  return *this;
}

ZipBuilder& ZipBuilder::comment(std::string text) {
  comment_ = std::move(text);
  return *this;
}

ZipBuilder& ZipBuilder::zip64Directory() {
  hasZip64Directory_ = true;
  return *this;
}

ZipBuilder& ZipBuilder::statedEntries(std::uint64_t count) {
  statedEntries_ = count;
  return *this;
}

ZipBuilder& ZipBuilder::statedDirectorySize(std::uint64_t size) {
  statedDirectorySize_ = size;
  return *this;
}

ZipBuilder& ZipBuilder::statedDirectoryOffset(std::uint64_t offset) {
  statedDirectoryOffset_ = offset;
  return *this;
}

std::string ZipBuilder::build() const {
  Writer out;
  Writer records;
  std::vector<std::size_t> offsets;
  for (const ZipEntry& entry : entries_) {
    const std::string data = packed(entry);
    const Fields fields = fieldsOf(entry, data.size());
    offsets.push_back(entry.sharesDataOf ? offsets.at(*entry.sharesDataOf) : out.size());
    if (!entry.sharesDataOf) writeLocal(out, entry, fields, data);
    writeRecord(records, entry, fields, offsets.back());
  }

  const std::uint64_t count = statedEntries_.value_or(entries_.size());
  const std::uint64_t size = statedDirectorySize_.value_or(records.size());
  const std::uint64_t offset = statedDirectoryOffset_.value_or(out.size());
  out.octets(records.octets());
  if (hasZip64Directory_) {
    const std::size_t end = out.size();
    out.u32(kZip64DirectoryEnd).u64(44).u16(kVersionZip64).u16(kVersionZip64).u32(0).u32(0);
    out.u64(count).u64(count).u64(size).u64(offset);
    out.u32(kZip64Locator).u32(0).u64(prefix_.size() + end).u32(1);
  }
  const std::uint64_t plainCount = hasZip64Directory_ ? kMax16 : atMost(kMax16, count);
  out.u32(kDirectoryEnd).u16(0).u16(0).u16(plainCount).u16(plainCount);
  out.u32(hasZip64Directory_ ? kMax32 : atMost(kMax32, size));
  out.u32(hasZip64Directory_ ? kMax32 : atMost(kMax32, offset));
  out.length16(comment_).octets(comment_);
  return prefix_ + out.octets();
}

}  // namespace wzapp_test
