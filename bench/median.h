// The value in the middle, which one disturbed measurement does not move.
#ifndef WZAPP_BENCH_MEDIAN_H
#define WZAPP_BENCH_MEDIAN_H

#include <algorithm>
#include <cstddef>
#include <vector>

namespace bench {

// Of an even number of values the upper one in the middle. There must be one.
inline double median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

}  // namespace bench

#endif  // WZAPP_BENCH_MEDIAN_H
