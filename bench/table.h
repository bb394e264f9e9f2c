// The rows of the table that bench/run prints.

#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <ctime>
#include <string>
#include <vector>

namespace bench {

inline double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const size_t middle = values.size() / 2;
  return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

// What two ways took, pair by pair, in seconds, bytes or whatever both are.
class Pairs {
 public:
  void Add(double our, double other) {
    ours.push_back(our);
    others.push_back(other);
    ratios.push_back(our / other);
  }

  double Ours() const { return Median(ours); }
  double Other() const { return Median(others); }
  // Of each pair, since other load on the machine hits both of a pair rather than all of one kind.
  double Ratio() const { return Median(ratios); }

 private:
  std::vector<double> ours;
  std::vector<double> others;
  std::vector<double> ratios;
};

inline std::string TimeText(double seconds) {
  const char* const units[] = {"s", "ms", "us", "ns"};
  size_t unit = 0;
  while (seconds < 1 && unit < 3) {
    seconds *= 1000;
    ++unit;
  }
  char text[32];
  std::snprintf(text, sizeof text, "%.3g %s", seconds, units[unit]);
  return text;
}

inline std::string MebibyteText(double bytes) {
  char text[32];
  std::snprintf(text, sizeof text, "%.1f MiB", bytes / (1024 * 1024));
  return text;
}

inline void PrintRow(const std::string& what, const std::string& ours, const std::string& other,
                     double value, double target) {
  std::printf("%-60s %9s %9s %8.2f %7g  %s\n", what.c_str(), ours.c_str(), other.c_str(), value,
              target, value <= target ? "ok" : "over");
  std::fflush(stdout);
}

inline void PrintTimes(const std::string& what, const Pairs& pairs, double target) {
  PrintRow(what, TimeText(pairs.Ours()), TimeText(pairs.Other()), pairs.Ratio(), target);
}

inline double ClockSeconds(clockid_t clock) {
  timespec now = {};
  clock_gettime(clock, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

// What the work takes of this thread's processor time: other load on the machine is not in it.
template <typename Work>
double ThreadSeconds(const Work& work) {
  const double start = ClockSeconds(CLOCK_THREAD_CPUTIME_ID);
  work();
  return ClockSeconds(CLOCK_THREAD_CPUTIME_ID) - start;
}

inline constexpr int kPairs = 11;

// The two in turn; both have been done once before they count.
template <typename Ours, typename Other>
Pairs ThreadTimes(const Ours& ours, const Other& other) {
  ours();
  other();
  Pairs pairs;
  for (int n = 0; n < kPairs; ++n) {
    const double our = ThreadSeconds(ours);
    pairs.Add(our, ThreadSeconds(other));
  }
  return pairs;
}

}  // namespace bench
