// SPDX-License-Identifier: MIT
#include "limits.h"

#include "headerWalk.h"
#include "jpg.h"

namespace jpgtool {
namespace {

// A number with an optional suffix K, M or G, for powers of `unit`.
bool parseAmount(std::string text, uint64_t unit, uint64_t *amount) {
  static const std::string kSuffixes = "KMG";
  const size_t suffix = text.empty() ? std::string::npos : kSuffixes.find(text.back());
  uint64_t factor = 1;
  if (suffix != std::string::npos) {
    text.pop_back();
    for (size_t i = 0; i <= suffix; i++) factor *= unit;
  }
  constexpr size_t kMostDigits = 12;
  if (text.empty() || text.size() > kMostDigits) return false;
  uint64_t number = 0;
  for (const char digit : text) {
    if (digit < '0' || digit > '9') return false;
    number = number * 10 + static_cast<uint64_t>(digit - '0');
  }
  if (number == 0 || number > UINT64_MAX / factor) return false;
  *amount = number * factor;
  return true;
}

}  // namespace

bool parseLimits(const Options &options, Limits *limits, std::string *why) {
  const std::string pixels = options.get("--max-pixels");
  const std::string memory = options.get("--max-memory");
  if (options.has("--max-pixels") && !parseAmount(pixels, 1000, &limits->maxPixels)) {
    *why =
        "--max-pixels takes a number of pixels, with K, M or G for thousands, millions or "
        "thousands of millions";
    return false;
  }
  if (options.has("--max-memory") && !parseAmount(memory, 1024, &limits->maxMemory)) {
    *why = "--max-memory takes a number of bytes, with K, M or G for KiB, MiB or GiB";
    return false;
  }
  return true;
}

uint32_t checkPixels(const Limits &limits, uint64_t width, uint64_t height, std::string *why) {
  if (width * height <= limits.maxPixels) return JPG_OK;
  *why = "its header gives " + std::to_string(width) + " x " + std::to_string(height) +
         " pixels, more than --max-pixels " + std::to_string(limits.maxPixels);
  return JPG_E_UNSUPPORTED;
}

uint32_t checkMemory(const Limits &limits, uint64_t bytes, std::string *why) {
  if (bytes <= limits.maxMemory) return JPG_OK;
  *why = "it takes " + std::to_string(bytes) + " bytes of memory, more than --max-memory " +
         std::to_string(limits.maxMemory);
  return JPG_E_UNSUPPORTED;
}

uint32_t checkOpening(const Limits &limits, const Input &input, std::string *why) {
  return checkMemory(limits, openingMemory(input), why);
}

}  // namespace jpgtool
