/// The process's one observer of pages.
#ifndef WORKSTATION_BROWSER_ENGINE_PAGE_OBSERVER_H
#define WORKSTATION_BROWSER_ENGINE_PAGE_OBSERVER_H

#include "workstation/browser/browser_control.h"

namespace workstation {

/// Whether anybody watches, so that nothing need be made for nobody. Any thread.
bool hasPageObserver();

/// Calls the observer, if there is one. Any thread.
void tellPageObserver(const PageEvent& event);

}  // namespace workstation

#endif  // WORKSTATION_BROWSER_ENGINE_PAGE_OBSERVER_H
