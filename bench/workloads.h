// The workloads: pairs of calls that do the same work, the library's and an independent
// codec's.
#ifndef JPG_BENCH_WORKLOADS_H
#define JPG_BENCH_WORKLOADS_H

#include <functional>
#include <string>
#include <vector>

#include "picture.h"

namespace jpgbench {

struct Workload {
  std::string name;               // "decode 4:2:0 q90"
  std::string size;               // "12 MP"
  double megapixels;              // of one call
  double mustReach;               // least ratio of the speeds, ours to theirs
  std::function<bool()> prepare;  // makes the input; before the others
  std::function<bool()> ours, theirs;
};

// All workloads, with photographs of about so many megapixels from `folder` if it exists.
std::vector<Workload> makeWorkloads(const std::string &folder, const std::vector<double> &sizes);

}  // namespace jpgbench

#endif
