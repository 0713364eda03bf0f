/// A program that `wz` is the frame of: it decides by itself when to end, and `wz` ends behind it.
#ifndef WZ_TERMINAL_FOLLOWED_PROGRAM_H
#define WZ_TERMINAL_FOLLOWED_PROGRAM_H

#include <sys/types.h>

#include <functional>

namespace wz {

/// Starts a process that calls `become`, with the signals as this one found them; `become` does not
/// return. From then on SIGTERM and SIGHUP are passed on to the program, and SIGINT and SIGQUIT are
/// ignored: keys reach it by themselves, as they do everything on that terminal. There is no moment
/// between in which a signal ends this process and leaves the program. -1 with errno set where
/// there is no such process. Once in a process, by the only thread that takes signals.
[[nodiscard]] pid_t startFollowed(const std::function<void()>& become);

/// Waits for the end of what startFollowed() started; its status is that of waitpid(2). The four
/// signals are ignored from then on: this process is about to end by itself.
[[nodiscard]] int awaitFollowed();

}  // namespace wz

#endif  // WZ_TERMINAL_FOLLOWED_PROGRAM_H
