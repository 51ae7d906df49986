// SPDX-License-Identifier: MIT
// processes.h for Windows: one file after the other.
#include "processes.h"
#include "report.h"

namespace jpgtool {

int runProcesses(const std::string &what, const std::vector<BatchItem> &items, long jobs,
                 const std::function<int(const BatchItem &)> &work) {
  (void)jobs;
  size_t done = 0, failed = 0, damaged = 0;
  Progress progress(what + " " + std::to_string(items.size()) + " files");
  for (const BatchItem &item : items) {
    const int status = work(item);
    failed += status != kExitOk && status != kExitDamaged ? 1 : 0;
    damaged += status == kExitDamaged ? 1 : 0;
    progress.update(++done, items.size());
  }
  if (failed + damaged != 0) reportBatch(items.size(), failed, damaged);
  return failed != 0 ? kExitFailed : damaged != 0 ? kExitDamaged : kExitOk;
}

}  // namespace jpgtool
