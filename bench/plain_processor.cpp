// Linked with --wrap, so that everything here is measured as on a processor that has nothing beyond
// what the library is compiled for.
#include "crypto/cpu_features.h"

namespace wzapp {

const CpuFeatures& plainProcessor() __asm__("__wrap__ZN5wzapp11cpuFeaturesEv");

const CpuFeatures& plainProcessor() {
  static const CpuFeatures none;
  return none;
}

}  // namespace wzapp
