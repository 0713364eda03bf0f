// The smallest host: it uses the installed headers and library and touches nothing on the machine.
#include <wzapp/wzapp.h>

#include <iostream>

int main() {
  wzapp::counted_ptr<wzapp::WZApp> app;
  if (app) return 1;
  std::cout << wzapp::wzInstallSourceDir() << '\n'
            << wzapp::wzInstallAppRoot() << '\n'
            << wzapp::wzInstallManifestRoot() << '\n';
  return 0;
}
