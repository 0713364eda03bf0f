/// The files of a new application. The source is generated from the folder new_application.
#ifndef WZ_WORDS_APPLICATION_TEMPLATE_H
#define WZ_WORDS_APPLICATION_TEMPLATE_H

#include <span>
#include <string_view>

namespace wz {

struct TemplateFile {
  const char* name;          ///< in the application's folder
  std::string_view content;  ///< with @ID@ and @SPONSOR@ where those belong
};

[[nodiscard]] std::span<const TemplateFile> applicationTemplate();

}  // namespace wz

#endif  // WZ_WORDS_APPLICATION_TEMPLATE_H
