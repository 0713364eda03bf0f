// Where the installer reports: one sink for the whole process. It stands on the lowest floor since
// more than the installer reports through it. Any thread may call.
#ifndef WZAPP_SUPPORT_INSTALL_LOG_H
#define WZAPP_SUPPORT_INSTALL_LOG_H

namespace wzapp {

// Takes one message a call, printf style; the message carries its own line feed. `user` is what was
// set along with the callback.
using InstallLog = void (*)(void* user, const char* format, ...);

// A callback and the pointer that belongs to it.
struct InstallSink {
  InstallLog log;
  void* user;
};

// Accepts a message and does nothing.
void silentInstallLog(void* user, const char* format, ...);

// Replaces the sink. A null `log` stands for the silent one. Whoever replaces a sink may still see
// a message arrive there from a thread that was about to report.
void setInstallLog(InstallLog log, void* user);

// The sink, both halves of the same setInstallLog(); the silent one before the first.
[[nodiscard]] InstallSink installSink();

// Hands one message to the sink. `arguments` are what printf takes for `format`.
template <class... Args>
void report(const char* format, Args... arguments) {
  const InstallSink sink = installSink();
  sink.log(sink.user, format, arguments...);
}

}  // namespace wzapp

#endif  // WZAPP_SUPPORT_INSTALL_LOG_H
