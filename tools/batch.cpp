// SPDX-License-Identifier: MIT
#include "batch.h"

#include <cerrno>
#include <map>

#include "files.h"
#include "jpg.h"
#include "processes.h"
#include "report.h"

namespace jpgtool {
namespace {

// The name of a file without its folder and its extension.
std::string stemOf(const std::string &name) {
  const size_t slash = name.rfind('/');
  const std::string base = slash == std::string::npos ? name : name.substr(slash + 1);
  const size_t dot = base.rfind('.');
  return dot == std::string::npos || dot == 0 ? base : base.substr(0, dot);
}

}  // namespace

bool isBatch(const Options &options) {
  const std::string out = options.get("-o");
  return options.files.size() > 1 || (!out.empty() && out.back() == '/') || isFolder(out);
}

bool planBatch(const Options &options, const std::string &extension, std::vector<BatchItem> *items,
               std::string *why) {
  std::string folder = options.get("-o");
  if (folder.empty() || (folder.back() != '/' && !isFolder(folder))) {
    *why = "several files go into a folder: -o DIR/";
    return false;
  }
  if (folder.back() != '/') folder += '/';
  std::map<std::string, std::string> takenBy;
  for (const std::string &file : options.files) {
    std::string out = folder;
    out += stemOf(file) + "." + extension;
    if (file == "-") {
      *why = "standard input has no name for a file in a folder";
    } else if (takenBy.count(out) != 0) {
      *why = takenBy[out];
      *why += " and " + file + " would both become " + out;
    }
    takenBy[out] = file;
    items->push_back({file, out});
  }
  return why->empty();
}

bool parseJobs(const Options &options, long *jobs, std::string *why) {
  constexpr long kMost = 256;
  const long processors = static_cast<long>(processorCount());
  *jobs = processors > kMost ? kMost : processors;
  if (!options.has("-j") || parseNumber(options.get("-j"), 1, kMost, jobs)) return true;
  *why = "-j takes a number from 1 to 256";
  return false;
}

int runBatch(const std::string &what, const std::string &folder,
             const std::vector<BatchItem> &items, long jobs,
             const std::function<int(const BatchItem &)> &work) {
  if (!makeFolder(folder)) {
    return fail(folder, "cannot make the folder: " + reasonOf(errno), JPG_E_OPEN_FAILED);
  }
  return runProcesses(what, items, jobs, work);
}

}  // namespace jpgtool
