// SPDX-License-Identifier: MIT
// Scenarios that write from rectangles.
#include "material.h"
#include "scenarios.h"

namespace faults {
namespace {

// Noise, so that the streams are longer than one buffer.
constexpr int32_t kWidth = 48, kHeight = 40;

const Bytes &pixels() {
  static const Bytes noise = [] {
    golden::Rule rule(5);
    Bytes out(static_cast<size_t>(3 * kWidth * kHeight));
    for (uint8_t &p : out) p = static_cast<uint8_t>(rule.between(0, 255));
    return out;
  }();
  return noise;
}

JpgRect rectAt(Bytes &copy, int32_t row) {
  JpgRect rect = {};
  rect.width = kWidth;
  rect.height = kHeight;
  rect.stride = 3 * kWidth;
  rect.bitsPerPixel = 24;
  rect.channels = 3;
  rect.bitsPerSample = 8;
  rect.bits = copy.data() + row * rect.stride;
  return rect;
}

void set(Work &work, JPGHANDLE h) {
  NOTED(jpgWriteSetImageSize, h, kWidth, kHeight);
  NOTED(jpgWriteSetSubsamplingFactor, h, 0x111111);
  NOTED(jpgWriteSetNumberOfComponents, h, 3);
  NOTED(jpgWriteSetQuantizationFactor, h, 100);
  NOTED(jpgWriteSetRestartInterval, h, 6);
}

bool writeSegments(Work &work, JPGHANDLE h) {
  const Bytes text(5000, 'x');  // longer than the stage between the writer and the file
  uint32_t written = 0;
  return NOTED(jpgWriteWriteMarkerSegment, h, 0xFFFE, text.data(), 5000) &&
         NOTED(jpgWriteWriteMarkerCode, h, 0xFFE5, 4200) &&
         NOTED(jpgWriteWriteMarkerData, h, text.data(), 4199, &written) &&
         NOTED(jpgWriteWriteMarkerData, h, text.data(), 1, nullptr);
}

// Many small segments, so that the stage is full within the header of one of them.
bool writeSmallSegments(Work &work, JPGHANDLE h) {
  bool good = true;
  for (int i = 0; good && i < 900; i++) {
    good = NOTED(jpgWriteWriteMarkerCode, h, 0xFFE6, 1) &&
           NOTED(jpgWriteWriteMarkerData, h, "y", 1, nullptr);
  }
  return good;
}

bool writeRows(Work &work, JPGHANDLE h) {
  Bytes copy = pixels();
  bool good = true;
  for (int32_t y = 0; good && y < kHeight; y += 8) {
    const JpgRect rect = rectAt(copy, y);
    good = NOTED(jpgWriteFromRect, h, &rect, 8);
  }
  return good;
}

void closeMemory(Work &work, JPGHANDLE h, bool good) {
  void *data = nullptr;
  uint32_t size = 0;
  const bool closed = NOTED(jpgWriteEpilogToMemory, h, &data, &size);
  if (good && closed) work.fold(data, size);
  if (data != nullptr) NOTED(jpgWriteFreeBitstream, data);
}

// What the file holds is folded in when all went well.
void closeFile(Work &work, JPGHANDLE h, bool good) {
  if (!NOTED(jpgWriteEpilogToFile, h) || !good) return;
  const Bytes bytes = outputBytes();
  work.fold(bytes.data(), bytes.size());
}

void writeFile(Work &work) {
  JPGHANDLE h = nullptr;
  if (!NOTED(jpgWritePrologToFile, outputFile().c_str(), 0, &h)) return;
  set(work, h);
  closeFile(work, h, writeSegments(work, h) && writeRows(work, h));
}

void writeFileOfSegments(Work &work) {
  JPGHANDLE h = nullptr;
  if (!NOTED(jpgWritePrologToFile, outputFile().c_str(), 0, &h)) return;
  closeFile(work, h, writeSmallSegments(work, h) && writeRows(work, h));
}

void writeLosslessFile(Work &work) {
  JPGHANDLE h = nullptr;
  if (!NOTED(jpgWritePrologToFile, outputFile().c_str(), 0, &h)) return;
  NOTED(jpgWriteSetSpatialPredictor, h, 7);
  Bytes copy = pixels();
  JpgRect rect = rectAt(copy, 0);
  bool good = NOTED(jpgWriteSpatialFromRect, h, &rect, 20);
  rect = rectAt(copy, 20);
  if (good) good = NOTED(jpgWriteSpatialFromRect, h, &rect, 20);
  closeFile(work, h, good);
}

void writeMemory(Work &work) {
  JPGHANDLE h = nullptr;
  if (!NOTED(jpgWritePrologToMemory, 0, &h)) return;
  set(work, h);
  NOTED(jpgWriteSetNoColorConversion, h);
  closeMemory(work, h, writeSegments(work, h) && writeRows(work, h));
}

void writeLosslessMemory(Work &work) {
  JPGHANDLE h = nullptr;
  if (!NOTED(jpgWritePrologToMemory, 0, &h)) return;
  Bytes copy = pixels();
  const JpgRect rect = rectAt(copy, 0);
  closeMemory(work, h, NOTED(jpgWriteSpatialFromRect, h, &rect, kHeight));
}

void writePieces(Work &work) {
  JPGHANDLE h = nullptr;
  if (!NOTED(jpgWritePrologToMemory, JPG_WRITE_PARTIAL_BITSTREAM, &h)) return;
  set(work, h);
  Bytes copy = pixels();
  bool good = true;
  for (int32_t y = 0; good && y < kHeight; y += 8) {
    void *data = nullptr;
    uint32_t size = 0;
    good = NOTED(jpgWriteGetPartialBitstream, h, &data, &size);
    if (good) work.fold(data, size);
    if (data != nullptr && !NOTED(jpgWriteFreeBitstream, data)) good = false;
    const JpgRect rect = rectAt(copy, y);
    if (good) good = NOTED(jpgWriteFromRect, h, &rect, 8);
  }
  closeMemory(work, h, good);
}

// Pictures that are held until the epilog. The rows give the file, so that the file's writes and
// the memory of the tables fail within the epilog.
template <uint32_t kOptions, bool kLossless>
void writeHeld(Work &work) {
  JPGHANDLE h = nullptr;
  if (!NOTED(jpgWritePrologToFile, outputFile().c_str(), kOptions, &h)) return;
  NOTED(jpgWriteSetQuantizationFactor, h, 100);
  NOTED(jpgWriteSetRestartInterval, h, kLossless ? kWidth : 5);
  Bytes copy = pixels();
  bool good = writeSegments(work, h);
  for (int32_t y = 0; good && y < kHeight; y += 16) {
    const JpgRect rect = rectAt(copy, y);
    const auto lines = static_cast<uint32_t>(kHeight - y < 16 ? kHeight - y : 16);
    good = kLossless ? NOTED(jpgWriteSpatialFromRect, h, &rect, lines)
                     : NOTED(jpgWriteFromRect, h, &rect, lines);
  }
  closeFile(work, h, good);
}

template <uint32_t kOptions>
void writeHeldMemory(Work &work) {
  JPGHANDLE h = nullptr;
  if (!NOTED(jpgWritePrologToMemory, kOptions, &h)) return;
  closeMemory(work, h, writeRows(work, h));
}

}  // namespace

void addWriters(std::vector<Scenario> &all) {
  all.push_back({"baseline file", writeFile});
  all.push_back({"file of small segments", writeFileOfSegments});
  all.push_back({"lossless file", writeLosslessFile});
  all.push_back({"baseline memory", writeMemory});
  all.push_back({"lossless memory", writeLosslessMemory});
  all.push_back({"pieces to memory", writePieces});
  all.push_back({"averaged file", writeHeld<JPG_WRITE_AVERAGE, false>});
  all.push_back({"optimized file", writeHeld<JPG_WRITE_OPTIMIZE, false>});
  all.push_back({"progressive file", writeHeld<JPG_WRITE_PROGRESSIVE, false>});
  all.push_back({"optimized lossless file", writeHeld<JPG_WRITE_OPTIMIZE, true>});
  all.push_back({"optimized memory", writeHeldMemory<JPG_WRITE_OPTIMIZE>});
  all.push_back({"progressive memory", writeHeldMemory<JPG_WRITE_PROGRESSIVE | JPG_WRITE_AVERAGE>});
}

}  // namespace faults
