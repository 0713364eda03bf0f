/// For commands that go on for long: whether it is still worth while.
#ifndef WZ_REPORTS_LOST_OUTPUT_H
#define WZ_REPORTS_LOST_OUTPUT_H

namespace wz {

/// Whether something could not be written to standard output, which reportLostOutput() (output.h)
/// will say at the end. Any thread.
[[nodiscard]] bool hasLostOutput();

/// Calls `function` at the first loss, on the thread that meets it; it must not print. Null:
/// nothing is called. For the main thread, before there are others.
void whenOutputIsLost(void (*function)());

}  // namespace wz

#endif  // WZ_REPORTS_LOST_OUTPUT_H
