/// Names that nobody can guess.
#ifndef WORKSTATION_BROWSER_ENGINE_RANDOM_TOKEN_H
#define WORKSTATION_BROWSER_ENGINE_RANDOM_TOKEN_H

#include <string>

namespace workstation {

/// 32 hexadecimal digits from the system's source of randomness.
std::string randomToken();

}  // namespace workstation

#endif  // WORKSTATION_BROWSER_ENGINE_RANDOM_TOKEN_H
