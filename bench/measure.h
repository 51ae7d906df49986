// SPDX-License-Identifier: MIT
// Measures a workload's sides in turn.
#ifndef JPG_BENCH_MEASURE_H
#define JPG_BENCH_MEASURE_H

#include <vector>

#include "workloads.h"

namespace jpgbench {

struct Effort {
  double block = 0.02;   // seconds of one side's calls in a round, at least
  double seconds = 2.5;  // for all rounds of a workload, unless the fewest take longer
  int mostRounds = 21;
  int fewestRounds = 7;
};

// Times of one side; ratios are the side's time divided by the library's.
struct Times {
  double median = 0, best = 0;                // seconds a call
  double ratioOfMedians = 1;                  // the median of the rounds' ratios
  double ratioOfBest = 1;                     // the best times' ratio
  double lowerQuarter = 1, upperQuarter = 1;  // between them lies half of the rounds' ratios
};

// Measures the processor time of rounds, in each of which every side has its turn; each round
// begins with another side, and the first round is discarded. Empty when a call fails.
std::vector<Times> measure(Workload *workload, const Effort &effort);

}  // namespace jpgbench

#endif
