#include "workstation/browser/engine/files/content_type.h"

namespace workstation {
namespace {

struct ContentTypeRow {
  std::string_view extension;
  const char* type;
};

constexpr ContentTypeRow kContentTypes[] = {
    {"avif", "image/avif"},
    {"bmp", "image/bmp"},
    {"css", "text/css; charset=utf-8"},
    {"csv", "text/csv; charset=utf-8"},
    {"gif", "image/gif"},
    {"htm", "text/html; charset=utf-8"},
    {"html", "text/html; charset=utf-8"},
    {"ico", "image/x-icon"},
    {"jpeg", "image/jpeg"},
    {"jpg", "image/jpeg"},
    {"js", "text/javascript; charset=utf-8"},
    {"json", "application/json"},
    {"m4a", "audio/mp4"},
    {"map", "application/json"},
    {"mjs", "text/javascript; charset=utf-8"},
    {"mp3", "audio/mpeg"},
    {"mp4", "video/mp4"},
    {"oga", "audio/ogg"},
    {"ogg", "audio/ogg"},
    {"ogv", "video/ogg"},
    {"otf", "font/otf"},
    {"pdf", "application/pdf"},
    {"png", "image/png"},
    {"svg", "image/svg+xml"},
    {"ttf", "font/ttf"},
    {"txt", "text/plain; charset=utf-8"},
    {"wasm", "application/wasm"},
    {"wav", "audio/wav"},
    {"webm", "video/webm"},
    {"webmanifest", "application/manifest+json"},
    {"webp", "image/webp"},
    {"woff", "font/woff"},
    {"woff2", "font/woff2"},
    {"xhtml", "application/xhtml+xml"},
    {"xml", "text/xml; charset=utf-8"},
};

// Of the C locale, whatever the host has set.
char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool equalsLowered(std::string_view text, std::string_view lowered) {
  if (text.size() != lowered.size()) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (lower(text[i]) != lowered[i]) return false;
  }
  return true;
}

}  // namespace

const char* contentType(std::string_view path) {
  const std::string_view name = path.substr(path.find_last_of('/') + 1);
  const std::size_t dot = name.find_last_of('.');
  if (dot != std::string_view::npos) {
    for (const ContentTypeRow& row : kContentTypes) {
      if (equalsLowered(name.substr(dot + 1), row.extension)) return row.type;
    }
  }
  return "application/octet-stream";
}

}  // namespace workstation
