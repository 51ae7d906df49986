// SPDX-License-Identifier: MIT
// Work on many files: output names, and a process for each file.
#ifndef JPGTOOL_BATCH_H
#define JPGTOOL_BATCH_H

#include <functional>
#include <string>
#include <vector>

#include "options.h"

namespace jpgtool {

struct BatchItem {
  std::string in;
  std::string out;
};

// True when -o names a folder (it ends in / or is one), or must, because there are several files.
bool isBatch(const Options &options);

// Lists the files of a batch, each with its output in the folder -o: its own name with another
// extension. False, with the reason, if two files would have the same output, or for standard
// input.
bool planBatch(const Options &options, const std::string &extension, std::vector<BatchItem> *items,
               std::string *why);

// The number of processes that -j asks for; without -j the number of processors. False, with the
// reason, for a bad value.
bool parseJobs(const Options &options, long *jobs, std::string *why);

// Makes the folder -o and runs `work` for each item in a process of its own, up to `jobs` at a
// time, with one progress line. The error output of the processes is shown at the end, in the
// order of the items. The result is the worst exit status: failed, then damaged, then ok.
int runBatch(const std::string &what, const std::string &folder,
             const std::vector<BatchItem> &items, long jobs,
             const std::function<int(const BatchItem &)> &work);

}  // namespace jpgtool

#endif
