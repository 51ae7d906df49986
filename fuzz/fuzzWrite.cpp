// SPDX-License-Identifier: MIT
// Fuzz target of the write side: the bytes choose settings and a bitmap; what was written
// must open again.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "jpg.h"
#include "support/stored.h"

namespace {

void check(bool holds) {
  if (!holds) __builtin_trap();
}

struct Bitmap {
  BITMAPINFOHEADER header;
  RGBQUAD colors[256];
};

// Reads bytes of the input, 0 after its end.
class Input {
 public:
  Input(const uint8_t *data, size_t size) : data_(data), size_(size) {}
  uint8_t byte() {
    if (size_ == 0) return 0;
    size_--;
    return *data_++;
  }
  uint32_t below(uint32_t limit) {
    const uint32_t low = byte();
    return (low | byte() * 256U) % limit;
  }
  std::vector<uint8_t> rest() const { return {data_, data_ + size_}; }

 private:
  const uint8_t *data_;
  size_t size_;
};

void setUp(JPGHANDLE h, Input *in) {
  static constexpr uint32_t kSamplings[] = {0x00111111, 0x00211111, 0x00121111, 0x00221111,
                                            0x11111111, 0x00212212, 0x00112211, 0};
  jpgWriteSetSubsamplingFactor(h, kSamplings[in->below(8)]);
  jpgWriteSetQuantizationFactor(h, static_cast<int32_t>(in->below(101)));
  jpgWriteSetRestartInterval(h, static_cast<int32_t>(in->below(40)));
  jpgWriteSetSpatialPredictor(h, static_cast<int32_t>(in->below(9)));
  const uint8_t more = in->byte();
  if ((more & 1) != 0) jpgWriteSetNoColorConversion(h);
  if ((more & 2) != 0) jpgWriteSetNumberOfComponents(h, more >> 4);
  if ((more & 4) != 0) jpgWriteSetImageSize(h, in->below(80), in->below(80));
}

uint32_t writeBitmap(JPGHANDLE h, Input *in) {
  static constexpr uint16_t kDepths[] = {1, 4, 8, 16, 24, 32, 2, 0};
  Bitmap bitmap = {};
  bitmap.header.biSize = 40;
  bitmap.header.biWidth = static_cast<int32_t>(in->below(64)) - 1;
  bitmap.header.biHeight = static_cast<int32_t>(in->below(64)) - 8;
  bitmap.header.biBitCount = kDepths[in->below(8)];
  bitmap.header.biCompression = in->below(4);
  bitmap.header.biClrUsed = in->below(300);
  static constexpr uint32_t kMasks[] = {0xF800, 0x07E0, 0x001F};
  if (bitmap.header.biClrUsed % 2 != 0) memcpy(bitmap.colors, kMasks, sizeof(kMasks));
  const int32_t lines = static_cast<int32_t>(in->below(64));
  std::vector<uint8_t> bits = in->rest();
  bitmap.header.biSizeImage = static_cast<uint32_t>(bits.size());
  // The library reads uncompressed rows without a check of their size; 24-bit rows count as
  // uncompressed whatever biCompression is.
  const uint32_t compression = bitmap.header.biCompression;
  const bool coded =
      bitmap.header.biBitCount != 24 && (compression == BI_RLE8 || compression == BI_RLE4);
  if (!coded || bits.empty()) bits.resize(64 * 64 * 4);
  return jpgWriteFromWinDIBits(h, lines, bits.data(), reinterpret_cast<BITMAPINFO *>(&bitmap));
}

uint32_t writeRect(JPGHANDLE h, Input *in, bool lossless) {
  JpgRect rect = {};
  rect.width = static_cast<int32_t>(in->below(64));
  rect.height = static_cast<int32_t>(in->below(64));
  rect.channels = static_cast<int32_t>(in->below(6));
  rect.bitsPerSample = static_cast<int32_t>(in->below(18));
  rect.stride = 64 * 5 * 2;
  const uint32_t lines = in->below(64);
  std::vector<uint8_t> pixels = in->rest();
  pixels.resize(64 * 64 * 5 * 2);
  rect.bits = pixels.data();
  const uint32_t r =
      lossless ? jpgWriteSpatialFromRect(h, &rect, lines) : jpgWriteFromRect(h, &rect, lines);
  return r != JPG_OK ? r
         : lossless  ? jpgWriteSpatialFromRect(h, &rect, lines)
                     : jpgWriteFromRect(h, &rect, lines);
}

void reopen(const void *data, uint32_t size) {
  JPGHANDLE h = nullptr;
  check(jpgReadPrologFromMemory(data, static_cast<int32_t>(size), 0, &h) == JPG_OK);
  check(jpgReadEpilog(h) == JPG_OK);
}

// A picture that was held until the epilog is whole: all its rows are there.
void readAll(const void *data, uint32_t size) {
  JPGHANDLE h = nullptr;
  check(jpgReadPrologFromMemory(data, static_cast<int32_t>(size), 0, &h) == JPG_OK);
  uint32_t width = 0, height = 0, channels = 0, process = 0;
  check(jpgReadGetImageSize(h, &width, &height) == JPG_OK);
  check(jpgReadGetNumberOfChannels(h, &channels) == JPG_OK);
  check(jpgReadGetCodingProcess(h, &process) == JPG_OK);
  // Lossless rows have at most two bytes a sample; one more row may be read.
  std::vector<uint8_t> rows(size_t{width} * (height + 1) * channels * 2);
  JpgRect rect = {};
  rect.width = static_cast<int32_t>(width);
  rect.stride = static_cast<int32_t>(width * channels * 2);
  rect.bitsPerPixel = static_cast<int32_t>(8 * channels);
  rect.bits = rows.data();
  const auto lines = static_cast<int32_t>(height);
  uint32_t r = JPG_OK;
  if (process == JPG_PROCESS_LOSSLESS) {
    r = jpgReadSpatialToRect(h, &rect, lines);
  } else {
    check(jpgReadSetNoColorConversion(h) == JPG_OK);
    r = process == JPG_PROCESS_PROGRESSIVE
            ? jpgReadProgressiveToRect(h, &rect, lines, JPG_PROGRESSIVE_ALL_SCANS)
            : jpgReadToRect(h, &rect, lines);
  }
  check(r == JPG_OK);
  check(jpgReadEpilog(h) == JPG_OK);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  Input in(data, size);
  JPGHANDLE h = nullptr;
  // Bit 1: pieces; bits 2 to 4: the options.
  const uint32_t choice = in.byte();
  const uint32_t options = choice >> 2 & 7;
  const uint32_t marked = options != 0 ? 0x4A500000 | options << 8 : 0;
  check(jpgWritePrologToMemory((choice & 2) | marked, &h) == JPG_OK);
  setUp(h, &in);
  const uint32_t kind = in.below(4);
  if (in.below(4) == 0) {
    void *piece = nullptr;
    uint32_t pieceSize = 0;
    if (jpgWriteGetPartialBitstream(h, &piece, &pieceSize) == JPG_OK) {
      jpgtest::expectStored(piece, pieceSize);
      jpgWriteFreeBitstream(piece);
    }
  }
  const uint32_t r = kind < 2 ? writeRect(h, &in, kind == 1) : writeBitmap(h, &in);
  void *stream = nullptr;
  uint32_t streamSize = 0;
  const uint32_t closed = jpgWriteEpilogToMemory(h, &stream, &streamSize);
  jpgtest::expectStored(stream, streamSize);
  // A complete stream begins with SOI; pieces after the first don't.
  const auto *bytes = static_cast<const uint8_t *>(stream);
  const bool complete = streamSize > 2 && bytes[0] == 0xFF && bytes[1] == 0xD8;
  if (r == JPG_OK && closed == JPG_OK && complete) reopen(stream, streamSize);
  if (r == JPG_OK && closed == JPG_OK && (options & 6) != 0) readAll(stream, streamSize);
  if (stream != nullptr) jpgWriteFreeBitstream(stream);
  return 0;
}
