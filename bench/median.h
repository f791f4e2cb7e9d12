// The middle one of what was measured.
#ifndef BENCH_MEDIAN_H_
#define BENCH_MEDIAN_H_

#include <algorithm>
#include <cstddef>
#include <vector>

// Of at least one value; the upper one of two in the middle.
inline double Median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

#endif  // BENCH_MEDIAN_H_
