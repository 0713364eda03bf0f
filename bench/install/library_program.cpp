// An installation run by the library, as a host program has it: through libwzapp.so, with a log
// that is written.

#include <cstdarg>
#include <cstdio>

#include "bench/install/measured_program.h"
#include "wzapp/wzapp.h"

namespace {

void writeLog(void* /*user*/, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  std::vprintf(format, arguments);
  va_end(arguments);
}

int install() { return wzapp::wzInstall(writeLog, nullptr); }

}  // namespace

int main(int argc, char** argv) { return bench::runMeasured(argc, argv, install); }
