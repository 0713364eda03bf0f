// Symbols to link against; see CMakeLists.txt.

#include <cstdlib>

#include "platforminfo/platforminfo.h"

extern "C" int platforminfo_get(int, void*, unsigned int, unsigned int*) { std::abort(); }
