// Symbols to link against; see CMakeLists.txt.

#include <cstdlib>

#include "zelhtml/zelhtml.h"

namespace zelhtml {

void htmlSetScriptProcessor(const std::string&, ScriptProcessor, void*) { std::abort(); }
TimeStamp::TimeStamp() { std::abort(); }
TimeStamp::TimeStamp(long, long) { std::abort(); }
TimeStamp TimeStamp::Monotonic() { std::abort(); }
long TimeStamp::seconds() const { std::abort(); }
long TimeStamp::nanoseconds() const { std::abort(); }
TimeStamp TimeStamp::operator+(const TimeStamp&) const { std::abort(); }

}  // namespace zelhtml
