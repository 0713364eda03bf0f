/// The terminal's HTML engine: processors for the scripts of a page, and its time stamps.
#ifndef ZELHTML_ZELHTML_H
#define ZELHTML_ZELHTML_H

#include <map>
#include <string>

namespace zelhtml {

/// Runs one script call; `context` carries what goes in and what comes out.
typedef bool (*ScriptProcessor)(void* user, const std::string& source,
                                std::map<std::string, std::string>& context);

/// Makes `processor` the one that runs scripts of `type`. Lasts until the process ends.
void htmlSetScriptProcessor(const std::string& type, ScriptProcessor processor, void* user);

/// A point in time or a span: seconds and nanoseconds, 0 <= nanoseconds < 1,000,000,000.
class TimeStamp {
 public:
  TimeStamp();                                ///< Zero.
  TimeStamp(long seconds, long nanoseconds);  ///< Normalised.
  static TimeStamp Monotonic();               ///< Now, on the clock that nobody sets.
  long seconds() const;
  long nanoseconds() const;
  TimeStamp operator+(const TimeStamp& other) const;

 private:
  long seconds_;
  long nanoseconds_;
};

}  // namespace zelhtml

#endif  // ZELHTML_ZELHTML_H
