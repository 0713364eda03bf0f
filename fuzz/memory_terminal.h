// A terminal in memory, for fuzz targets that need the fixed paths.
#ifndef WZAPP_FUZZ_MEMORY_TERMINAL_H
#define WZAPP_FUZZ_MEMORY_TERMINAL_H

#include <string>

// Moves the process into namespaces of its own, where /dev/shm is an empty file system in memory
// and the fixed paths lead to a terminal in it. Nothing is left when the process has ended. The
// process must have one thread. Ends the process when that does not work, which says why. Returns
// the terminal's folder.
std::string enterMemoryTerminal();

#endif  // WZAPP_FUZZ_MEMORY_TERMINAL_H
