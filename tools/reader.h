// SPDX-License-Identifier: MIT
// An open JPEG stream and the contents of its segments.
#ifndef JPGTOOL_READER_H
#define JPGTOOL_READER_H

#include <cstdint>
#include <string>
#include <vector>

#include "input.h"
#include "jpg.h"
#include "limits.h"

namespace jpgtool {

// Owner of a read handle.
class Reader {
 public:
  Reader() = default;
  ~Reader() { close(); }
  Reader(const Reader &) = delete;
  Reader &operator=(const Reader &) = delete;

  // `flags` as for jpgReadPrologFromMemory(); of the limits, only maxMemory is checked. 0, or a
  // code; `why` is set if there is a more precise reason than the code. The input must outlive it.
  uint32_t open(const Input &input, uint32_t flags, const Limits &limits, std::string *why);
  void close();
  JPGHANDLE handle() const { return handle_; }

 private:
  JPGHANDLE handle_ = nullptr;
};

// The frame header's values.
struct Frame {
  uint32_t width = 0;
  uint32_t height = 0;  // 0: given by DNL
  uint32_t channels = 0;
  uint32_t precision = 0;
  uint32_t process = 0;  // a JPG_PROCESS_ value
};

uint32_t readFrame(JPGHANDLE handle, Frame *frame);
const char *processName(uint32_t process);

struct Segment {
  uint16_t marker;
  uint64_t offset;  // of the marker in the file
  uint32_t length;  // data bytes
};

struct Component {
  uint32_t id, h, v, table;
};

// The values of the header segments besides the frame's.
struct Headers {
  std::vector<Segment> segments;
  std::vector<Component> components;
  uint32_t restartInterval = 0;
  bool jfif = false;
  uint32_t densityUnits = 0, xDensity = 0, yDensity = 0;
  int adobeTransform = -1;  // -1: no Adobe segment
};

// The components of a frame header's data.
std::vector<Component> componentsOf(const uint8_t *data, size_t size);

// Walks the segments up to the first scan; passes over bytes between them that are no marker.
Headers headersOf(const Input &input);

std::string markerName(uint16_t marker);

// True for SOF markers of any kind.
bool isFrame(uint32_t code);

// The results of a pass over the whole file without decoding.
struct StreamScan {
  std::vector<uint64_t> scanOffsets;  // of the SOS markers
  uint32_t dnlLines = 0;              // of the first DNL segment, 0 if none
  uint32_t restarts = 0;              // restart markers of the first scan
  bool restartsInOrder = true;        // RST0 to RST7 in turn
};

StreamScan scanStream(const Input &input);

}  // namespace jpgtool

#endif
