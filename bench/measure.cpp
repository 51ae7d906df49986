// SPDX-License-Identifier: MIT
#include "measure.h"

#include <algorithm>
#include <cmath>
#include <ctime>

namespace jpgbench {
namespace {

double processorTime() {
  std::timespec t = {};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
}

// A quantile, interpolated between the ranks.
double quantile(std::vector<double> values, double part) {
  std::sort(values.begin(), values.end());
  const double place = part * static_cast<double>(values.size() - 1);
  const auto below = static_cast<size_t>(place);
  const size_t above = std::min(below + 1, values.size() - 1);
  return values[below] + (place - std::floor(place)) * (values[above] - values[below]);
}

// Seconds a call; 0 when one fails.
double timeOf(const Workload &workload, Side *side, int calls) {
  const double start = processorTime();
  for (int i = 0; i < calls; i++) {
    if (!workload.call(side)) return 0;
  }
  return (processorTime() - start) / calls;
}

// Number of calls of a side in a round.
int callsOf(double seconds, double block) {
  return std::max(1, static_cast<int>(std::ceil(block / std::max(seconds, 1e-9))));
}

Times summary(const std::vector<double> &ours, const std::vector<double> &side) {
  Times t;
  std::vector<double> ratios;
  for (size_t i = 0; i < side.size(); i++) ratios.push_back(side[i] / ours[i]);
  t.median = quantile(side, 0.5);
  t.best = quantile(side, 0);
  t.ratioOfMedians = quantile(ratios, 0.5);
  t.ratioOfBest = t.best / quantile(ours, 0);
  t.lowerQuarter = quantile(ratios, 0.25);
  t.upperQuarter = quantile(ratios, 0.75);
  return t;
}

}  // namespace

std::vector<Times> measure(Workload *workload, const Effort &effort) {
  std::vector<Side> &sides = workload->sides();
  std::vector<std::vector<double>> times(sides.size());
  std::vector<int> calls;
  double round = 0;
  for (Side &side : sides) {
    const double warm = timeOf(*workload, &side, 1), once = timeOf(*workload, &side, 1);
    if (warm <= 0 || once <= 0) return {};
    calls.push_back(callsOf(once, effort.block));
    round += calls.back() * once;
  }
  const int rounds =
      std::clamp(static_cast<int>(effort.seconds / round), effort.fewestRounds, effort.mostRounds);
  for (int i = 0; i <= rounds; i++) {
    for (size_t k = 0; k < sides.size(); k++) {
      const size_t s = (k + static_cast<size_t>(i)) % sides.size();
      const double t = timeOf(*workload, &sides[s], calls[s]);
      if (t <= 0) return {};
      if (i > 0) times[s].push_back(t);
    }
  }
  std::vector<Times> result;
  for (const std::vector<double> &side : times) result.push_back(summary(times[0], side));
  return result;
}

}  // namespace jpgbench
