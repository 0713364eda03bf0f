/// The programs that are measured: each does one installation run in a terminal and ends.
///
/// A program gets the terminal directory as its only argument, enters it as `wz` does, installs
/// what was dropped in, and prints what it has to say, at last one line with the result of the run
/// and the most memory that it had. All of them start and end in the same way.
#ifndef WZAPP_BENCH_INSTALL_MEASURED_PROGRAM_H
#define WZAPP_BENCH_INSTALL_MEASURED_PROGRAM_H

namespace bench {

/// The line that ends the output: the result of the run (0: done) and KiB.
inline constexpr char kLastLine[] = "run ended: %d, peak %ld kB\n";

/// Main function of a measured program around its run. The memory is the program's own, asked of
/// the kernel as "VmHWM": what wait4(2) says begins with that of the parent.
int runMeasured(int argc, char** argv, int (*run)());

}  // namespace bench

#endif  // WZAPP_BENCH_INSTALL_MEASURED_PROGRAM_H
