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

// What an attempt that tells of its failure by errno has found out, for those to whom every lasting
// failure is an answer: unknown is only what may go well the next time (no descriptor, no memory,
// an input or output error, an interruption).
[[nodiscard]] Finding findingOfAttempt(bool hasSucceeded);

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
