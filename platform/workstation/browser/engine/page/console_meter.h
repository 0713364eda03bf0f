/// Tells when a page prints more than anybody can read.
#ifndef WORKSTATION_BROWSER_ENGINE_CONSOLE_METER_H
#define WORKSTATION_BROWSER_ENGINE_CONSOLE_METER_H

#include <chrono>
#include <cstddef>

namespace workstation {

/// For one thread.
class ConsoleMeter {
 public:
  using Clock = std::chrono::steady_clock;

  /// Counts a line of `size` octets at the time `now`. False from the line on that is too much for
  /// one second.
  bool count(std::size_t size, Clock::time_point now) {
    if (now - begin_ >= std::chrono::seconds(1)) {
      begin_ = now;
      lines_ = 0;
      octets_ = 0;
    }
    ++lines_;
    octets_ += size;
    return lines_ <= kMostLines && octets_ <= kMostOctets;
  }

  static constexpr std::size_t kMostLines = 20'000;
  static constexpr std::size_t kMostOctets = 8U << 20;

 private:
  Clock::time_point begin_{};
  std::size_t lines_ = 0;
  std::size_t octets_ = 0;
};

}  // namespace workstation

#endif  // WORKSTATION_BROWSER_ENGINE_CONSOLE_METER_H
