#include "tests/support/hostile_locale.h"

#include <stdlib.h>

#include <bit>
#include <clocale>
#include <string>

#include "tests/builders/temporary_directory.h"

namespace wzapp_test {
namespace {

constexpr const char* kSource = R"(
LC_CTYPE
upper <U0041>;<U0042>;<U0051>
lower <U0061>;<U0062>;<U0071>
digit <U0030>;<U0031>;<U0032>;<U0033>;<U0034>;<U0035>;<U0036>;<U0037>;<U0038>;<U0039>
space <U0009>;<U000A>;<U000B>;<U000C>;<U000D>;<U0020>;<U007E>
blank <U0009>;<U0020>
toupper (<U0061>,<U0051>);(<U0062>,<U0042>)
tolower (<U0041>,<U0061>)
END LC_CTYPE
LC_NUMERIC
decimal_point "<U002C>"
thousands_sep "<U002E>"
grouping 3;3
END LC_NUMERIC
)";

}  // namespace

bool enterHostileLocale() {
  const TemporaryDirectory directory;
  const std::string source = directory.write("source", kSource);
  // In the order of octets of this program, which an emulator may run. Warns that the other
  // categories are missing, and ends with 1 for it.
  const std::string order = std::endian::native == std::endian::big ? "big" : "little";
  const std::string compile = "localedef --" + order + "-endian -c -i " + source + " " +
                              (directory / "hostile") + " >/dev/null 2>&1";
  if (system(compile.c_str()) == -1) return false;
  setenv("LOCPATH", directory.path().c_str(), 1);
  return setlocale(LC_CTYPE, "hostile") != nullptr && setlocale(LC_NUMERIC, "hostile") != nullptr;
}

}  // namespace wzapp_test
