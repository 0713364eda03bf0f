/// SIGINT, SIGTERM and SIGHUP: the first asks `wz` to end in order, the second ends it at once.
#ifndef WZ_TERMINAL_INTERRUPT_H
#define WZ_TERMINAL_INTERRUPT_H

namespace wz {

/// Begins to watch the three signals; to be called before the process has threads. Until then, and
/// for a signal that was ignored when the program was started, they act as usual.
void watchInterrupts();

/// Lets the process go on where nobody reads its output any more (SIGPIPE): what it is about is not
/// to be cut off for that. The loss is told at the end (output.h).
void outliveReader();

/// Asks `wz` to end in order as the first signal does, but is none: the next signal is the first.
/// Any thread.
void askToEnd();

/// True once a signal has come, or askToEnd() has been called.
bool interrupted();

/// Becomes and stays readable once a signal has come, for poll(2). -1 before watchInterrupts.
int interruptDescriptor();

/// Ends the process by the signal that came, as if nobody had watched it. The caller has written
/// what is to be written.
[[noreturn]] void endByInterrupt();

/// Something to be done when a second signal ends the process at once; it may only do what a signal
/// handler may. Null: nothing.
void callWhenKilled(void (*function)());

}  // namespace wz

#endif  // WZ_TERMINAL_INTERRUPT_H
