// SPDX-License-Identifier: MIT
// Baseline encoding by every setting, and each stream read again in every way.
#include "suite.h"

namespace golden {
namespace {

using jpgtest::append;

enum Option : uint32_t {
  kRgb = 1,           // no colour conversion
  kBottomUp = 2,      // rows in memory from the last to the first
  kNoHeight = 4,      // told by DNL
  kSegments = 8,      // JFIF, a comment, an APP segment in pieces
  kHeightBefore = 16  // told by jpgWriteSetImageSize()
};

struct EncodeCase {
  const char *name;
  int32_t width, height, channels;
  uint32_t sampling;
  int32_t quality, restart;
  int32_t band;  // lines a call, 0: all at once
  uint32_t options;
};

constexpr EncodeCase kCases[] = {
    {"grey", 45, 37, 1, 0x11, 90, 0, 0, 0},
    {"greyQuality1", 45, 37, 1, 0x11, 1, 0, 0, 0},
    {"greyQuality50", 45, 37, 1, 0x11, 50, 0, 0, 0},
    {"greyQuality75", 45, 37, 1, 0x11, 75, 0, 0, 0},
    {"greyQuality100", 45, 37, 1, 0x11, 100, 0, 0, 0},
    {"greyPixel", 1, 1, 1, 0x11, 90, 0, 0, 0},
    {"greyBlock", 8, 8, 1, 0x11, 90, 0, 0, 0},
    {"greyNoHeight", 29, 40, 1, 0x11, 75, 0, 16, kNoHeight},
    {"greyRestart1", 45, 37, 1, 0x11, 75, 1, 0, 0},
    {"greyRestartRow", 45, 37, 1, 0x11, 75, 6, 16, 0},
    {"full", 45, 37, 3, 0x111111, 90, 0, 0, 0},
    {"fullQuality1", 45, 37, 3, 0x111111, 1, 0, 0, 0},
    {"fullQuality100", 45, 37, 3, 0x111111, 100, 0, 0, 0},
    {"fullRgb", 45, 37, 3, 0x111111, 90, 0, 0, kRgb},
    {"fullRgbHalfRows", 45, 37, 3, 0x211111, 75, 0, 0, kRgb},
    {"fullRestart5", 45, 37, 3, 0x111111, 75, 5, 0, 0},
    {"wide", 45, 37, 3, 0x211111, 90, 0, 0, 0},
    {"wideQuality50", 45, 37, 3, 0x211111, 50, 0, 16, 0},
    {"wideRestart2", 45, 37, 3, 0x211111, 75, 2, 0, 0},
    {"tall", 45, 37, 3, 0x121111, 90, 0, 0, 0},
    {"tallQuality50", 45, 37, 3, 0x121111, 50, 0, 16, 0},
    {"tallRestartRow", 45, 37, 3, 0x121111, 75, 6, 0, 0},
    {"quarter", 45, 37, 3, 0x221111, 90, 0, 0, 0},
    {"quarterQuality1", 45, 37, 3, 0x221111, 1, 0, 0, 0},
    {"quarterQuality75", 45, 37, 3, 0x221111, 75, 0, 0, 0},
    {"quarterQuality100", 45, 37, 3, 0x221111, 100, 0, 0, 0},
    {"quarterBands", 70, 50, 3, 0x221111, 75, 0, 16, 0},
    {"quarterRestartRow", 45, 50, 3, 0x221111, 75, 3, 16, 0},
    {"quarterRestart7", 70, 50, 3, 0x221111, 75, 7, 0, 0},
    {"quarterBottomUp", 45, 37, 3, 0x221111, 75, 0, 0, kBottomUp},
    {"quarterNoHeight", 45, 50, 3, 0x221111, 75, 0, 16, kNoHeight},
    {"quarterHeightBefore", 45, 50, 3, 0x221111, 75, 0, 16, kHeightBefore},
    {"quarterSegments", 45, 37, 3, 0x221111, 75, 3, 0, kSegments},
    {"quarterPixel", 1, 1, 3, 0x221111, 90, 0, 0, 0},
    {"quarterStrip", 131, 5, 3, 0x221111, 75, 0, 0, 0},
    {"quarterColumn", 5, 131, 3, 0x221111, 75, 0, 0, 0},
    {"mixed", 45, 37, 3, 0x222112, 75, 0, 16, 0},
    {"chromaLarge", 45, 37, 3, 0x112211, 75, 0, 0, 0},
    {"tallPair", 45, 37, 3, 0x121211, 75, 0, 0, 0},
    {"widePair", 45, 37, 3, 0x212111, 75, 0, 0, 0},
    {"four", 37, 29, 4, 0x11111111, 90, 0, 0, 0},
    {"fourQuality50", 37, 29, 4, 0x11111111, 50, 0, 16, 0},
    {"fourRestart4", 37, 29, 4, 0x11111111, 75, 4, 0, 0},
};

void writeSegments(Suite &suite, Digest &digest, JPGHANDLE h) {
  static const char kJfif[] = "JFIF\0\1\2\1\0\x48\0\x60\0";
  static const char kText[] = "made by rule";
  uint32_t written = 0;
  suite.result(digest, jpgWriteWriteMarkerSegment(h, 0xFFE0, kJfif, 14));
  suite.result(digest, jpgWriteWriteMarkerSegment(h, 0xFFFE, kText, 12));
  suite.result(digest, jpgWriteWriteMarkerCode(h, 0xFFE5, 10));
  suite.result(digest, jpgWriteWriteMarkerData(h, kText, 7, &written));
  digest.number(written);
  suite.result(digest, jpgWriteWriteMarkerData(h, kText, 7, &written));
  digest.number(written);
  digest.number(jpgWriteWriteMarkerData(h, kText, 7, &written));
  digest.number(written);
}

void applySettings(Suite &suite, Digest &digest, JPGHANDLE h, const EncodeCase &c) {
  suite.result(digest, jpgWriteSetSubsamplingFactor(h, c.sampling));
  suite.result(digest, jpgWriteSetQuantizationFactor(h, c.quality));
  suite.result(digest, jpgWriteSetRestartInterval(h, c.restart));
  suite.result(digest, jpgWriteSetNumberOfComponents(h, c.channels));
  if ((c.options & kRgb) != 0) suite.result(digest, jpgWriteSetNoColorConversion(h));
  if ((c.options & kHeightBefore) != 0) {
    suite.result(digest, jpgWriteSetImageSize(h, static_cast<uint32_t>(c.width),
                                              static_cast<uint32_t>(c.height)));
  }
  if ((c.options & kSegments) != 0) writeSegments(suite, digest, h);
}

// The rectangle of a case's pixels; `bits` at the top image row.
JpgRect rectOf(const EncodeCase &c, Bytes &pixels) {
  const bool bottomUp = (c.options & kBottomUp) != 0;
  const bool untold = (c.options & (kNoHeight | kHeightBefore)) != 0;
  JpgRect rect = {};
  rect.width = c.width;
  rect.height = untold ? 0 : c.height;
  rect.channels = c.channels;
  rect.bitsPerPixel = 8 * c.channels;
  rect.bitsPerSample = 8;
  rect.stride = c.width * c.channels * (bottomUp ? -1 : 1);
  rect.bits = pixels.data() + (bottomUp ? c.width * c.channels * (c.height - 1) : 0);
  return rect;
}

void writeRows(Suite &suite, Digest &digest, JPGHANDLE h, const EncodeCase &c) {
  Bytes pixels = makePixels(c.width, c.height, c.channels, 7);
  JpgRect rect = rectOf(c, pixels);
  const int32_t band = c.band > 0 ? c.band : c.height;
  for (int32_t y = 0; y < c.height; y += band) {
    const int32_t lines = band < c.height - y ? band : c.height - y;
    suite.result(digest, jpgWriteFromRect(h, &rect, static_cast<uint32_t>(lines)));
    rect.bits = static_cast<uint8_t *>(rect.bits) + static_cast<ptrdiff_t>(band) * rect.stride;
  }
}

Stream described(const EncodeCase &c) {
  Stream stream;
  stream.width = c.width;
  stream.height = c.height;
  stream.components = c.channels;
  return stream;
}

Stream encode(Suite &suite, Digest &digest, const EncodeCase &c) {
  Stream stream = described(c);
  JPGHANDLE h = nullptr;
  suite.result(digest, jpgWritePrologToMemory(0, &h));
  applySettings(suite, digest, h, c);
  writeRows(suite, digest, h, c);
  void *data = nullptr;
  uint32_t size = 0;
  suite.result(digest, jpgWriteEpilogToMemory(h, &data, &size));
  stream.bytes = takeBlock(suite, data, size);
  digest.bytes(stream.bytes);
  return stream;
}

Stream encodeToFile(Suite &suite, Digest &digest, const EncodeCase &c,
                    const std::basic_string<JpgWChar> &path) {
  Stream stream = described(c);
  stream.path = path;
  JPGHANDLE h = nullptr;
  suite.result(digest, jpgWritePrologToFile(path.c_str(), 0, &h));
  applySettings(suite, digest, h, c);
  writeRows(suite, digest, h, c);
  suite.result(digest, jpgWriteEpilogToFile(h));
  return stream;
}

// The readers of scaled output know no rows until the height is told.
void emitCase(Suite &suite, const std::string &name, const EncodeCase &c, const Stream &stream) {
  suite.setStrict((c.options & kNoHeight) == 0);
  emitReads(suite, name, stream);
  suite.setStrict(true);
}

// Pieces between the calls, and the pieces handed to a reader one after the other.
void runPieces(Suite &suite) {
  constexpr EncodeCase kCase = {"pieces", 45, 50, 3, 0x221111, 75, 0, 16, kHeightBefore};
  constexpr int32_t kBands = 4, kBand = 16;
  Digest digest;
  Bytes pixels = makePixels(kCase.width, kCase.height, 3, 8);
  std::vector<Bytes> pieces;
  JPGHANDLE h = nullptr;
  suite.result(digest, jpgWritePrologToMemory(JPG_WRITE_PARTIAL_BITSTREAM, &h));
  applySettings(suite, digest, h, kCase);
  JpgRect rect = rectOf(kCase, pixels);
  for (int32_t band = 0; band < kBands; band++) {
    void *data = nullptr;
    uint32_t size = 0;
    suite.result(digest, jpgWriteGetPartialBitstream(h, &data, &size));
    pieces.push_back(takeBlock(suite, data, size));
    const int32_t lines = band + 1 < kBands ? kBand : kCase.height - band * kBand;
    suite.result(digest, jpgWriteFromRect(h, &rect, static_cast<uint32_t>(lines)));
    rect.bits = static_cast<uint8_t *>(rect.bits) + static_cast<ptrdiff_t>(kBand) * rect.stride;
  }
  void *data = nullptr;
  uint32_t size = 0;
  suite.result(digest, jpgWriteEpilogToMemory(h, &data, &size));
  pieces.push_back(takeBlock(suite, data, size));
  for (const Bytes &piece : pieces) digest.bytes(piece);
  suite.emit("encode.pieces", digest);

  Digest read;
  Plane plane(kCase.width, kCase.height);
  const auto sizeOf = [](const Bytes &b) { return static_cast<uint32_t>(b.size()); };
  suite.result(read,
               jpgReadPrologFromMemory(pieces[0].data(), static_cast<int32_t>(sizeOf(pieces[0])),
                                       JPG_READ_PARTIAL_BITSTREAM, &h));
  for (int32_t band = 0; band < kBands; band++) {
    const Bytes &piece = pieces[static_cast<size_t>(band) + 1];
    suite.result(read, jpgReadSetPartialBitstream(h, piece.data(), sizeOf(piece)));
    const JpgRect to = plane.rect(band * kBand, 3);
    suite.result(read, jpgReadToRect(h, &to, kBand));
  }
  suite.result(read, jpgReadEpilog(h));
  plane.fold(read);
  suite.emit("read.pieces", read);
}

}  // namespace

Stream encodeSample(Suite &suite, int32_t channels, uint32_t sampling, int32_t restart) {
  const EncodeCase c = {"sample", 45, 50, channels, sampling, 75, restart, 0, kSegments};
  Digest unused;
  return encode(suite, unused, c);
}

Stream noHeightSample(Suite &suite) {
  const EncodeCase c = {"sample", 45, 40, 3, 0x221111, 75, 0, 0, kNoHeight};
  Digest unused;
  return encode(suite, unused, c);
}

void runEncode(Suite &suite) {
  for (const EncodeCase &c : kCases) {
    Digest digest;
    const Stream stream = encode(suite, digest, c);
    suite.emit(std::string("encode.") + c.name, digest);
    emitCase(suite, std::string("read.") + c.name, c, stream);
  }
  runPieces(suite);
}

void runEncodeFiles(Suite &suite, const std::basic_string<JpgWChar> &path) {
  for (const EncodeCase &c : kCases) {
    Digest digest;
    const Stream stream = encodeToFile(suite, digest, c, path);
    suite.setStrict((c.options & kNoHeight) == 0);
    readWhole(suite, digest, stream);
    readBands(suite, digest, stream, 16);
    readScaled(suite, digest, stream, JPG_SCALE_HALF, 16);
    suite.setStrict(true);
    suite.emit(std::string("file.read.") + c.name, digest);
  }
}

}  // namespace golden
