// The properties that an application is given beside its host's parameters.
#ifndef WZAPP_RUNTIME_APP_PROPERTIES_H
#define WZAPP_RUNTIME_APP_PROPERTIES_H

#include <map>
#include <string>

namespace wzapp {

class WZAppManager;

// Adds the "wz_" properties of `app`, whose id, version and directories are set, to `properties`.
// One that the host has given under the same name is overwritten. A configuration document that
// cannot be read is left out.
void addAppProperties(const WZAppManager& app, std::map<std::string, std::string>& properties);

}  // namespace wzapp

#endif  // WZAPP_RUNTIME_APP_PROPERTIES_H
