// A host program as small as one can be: it installs what waits, and writes the log.

#include <wzapp/wzapp.h>

#include <cstdarg>
#include <cstdio>

namespace {

void print(void*, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  std::vprintf(format, arguments);
  va_end(arguments);
}

}  // namespace

int main() { return wzapp::wzInstall(print, nullptr); }
