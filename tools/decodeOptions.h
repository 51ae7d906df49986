// SPDX-License-Identifier: MIT
// The command line of jpgtool decode.
#ifndef JPGTOOL_DECODEOPTIONS_H
#define JPGTOOL_DECODEOPTIONS_H

#include <cstdint>
#include <string>
#include <vector>

#include "batch.h"
#include "rowSource.h"

namespace jpgtool {

// One file's work.
struct DecodeJob {
  std::string in;
  std::string out;
  std::string eachScan;  // folder of a picture per scan; empty: one picture
  std::string kind;      // extension that stands for that of `out`
  ReadSettings settings;
  uint16_t bits = 0;  // of a bitmap; 0: band by band
};

// The work of a command: a job, or a batch of files with the same settings.
struct DecodePlan {
  DecodeJob job;
  std::vector<BatchItem> batch;  // empty: the job alone
  std::string folder;            // of the batch
  long jobs = 1;                 // processes at a time
};

bool parseDecode(const std::vector<std::string> &words, DecodePlan *plan, std::string *why);

}  // namespace jpgtool

#endif
