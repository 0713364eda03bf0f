#include "wz/words/name_text.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "crypto/der/element_iterator.h"
#include "crypto/der/oid.h"

namespace wz {
namespace {

using wzapp::ByteView;
using wzapp::ElementIterator;

enum : std::uint32_t {
  kOid = 0x06,
  kUtf8String = 0x0C,
  kNumericString = 0x12,
  kPrintableString = 0x13,
  kT61String = 0x14,
  kIA5String = 0x16,
  kVisibleString = 0x1A,
  kBmpString = 0x1E,
};

struct AttributeName {
  const char* oid;
  const char* name;
};

constexpr AttributeName kAttributeNames[] = {
    {"2.5.4.3", "CN"},
    {"2.5.4.4", "SN"},
    {"2.5.4.5", "serialNumber"},
    {"2.5.4.6", "C"},
    {"2.5.4.7", "L"},
    {"2.5.4.8", "ST"},
    {"2.5.4.9", "STREET"},
    {"2.5.4.10", "O"},
    {"2.5.4.11", "OU"},
    {"2.5.4.12", "title"},
    {"0.9.2342.19200300.100.1.1", "UID"},
    {"0.9.2342.19200300.100.1.25", "DC"},
    {"1.2.840.113549.1.9.1", "emailAddress"},
};

std::string typeText(ByteView oid) {
  char text[128];
  if (wzapp::oidToText(oid, text, sizeof(text)) < 0) return "?";
  for (const AttributeName& row : kAttributeNames) {
    if (std::string_view(text) == row.oid) return row.name;
  }
  return text;
}

void appendUtf8(std::string& text, std::uint32_t c) {
  if (c < 0x80) {
    text += static_cast<char>(c);
    return;
  }
  if (c < 0x800) {
    text += static_cast<char>(0xC0 | (c >> 6));
  } else {
    text += static_cast<char>(0xE0 | (c >> 12));
    text += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
  }
  text += static_cast<char>(0x80 | (c & 0x3F));
}

// Two octets a character; a surrogate comes out as octets that are no UTF-8.
std::string bmpText(ByteView value) {
  std::string text;
  for (std::size_t i = 0; i + 1 < value.size(); i += 2) {
    appendUtf8(text, static_cast<std::uint32_t>(value[i] << 8 | value[i + 1]));
  }
  return text;
}

std::string hexText(ByteView value) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string text = "#";
  for (const std::uint8_t octet : value) {
    text += kDigits[octet >> 4];
    text += kDigits[octet & 0xF];
  }
  return text;
}

std::string escapedValue(const std::string& value) {
  constexpr std::string_view kSpecial = ",+\"\\<>;=";
  std::string text;
  for (std::size_t i = 0; i < value.size(); ++i) {
    const char c = value[i];
    const bool isFirst = i == 0, isLast = i + 1 == value.size();
    if (kSpecial.find(c) != std::string_view::npos || (isFirst && c == '#') ||
        ((isFirst || isLast) && c == ' ')) {
      text += '\\';
    }
    text += c;
  }
  return text;
}

std::string valueText(std::uint32_t identifier, ByteView value) {
  switch (identifier) {
    case kUtf8String:
    case kNumericString:
    case kPrintableString:
    case kT61String:
    case kIA5String:
    case kVisibleString:
      return escapedValue({reinterpret_cast<const char*>(value.data()), value.size()});
    case kBmpString:
      return escapedValue(bmpText(value));
    default:
      return hexText(value);
  }
}

// AttributeTypeAndValue ::= SEQUENCE { type OBJECT IDENTIFIER, value ANY }
std::string attributeText(ByteView content) {
  ElementIterator parts(content);
  ByteView type, value;
  if (parts.next(type) != kOid) return "?";
  const std::uint32_t identifier = parts.next(value);
  return typeText(type) + "=" + (identifier == 0 ? "?" : valueText(identifier, value));
}

// RelativeDistinguishedName ::= SET OF AttributeTypeAndValue
std::string relativeNameText(ByteView content) {
  std::string text;
  ElementIterator attributes(content);
  for (ByteView attribute; attributes.next(attribute) != 0;) {
    text += (text.empty() ? "" : "+") + attributeText(attribute);
  }
  return text;
}

}  // namespace

std::string nameText(ByteView content) {
  std::string text;
  ElementIterator names(content);
  for (ByteView name; names.next(name) != 0;) {
    text += (text.empty() ? "" : ", ") + relativeNameText(name);
  }
  return text;
}

}  // namespace wz
