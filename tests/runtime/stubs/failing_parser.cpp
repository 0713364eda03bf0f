#include "tests/runtime/stubs/failing_parser.h"

#include <new>

#include "zelipc/zelipc.h"

namespace {

thread_local bool isFailing = false;

}  // namespace

namespace stubs {

void failParsing(bool on) { isFailing = on; }

}  // namespace stubs

extern "C" {

// zelipc::JSObject::parse(const char*)
int __real__ZN6zelipc8JSObject5parseEPKc(zelipc::JSObject* object, const char* text);

int __wrap__ZN6zelipc8JSObject5parseEPKc(zelipc::JSObject* object, const char* text) {
  if (isFailing) throw std::bad_alloc();
  return __real__ZN6zelipc8JSObject5parseEPKc(object, text);
}
}
