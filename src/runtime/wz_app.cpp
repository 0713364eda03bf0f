#include "wzapp/wzapp.h"

namespace wzapp {

// Out of line, so that the class has one vtable and one typeinfo, in this library.
WZApp::~WZApp() = default;

}  // namespace wzapp
