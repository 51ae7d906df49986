// SPDX-License-Identifier: MIT
// Work on many files side by side, as far as the system has that.
#ifndef JPGTOOL_PROCESSES_H
#define JPGTOOL_PROCESSES_H

#include <functional>
#include <string>
#include <vector>

#include "batch.h"

namespace jpgtool {

// Runs `work` for each item, up to `jobs` at a time, with one progress line. The error output is
// shown at the end, in the order of the items. The result is the worst exit status: failed, then
// damaged, then ok.
int runProcesses(const std::string &what, const std::vector<BatchItem> &items, long jobs,
                 const std::function<int(const BatchItem &)> &work);

}  // namespace jpgtool

#endif
