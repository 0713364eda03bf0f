/// Elements of DER one after the other, by OpenSSL's own reading of their headers.
#ifndef WZAPP_BENCH_INSTALL_PEER_DER_H
#define WZAPP_BENCH_INSTALL_PEER_DER_H

#include <openssl/asn1.h>

#include <string_view>

namespace bench::peer {

class DerReader {
 public:
  explicit DerReader(std::string_view octets) : rest_(octets) {}

  [[nodiscard]] bool isAtEnd() const { return rest_.empty(); }

  /// Takes the next element and sets `content`. False when it is none of this tag and class, or
  /// does not end inside; nothing more can be read then.
  [[nodiscard]] bool take(int tag, std::string_view& content, int tagClass = V_ASN1_UNIVERSAL) {
    const auto* position = reinterpret_cast<const unsigned char*>(rest_.data());
    const unsigned char* const begin = position;
    long length = 0;
    int foundTag = 0;
    int foundClass = 0;
    const int header = ASN1_get_object(&position, &length, &foundTag, &foundClass,
                                       static_cast<long>(rest_.size()));
    if (rest_.empty() || (header & 0x81) != 0 || foundTag != tag || foundClass != tagClass) {
      return false;  // 0x80: malformed, 1: of indefinite length
    }
    rest_.remove_prefix(static_cast<std::size_t>(position - begin));
    content = rest_.substr(0, static_cast<std::size_t>(length));
    rest_.remove_prefix(content.size());
    return true;
  }

  [[nodiscard]] bool skip(int tag) {
    std::string_view content;
    return take(tag, content);
  }

 private:
  std::string_view rest_;
};

}  // namespace bench::peer

#endif  // WZAPP_BENCH_INSTALL_PEER_DER_H
