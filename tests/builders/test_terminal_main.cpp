#include "tests/builders/test_terminal.h"

int main(int argc, char** argv) { return wzapp_test::testTerminalMain(argc, argv); }
