# Writes OUTPUT, the C++ source of the files of the workbench's page, from those in FOLDER that NAMES
# lists with | in between. A script: cmake -DFOLDER=... -DNAMES=... -DOUTPUT=... -P

set(arrays "")
set(rows "")
set(number 0)
string(REPLACE "|" ";" names "${NAMES}")
foreach(name IN LISTS names)
  file(READ ${FOLDER}/${name} content HEX)
  string(REGEX REPLACE "(..)" "0x\\1," content "${content}")
  string(APPEND arrays "constexpr unsigned char kFile${number}[] = {${content}0};\n")
  string(APPEND rows "    {\"${name}\", textOf(kFile${number}, sizeof kFile${number} - 1)},\n")
  math(EXPR number "${number} + 1")
endforeach()
file(WRITE ${OUTPUT} "#include \"wz/workbench/page_files.h\"

#include <cstddef>
#include <vector>

namespace wz {
namespace {

${arrays}
[[maybe_unused]] std::string_view textOf(const unsigned char* octets, std::size_t size) {
  return {reinterpret_cast<const char*>(octets), size};
}

}  // namespace

std::span<const PageFile> pageFiles() {
  static const std::vector<PageFile> files = {
${rows}  };
  return files;
}

}  // namespace wz
")
