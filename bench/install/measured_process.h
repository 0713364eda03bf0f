/// Starts a program and tells what it took.
#ifndef WZAPP_BENCH_INSTALL_MEASURED_PROCESS_H
#define WZAPP_BENCH_INSTALL_MEASURED_PROCESS_H

#include <string>

namespace bench {

struct Measured {
  double seconds = 0;  ///< of processors, in the program and in the kernel for it, from its start
  int result = 0;      ///< of the installation run
  long peakKB = 0;     ///< the most memory that it had, in KiB
};

/// Runs a measured program (measured_program.h) in the terminal, with its output in the file `log`.
/// Throws std::runtime_error unless it went to its end.
Measured measure(const std::string& program, const std::string& terminal, const std::string& log);

}  // namespace bench

#endif  // WZAPP_BENCH_INSTALL_MEASURED_PROCESS_H
