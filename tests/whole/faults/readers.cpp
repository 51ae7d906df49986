// SPDX-License-Identifier: MIT
// Scenarios that read into rectangles.
#include <algorithm>

#include "material.h"
#include "scenarios.h"
#include "support/stored.h"

namespace faults {
namespace {

// Room for a stream's picture with 3 bytes a pixel.
class Canvas {
 public:
  explicit Canvas(const Stream &stream) : Canvas(stream.width, stream.height) {}
  Canvas(int32_t width, int32_t height)
      : width_(width), bytes_(static_cast<size_t>(3 * width) * static_cast<size_t>(height + 16)) {
    expectRows(width, height);
  }

  // These rows are all that is going to be stored, and all of it is.
  void expectRows(int32_t width, int32_t rows) {
    std::fill(bytes_.begin(), bytes_.end(), uint8_t{0});
    jpgtest::markRowsUnstored(rect(), rows, static_cast<size_t>(3 * width));
  }

  JpgRect rect(int32_t row = 0) {
    JpgRect r = {};
    r.width = width_;
    r.stride = 3 * width_;
    r.bitsPerPixel = 24;
    r.bits = bytes_.data() + row * r.stride;
    return r;
  }
  const Bytes &bytes() const { return bytes_; }

 private:
  int32_t width_;
  Bytes bytes_;
};

// A picture is folded in when all went well; after a fault nobody knows what is there.
void fold(Work &work, bool good, const Canvas &canvas) {
  if (good) work.fold(canvas.bytes().data(), canvas.bytes().size());
}

bool openFile(Work &work, const Stream &stream, JPGHANDLE *handle) {
  return NOTED(jpgReadPrologFromFile, fileOf(stream).c_str(), 0, 0, 0, handle);
}

bool openMemory(Work &work, const Bytes &bytes, uint32_t flags, JPGHANDLE *handle) {
  return NOTED(jpgReadPrologFromMemory, bytes.data(), static_cast<int32_t>(bytes.size()), flags,
               handle);
}

void askGetters(Work &work, JPGHANDLE h) {
  uint32_t values[8] = {};
  NOTED(jpgReadGetCodingProcess, h, &values[0]);
  NOTED(jpgReadGetImageSize, h, &values[1], &values[2]);
  NOTED(jpgReadGetNumberOfChannels, h, &values[3]);
  NOTED(jpgReadGetSamplePrecision, h, &values[4]);
  NOTED(jpgReadScaleOutputGetImageSize, h, &values[5], &values[6], JPG_SCALE_QUARTER);
  work.fold(values, sizeof(values));
}

void readSequential(Work &work) {
  const Stream &stream = material().sequential;
  JPGHANDLE h = nullptr;
  if (!openFile(work, stream, &h)) return;
  askGetters(work, h);
  Canvas canvas(stream);
  bool good = true;
  for (int32_t y = 0; good && y < stream.height; y += 16) {
    const JpgRect rect = canvas.rect(y);
    good = NOTED(jpgReadToRect, h, &rect, 16);
  }
  fold(work, good, canvas);
  NOTED(jpgReadEpilog, h);
}

void readComponents(Work &work) {
  const Stream &stream = material().sequential;
  JPGHANDLE h = nullptr;
  if (!openMemory(work, stream.bytes, 0, &h)) return;
  NOTED(jpgReadSetNoColorConversion, h);
  Canvas canvas(stream);
  const JpgRect rect = canvas.rect();
  fold(work, NOTED(jpgReadToRect, h, &rect, stream.height), canvas);
  NOTED(jpgReadEpilog, h);
}

// All data of the current segment.
bool readSegment(Work &work, JPGHANDLE h, uint32_t length) {
  Bytes data(length + 1);
  jpgtest::markUnstored(data.data(), length);
  for (uint32_t at = 0; at < length;) {
    constexpr uint32_t kMost = 1000;
    uint32_t count = 0;
    if (!NOTED(jpgReadReadMarkerData, h, data.data() + at,
               kMost < length - at ? kMost : length - at, &count)) {
      return false;
    }
    at += count;
  }
  work.fold(data.data(), data.size());
  return true;
}

// The comment behind the Exif segment begins in the file's first block and ends in its second.
void readSegments(Work &work) {
  const Stream &stream = material().exif;
  JPGHANDLE h = nullptr;
  if (!openFile(work, stream, &h)) return;
  uint16_t marker = 0;
  uint32_t length = 0;
  bool good = NOTED(jpgReadSeekMarkerSegment, h, JPG_SEGMENT_FIRST, &marker, &length);
  for (int i = 0; good && i < 8; i++) {
    good = readSegment(work, h, length);
    NOTED(jpgReadSeekMarkerData, h);
    if (good) good = NOTED(jpgReadSeekMarkerSegment, h, JPG_SEGMENT_NEXT, &marker, &length);
  }
  Canvas canvas(stream);
  const JpgRect rect = canvas.rect();
  fold(work, NOTED(jpgReadToRect, h, &rect, stream.height), canvas);
  NOTED(jpgReadEpilog, h);
}

void readIntervals(Work &work) {
  const Stream &stream = material().sequential;
  JPGHANDLE h = nullptr;
  if (!openFile(work, stream, &h)) return;
  Canvas canvas(stream);
  canvas.expectRows(stream.width, 32);
  bool good = NOTED(jpgReadSeekRestartMarker, h, 2, JPG_RESTART_FROM_START);
  JpgRect rect = canvas.rect();
  if (good) good = NOTED(jpgReadToRect, h, &rect, 16);
  if (good) good = NOTED(jpgReadSeekRestartMarker, h, 0, JPG_RESTART_FROM_START);
  rect = canvas.rect(16);
  if (good) good = NOTED(jpgReadToRect, h, &rect, 16);
  fold(work, good, canvas);
  NOTED(jpgReadEpilog, h);
}

void readPieces(Work &work) {
  const std::vector<Bytes> &pieces = material().pieces;
  JPGHANDLE h = nullptr;
  if (!openMemory(work, pieces[0], JPG_READ_PARTIAL_BITSTREAM, &h)) return;
  Canvas canvas(kPiecesWidth, kPiecesHeight);
  bool good = true;
  for (size_t i = 1; good && i < pieces.size(); i++) {
    const auto size = static_cast<uint32_t>(pieces[i].size());
    good = NOTED(jpgReadSetPartialBitstream, h, pieces[i].data(), size);
    const JpgRect rect = canvas.rect(static_cast<int32_t>(i - 1) * kPieceLines);
    if (good) good = NOTED(jpgReadToRect, h, &rect, kPieceLines);
  }
  fold(work, good, canvas);
  NOTED(jpgReadEpilog, h);
}

void readScaled(Work &work) {
  const Stream &stream = material().sequential;
  JPGHANDLE h = nullptr;
  if (!openFile(work, stream, &h)) return;
  for (int32_t scale = JPG_SCALE_EIGHTH; scale <= JPG_SCALE_FULL; scale++) {
    Canvas canvas(stream);
    const JpgRect rect = canvas.rect();
    const int32_t shift = JPG_SCALE_FULL - scale;
    const int32_t lines = (stream.height + (1 << shift) - 1) >> shift;
    canvas.expectRows((stream.width + (1 << shift) - 1) >> shift, lines);
    fold(work, NOTED(jpgReadScaleOutputToRect, h, &rect, lines, scale), canvas);
  }
  NOTED(jpgReadEpilog, h);
}

constexpr uint32_t kOptions = JPG_READ_ACCURATE | JPG_READ_SMOOTH;

// With options, at full size and at a smaller one, whose planes are another block.
void readSmoothly(Work &work) {
  const Stream &stream = material().sequential;
  JPGHANDLE h = nullptr;
  if (!openMemory(work, stream.bytes, kOptions, &h)) return;
  Canvas canvas(stream);
  bool good = true;
  for (int32_t y = 0; good && y < stream.height; y += 16) {
    const JpgRect rect = canvas.rect(y);
    good = NOTED(jpgReadToRect, h, &rect, 16);
  }
  fold(work, good, canvas);
  Canvas half(stream);
  const int32_t lines = (stream.height + 1) / 2;
  half.expectRows((stream.width + 1) / 2, lines);
  const JpgRect rect = half.rect();
  fold(work, NOTED(jpgReadScaleOutputToRect, h, &rect, lines, JPG_SCALE_HALF), half);
  NOTED(jpgReadEpilog, h);
}

// Every process by one call, after a walk along the segments and with another one in between.
void readLeniently(Work &work) {
  for (const Stream *stream :
       {&material().sequential, &material().progressive, &material().lossless}) {
    JPGHANDLE h = nullptr;
    if (!openMemory(work, stream->bytes, kOptions | JPG_READ_LENIENT, &h)) continue;
    Canvas canvas(*stream);
    bool good = true;
    for (int32_t y = 0; good && y < stream->height; y += 10) {
      uint16_t marker = 0;
      uint32_t length = 0;
      NOTED(jpgReadSeekMarkerSegment, h, JPG_SEGMENT_FIRST, &marker, &length);
      NOTED(jpgReadSeekMarkerSegment, h, JPG_SEGMENT_DAMAGE, &marker, &length);
      const JpgRect rect = canvas.rect(y);
      good = NOTED(jpgReadToRect, h, &rect, 10);
    }
    fold(work, good, canvas);
    NOTED(jpgReadEpilog, h);
  }
}

// From a file, whose reads may fail in the middle of the data.
void readFileLeniently(Work &work) {
  const Stream &stream = material().progressive;
  JPGHANDLE h = nullptr;
  if (!NOTED(jpgReadPrologFromFile, fileOf(stream).c_str(), 0, 0, JPG_READ_LENIENT, &h)) return;
  Canvas canvas(stream);
  const JpgRect rect = canvas.rect();
  fold(work, NOTED(jpgReadProgressiveToRect, h, &rect, stream.height, JPG_PROGRESSIVE_NEXT_SCAN),
       canvas);
  NOTED(jpgReadScaleOutputToRect, h, &rect, 5, JPG_SCALE_HALF);
  NOTED(jpgReadEpilog, h);
}

void readProgressiveSmoothly(Work &work) {
  const Stream &stream = material().progressive;
  JPGHANDLE h = nullptr;
  if (!openMemory(work, stream.bytes, kOptions, &h)) return;
  Canvas canvas(stream);
  const JpgRect rect = canvas.rect();
  fold(work, NOTED(jpgReadProgressiveToRect, h, &rect, stream.height, JPG_PROGRESSIVE_ALL_SCANS),
       canvas);
  NOTED(jpgReadEpilog, h);
}

void readProgressive(Work &work) {
  const Stream &stream = material().progressive;
  for (const int32_t mode : {JPG_PROGRESSIVE_ALL_SCANS, JPG_PROGRESSIVE_NEXT_SCAN}) {
    JPGHANDLE h = nullptr;
    if (!openFile(work, stream, &h)) return;
    Canvas canvas(stream);
    const JpgRect rect = canvas.rect();
    fold(work, NOTED(jpgReadProgressiveToRect, h, &rect, stream.height, mode), canvas);
    NOTED(jpgReadEpilog, h);
  }
}

void readLossless(Work &work) {
  const Stream &stream = material().lossless;
  JPGHANDLE h = nullptr;
  if (!openFile(work, stream, &h)) return;
  Canvas canvas(stream);
  const JpgRect rect = canvas.rect();
  fold(work, NOTED(jpgReadSpatialToRect, h, &rect, stream.height), canvas);
  NOTED(jpgReadEpilog, h);
}

}  // namespace

void addReaders(std::vector<Scenario> &all) {
  all.push_back({"sequential file", readSequential});
  all.push_back({"components from memory", readComponents});
  all.push_back({"marker segments", readSegments});
  all.push_back({"restart intervals", readIntervals});
  all.push_back({"pieces from memory", readPieces});
  all.push_back({"scaled output", readScaled});
  all.push_back({"progressive file", readProgressive});
  all.push_back({"lossless file", readLossless});
  all.push_back({"interpolated chroma", readSmoothly});
  all.push_back({"lenient", readLeniently});
  all.push_back({"lenient, from a file", readFileLeniently});
  all.push_back({"progressive, interpolated chroma", readProgressiveSmoothly});
}

}  // namespace faults
