// The life of one application on its own thread.
#ifndef WZAPP_RUNTIME_RUN_LOOP_H
#define WZAPP_RUNTIME_RUN_LOOP_H

#include "wzapp/wzapp.h"

namespace wzapp {

class WZAppManager;

// Configures the GUI service for `app`, opens its start page there, waits for its end without
// limit, logs both, tells the host and marks the application as ended. On the application's
// thread.
//
// Where memory runs out, the step concerned is left out: a page that cannot be invoked or waited
// for has ended with -1. The host is told once in every case.
//
// Hands out the reference that `app` has had to itself. It may be the last one, so that `app` lives
// no longer than the result.
[[nodiscard]] counted_ptr<WZApp> runApplication(WZAppManager& app) noexcept;

}  // namespace wzapp

#endif  // WZAPP_RUNTIME_RUN_LOOP_H
