// Where exceptions end: nothing may leave an exported function, a callback or a thread.
#ifndef WZAPP_RUNTIME_ATTEMPT_H
#define WZAPP_RUNTIME_ATTEMPT_H

namespace wzapp {

// Calls `step` and says whether it ended without an exception. In this library the only exception
// to expect is that memory has run out; what the step had not done by then stays undone.
template <typename Step>
bool attempt(Step&& step) noexcept {
  try {
    step();
    return true;
  } catch (...) {
    return false;
  }
}

}  // namespace wzapp

#endif  // WZAPP_RUNTIME_ATTEMPT_H
