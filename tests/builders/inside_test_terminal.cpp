/// inside_test_terminal PROGRAM [ARGUMENT...]
///
/// Runs a program inside a temporary terminal of its own: an emulator with a test program of
/// another processor, which could not enter one itself.
#include <cstdio>

#include "tests/builders/test_terminal.h"

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "Usage: inside_test_terminal PROGRAM [ARGUMENT...]\n");
    return 2;
  }
  return wzapp_test::becomeInsideTerminal(argv + 1);
}
