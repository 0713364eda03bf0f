/// The files of the workbench's page, as they were when the program was built.
#ifndef WZ_WORKBENCH_PAGE_FILES_H
#define WZ_WORKBENCH_PAGE_FILES_H

#include <span>
#include <string_view>

namespace wz {

struct PageFile {
  std::string_view name;  ///< "views/bus.js"
  std::string_view content;
};

/// Made by the build (cmake/EmbedPage.cmake).
[[nodiscard]] std::span<const PageFile> pageFiles();

}  // namespace wz

#endif  // WZ_WORKBENCH_PAGE_FILES_H
