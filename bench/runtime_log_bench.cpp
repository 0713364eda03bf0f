// Log lines with a JSON value that does nothing: what the library itself costs. Goal: more than
// 1,000,000 lines a second.
#include <benchmark/benchmark.h>

#include "bench/log_line_bench.h"
#include "zelipc/zelipc.h"

// Takes everything and keeps nothing.
namespace zelipc {

JSObject::JSObject() : value_(nullptr) {}
JSObject::JSObject(bool) : value_(nullptr) {}
JSObject::JSObject(int) : value_(nullptr) {}
JSObject::JSObject(long long) : value_(nullptr) {}
JSObject::JSObject(double) : value_(nullptr) {}
JSObject::JSObject(const char*) : value_(nullptr) {}
JSObject::JSObject(const std::string&) : value_(nullptr) {}
JSObject::JSObject(const JSObject&) : value_(nullptr) {}
JSObject& JSObject::operator=(const JSObject&) { return *this; }
JSObject::~JSObject() = default;
JSObject JSObject::array() { return JSObject(); }

bool JSObject::isString() const { return false; }
bool JSObject::isArray() const { return false; }
std::string JSObject::asString() const { return {}; }
std::size_t JSObject::size() const { return 0; }
bool JSObject::has(const std::string&) const { return false; }
const JSObject& JSObject::operator[](const std::string&) const { return *this; }
JSObject& JSObject::operator[](const std::string&) { return *this; }
const JSObject& JSObject::at(std::size_t) const { return *this; }
JSObject& JSObject::append(const JSObject&) { return *this; }
int JSObject::parse(const char*) { return -1; }
std::string JSObject::dump() const { return {}; }

}  // namespace zelipc

BENCHMARK(bench::writeLogLines)->Name("LogLine/empty_value_type/goal_over_1M_per_s");

BENCHMARK_MAIN();
