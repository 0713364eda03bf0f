# Writes OUTPUT, the C++ source of the files of a new application, from those in FOLDER; NAMES lists
# them as SOURCE=NAME with | in between. A script: cmake -DFOLDER=... -DNAMES=... -DOUTPUT=... -P

set(rows "")
string(REPLACE "|" ";" pairs "${NAMES}")
foreach(pair IN LISTS pairs)
  string(REGEX MATCH "^([^=]*)=(.*)$" _ "${pair}")
  set(source ${CMAKE_MATCH_1})
  set(name ${CMAKE_MATCH_2})
  file(READ ${FOLDER}/${source} content)
  string(APPEND rows "    {\"${name}\", R\"template(${content})template\"},\n")
endforeach()
file(WRITE ${OUTPUT} "#include \"wz/words/application_template.h\"

namespace wz {
namespace {

constexpr TemplateFile kFiles[] = {
${rows}};

}  // namespace

std::span<const TemplateFile> applicationTemplate() { return kFiles; }

}  // namespace wz
")
