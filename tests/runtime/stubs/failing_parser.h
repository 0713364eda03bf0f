// A JSON parser that fails on demand. Needs _ZN6zelipc8JSObject5parseEPKc in the program's WRAP
// list.
#ifndef WZAPP_TESTS_RUNTIME_STUBS_FAILING_PARSER_H
#define WZAPP_TESTS_RUNTIME_STUBS_FAILING_PARSER_H

namespace stubs {

// From now on, or no longer, zelipc::JSObject::parse() throws std::bad_alloc on the calling thread.
void failParsing(bool on);

}  // namespace stubs

#endif  // WZAPP_TESTS_RUNTIME_STUBS_FAILING_PARSER_H
