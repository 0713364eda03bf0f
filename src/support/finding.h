// What a look at the file system has found out, for those who must not take a passing failure (no
// descriptor left, no memory, an input error) for an answer.
#ifndef WZAPP_SUPPORT_FINDING_H
#define WZAPP_SUPPORT_FINDING_H

namespace wzapp {

enum class Finding {
  kFound,    // what was looked for is there, and was read whole
  kNone,     // it is not there, may not be read, or cannot be what was looked for
  kUnknown,  // nobody can tell
};

// What a call that has failed with `error` (an errno) tells.
[[nodiscard]] Finding findingOf(int error);

// Whether what has failed with `error` may go well the next time.
[[nodiscard]] bool isPassing(int error);

// Calls `look`, which returns a Finding, until something is known, at most three times. At once:
// what fails for a moment mostly fails for one call.
template <class Look>
[[nodiscard]] Finding findOut(Look look) {
  constexpr int kRepetitions = 2;
  Finding finding = look();
  for (int i = 0; i < kRepetitions && finding == Finding::kUnknown; ++i) finding = look();
  return finding;
}

}  // namespace wzapp

#endif  // WZAPP_SUPPORT_FINDING_H
