// Symbols to link against; see CMakeLists.txt.

#include <cstdlib>

#include "zelsec/zelsec.h"

extern "C" int CMDiag(int, void*, unsigned short*) { std::abort(); }
