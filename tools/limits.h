// SPDX-License-Identifier: MIT
// Limits on a file's pixels and memory, checked against its header before decoding.
#ifndef JPGTOOL_LIMITS_H
#define JPGTOOL_LIMITS_H

#include <cstdint>
#include <string>

#include "input.h"
#include "options.h"

namespace jpgtool {

struct Limits {
  uint64_t maxPixels = 500000000;          // width times height
  uint64_t maxMemory = uint64_t{2} << 30;  // bytes
};

// The options --max-pixels and --max-memory. False, with the reason, for a bad value.
bool parseLimits(const Options &options, Limits *limits, std::string *why);

// Each is 0, or a code with the reason.
uint32_t checkPixels(const Limits &limits, uint64_t width, uint64_t height, std::string *why);
uint32_t checkMemory(const Limits &limits, uint64_t bytes, std::string *why);

// Checks the memory that the library allocates while it opens the file.
uint32_t checkOpening(const Limits &limits, const Input &input, std::string *why);

}  // namespace jpgtool

#endif
