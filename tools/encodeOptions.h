// SPDX-License-Identifier: MIT
// The command line of jpgtool encode.
#ifndef JPGTOOL_ENCODEOPTIONS_H
#define JPGTOOL_ENCODEOPTIONS_H

#include <cstdint>
#include <string>
#include <vector>

#include "batch.h"
#include "limits.h"
#include "options.h"

namespace jpgtool {

// One file's work.
struct EncodeJob {
  std::string in, out, comment, icc, copy;
  long quality = 90, restart = 0, jfif = 0, predictor = 1;
  uint32_t sampling = 0x00221111;
  uint32_t flags = 0;  // of the prolog
  bool raw = false, lossless = false, anyPredictor = false, hasComment = false, grey = false;
  bool copyExif = false, copyIcc = false, copyComment = false, asStored = false;
  Limits limits;
};

// The work of a command: a job, or a batch of files with the same settings.
struct EncodePlan {
  EncodeJob job;
  std::vector<BatchItem> batch;  // empty: the job alone
  std::string folder;            // of the batch
  long jobs = 1;                 // processes at a time
};

extern const std::vector<OptionRule> kEncodeRules;

bool parseEncode(const std::vector<std::string> &words, EncodePlan *plan, std::string *why);

}  // namespace jpgtool

#endif
