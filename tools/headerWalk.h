// A walk over the marker segments ahead of the first scan, without opening the file's picture:
// what the frame header claims, before the library allocates anything for it, and where a
// header goes wrong, which a failed prolog doesn't tell.
#ifndef JPGTOOL_HEADERWALK_H
#define JPGTOOL_HEADERWALK_H

#include <cstdint>
#include <string>
#include <vector>

#include "reader.h"

namespace jpgtool {

struct FrameHeader {
  uint16_t marker = 0;  // SOFn
  uint64_t offset = 0;  // of the marker in the file
  uint32_t width = 0;
  uint32_t height = 0;
  std::vector<Component> components;
};

struct HeaderWalk {
  std::vector<FrameHeader> frames;  // one in a valid file
  std::string trouble;              // what ended the walk, with its offset; empty: the scan
};

HeaderWalk walkHeader(const std::string &file);

// Why a prolog with these flags refused the file, as far as a walk tells: with the offset in
// the file; empty when it doesn't.
std::string whyRefused(const std::string &file, uint32_t flags, uint32_t code);

// Bytes that the library holds for a frame between calls: the coefficients of a progressive
// picture, and next to nothing for others.
uint64_t frameMemory(const FrameHeader &frame);

}  // namespace jpgtool

#endif
