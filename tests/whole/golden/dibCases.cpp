// SPDX-License-Identifier: MIT
// Windows bitmaps: reading at every depth, writing from every kind.
#include <cstring>

#include "suite.h"

namespace golden {
namespace {

constexpr int32_t kWidth = 45, kHeight = 37;
constexpr size_t kJfifUnits = 13;  // place in the sample streams

// A description with room for its colour table.
struct Info {
  BITMAPINFOHEADER header;
  RGBQUAD colors[256];
  BITMAPINFO *bmi() { return reinterpret_cast<BITMAPINFO *>(this); }
};

Info makeInfo(int32_t width, int32_t height, uint16_t bits) {
  Info info;
  memset(&info, 0, sizeof(info));
  info.header.biSize = sizeof(info.header);
  info.header.biWidth = width;
  info.header.biHeight = height;
  info.header.biPlanes = 1;
  info.header.biBitCount = bits;
  return info;
}

void foldHeader(Digest &digest, const BITMAPINFOHEADER &h) {
  for (const uint32_t v :
       {static_cast<uint32_t>(h.biSize), static_cast<uint32_t>(h.biWidth),
        static_cast<uint32_t>(h.biHeight), static_cast<uint32_t>(h.biPlanes),
        static_cast<uint32_t>(h.biBitCount), static_cast<uint32_t>(h.biCompression),
        static_cast<uint32_t>(h.biSizeImage), static_cast<uint32_t>(h.biXPelsPerMeter),
        static_cast<uint32_t>(h.biYPelsPerMeter), static_cast<uint32_t>(h.biClrUsed),
        static_cast<uint32_t>(h.biClrImportant)}) {
    digest.number(v);
  }
}

// The entries of the reduction palette between those of the screen, or the masks.
void foldColors(Digest &digest, const Info &info) {
  constexpr size_t kFirst = 10, kBehind = 226;
  if (info.header.biBitCount == 8) {
    digest.bytes(&info.colors[kFirst], (kBehind - kFirst) * sizeof(RGBQUAD));
  } else if (info.header.biBitCount == 16) {
    for (size_t i = 0; i < 3; i++) {
      uint32_t mask = 0;
      memcpy(&mask, &info.colors[i], sizeof(mask));
      digest.number(mask);
    }
  }
}

uint32_t readBits(JPGHANDLE h, void *bits, Info &info, int32_t lines, DibWay way,
                  int32_t argument) {
  switch (way) {
    case DibWay::kSequential:
      return jpgReadToWinDIBits(h, lines, bits, info.bmi());
    case DibWay::kProgressive:
      return jpgReadProgressiveToWinDIBits(h, lines, bits, info.bmi(), argument);
    case DibWay::kScaled:
    default:
      return jpgReadScaleOutputToWinDIBits(h, lines, bits, info.bmi(), argument);
  }
}

size_t rowBytesOf(int32_t width, uint32_t bits) {
  return (static_cast<size_t>(width) * bits + 31) / 32 * 4;
}

// Bitmap bits by rule.
Bytes makeBits(uint32_t bits, uint32_t seed) {
  Rule rule(seed);
  Bytes out(rowBytesOf(kWidth, bits) * kHeight);
  for (size_t i = 0; i < out.size(); i++) {
    const auto slow = static_cast<uint32_t>(i / 9);
    out[i] = static_cast<uint8_t>(slow + (rule.next() & 15U));
  }
  return out;
}

void fillColors(Info &info) {
  for (uint32_t i = 0; i < 256; i++) {
    info.colors[i].rgbBlue = static_cast<uint8_t>(i * 7);
    info.colors[i].rgbGreen = static_cast<uint8_t>(i * 13 + 5);
    info.colors[i].rgbRed = static_cast<uint8_t>(255 - i);
  }
}

void foldWritten(Suite &suite, Digest &digest, Info &info, const Bytes &bits, int32_t components,
                 int32_t lines) {
  JPGHANDLE h = nullptr;
  suite.result(digest, jpgWritePrologToMemory(0, &h));
  if (components != 0) suite.result(digest, jpgWriteSetNumberOfComponents(h, components));
  const size_t pitch = rowBytesOf(kWidth, info.header.biBitCount);
  for (int32_t y = 0; y < kHeight; y += lines) {
    const int32_t rows = lines < kHeight - y ? lines : kHeight - y;
    const uint8_t *from = bits.data() + pitch * static_cast<size_t>(y);
    suite.result(digest, jpgWriteFromWinDIBits(h, rows, from, info.bmi()));
  }
  void *data = nullptr;
  uint32_t size = 0;
  suite.result(digest, jpgWriteEpilogToMemory(h, &data, &size));
  digest.bytes(takeBlock(suite, data, size));
}

// As its depth suggests, in colour and in grey; upright and top-down; by bands.
void emitWritten(Suite &suite, const std::string &name, Info info, const Bytes &bits) {
  Digest digest;
  for (const int32_t components : {0, 1, 3}) {
    foldWritten(suite, digest, info, bits, components, kHeight);
  }
  suite.emit("dib.write." + name, digest);
  if (info.header.biCompression == BI_RLE4 || info.header.biCompression == BI_RLE8) return;
  Digest turned;
  foldWritten(suite, turned, info, bits, 0, 16);
  info.header.biHeight = -info.header.biHeight;
  foldWritten(suite, turned, info, bits, 0, kHeight);
  suite.emit("dib.write." + name + ".otherwise", turned);
}

// Run-length codes by rule: runs, literals, jumps and ends of rows.
Bytes makeRle(uint32_t bits, uint32_t seed) {
  Rule rule(seed);
  Bytes out;
  const auto put = [&](int32_t v) { out.push_back(static_cast<uint8_t>(v)); };
  for (int32_t y = 0; y < kHeight; y++) {
    for (int32_t x = 0; x < kWidth - 8;) {
      const int32_t kind = rule.between(0, 5);
      const int32_t count = rule.between(3, 8);
      if (kind == 0) {
        put(0), put(2), put(count), put(0);
      } else if (kind < 3) {
        put(0), put(count);
        const int32_t bytes = bits == 8 ? count : (count + 1) / 2;
        for (int32_t i = 0; i < bytes + bytes % 2; i++) put(rule.between(0, 255));
      } else {
        put(count), put(rule.between(0, 255));
      }
      x += count;
    }
    put(0), put(0);
  }
  put(0), put(1);
  return out;
}

void runRle(Suite &suite, uint16_t bits, uint32_t compression) {
  Info info = makeInfo(kWidth, kHeight, bits);
  info.header.biCompression = compression;
  fillColors(info);
  const Bytes codes = makeRle(bits, bits);
  info.header.biSizeImage = static_cast<uint32_t>(codes.size());
  emitWritten(suite, bits == 4 ? "rle4" : "rle8", info, codes);
  Digest digest;  // codes that end early, and codes that run over
  suite.setStrict(false);
  info.header.biSizeImage /= 2;
  foldWritten(suite, digest, info, codes, 3, kHeight);
  Bytes over = codes;
  over[0] = 200;
  foldWritten(suite, digest, info, over, 3, kHeight);
  over = codes;
  over[over.size() / 3 * 2] = 0;
  over[over.size() / 3 * 2 + 1] = 1;  // the end of the bitmap
  foldWritten(suite, digest, info, over, 3, kHeight);
  suite.setStrict(true);
  suite.emit(bits == 4 ? "dib.write.rle4.damaged" : "dib.write.rle8.damaged", digest);
}

void emitRead(Suite &suite, const std::string &name, const Stream &stream, DibWay way,
              int32_t argument) {
  suite.setStrict(false);  // grey doesn't fit 16 and 24 bits
  for (const int depth : {8, 16, 24}) {
    Digest digest;
    readDib(suite, digest, stream, static_cast<uint16_t>(depth), way, argument);
    suite.emit("dib.read." + name + ".bits" + std::to_string(depth), digest);
  }
  suite.setStrict(true);
}

// What the palette takes from the screen: the only digest that a screen may change.
void emitScreen(Suite &suite, const Stream &stream) {
  Digest digest, unused;
  Opened in(suite, unused, stream);
  Info info = makeInfo(0, 0, 8);
  suite.result(digest, jpgReadToWinDIBits(in.handle(), 1, nullptr, info.bmi()));
  digest.bytes(&info.colors[0], 10 * sizeof(RGBQUAD));
  digest.bytes(&info.colors[226], 30 * sizeof(RGBQUAD));
  suite.emit("dib.screen.palette", digest);
}

}  // namespace

void readDib(Suite &suite, Digest &digest, const Stream &stream, uint16_t depth, DibWay way,
             int32_t argument) {
  Opened in(suite, digest, stream);
  if (!in.isReadable()) return;
  Info info = makeInfo(0, 0, depth);
  suite.result(digest, readBits(in.handle(), nullptr, info, 1, way, argument));
  foldHeader(digest, info.header);
  foldColors(digest, info);
  const int32_t lines = info.header.biHeight;
  if (lines < 1 || lines > stream.height || info.header.biWidth > stream.width) return;
  Bytes bits(rowBytesOf(info.header.biWidth, 32) * static_cast<size_t>(lines) + 64, 0xA5);
  suite.result(digest, readBits(in.handle(), bits.data(), info, lines, way, argument));
  digest.bytes(bits);
}

void runDibRead(Suite &suite) {
  const Stream grey = encodeSample(suite, 1, 0x11, 0);
  const Stream colour = encodeSample(suite, 3, 0x221111, 0);
  emitRead(suite, "grey", grey, DibWay::kSequential, 0);
  emitRead(suite, "colour", colour, DibWay::kSequential, 0);
  emitRead(suite, "greyHalf", grey, DibWay::kScaled, JPG_SCALE_HALF);
  emitRead(suite, "half", colour, DibWay::kScaled, JPG_SCALE_HALF);
  emitRead(suite, "quarter", colour, DibWay::kScaled, JPG_SCALE_QUARTER);
  emitRead(suite, "eighth", colour, DibWay::kScaled, JPG_SCALE_EIGHTH);
  emitRead(suite, "progressive", progressiveSample(3, 1), DibWay::kProgressive,
           JPG_PROGRESSIVE_ALL_SCANS);
  emitRead(suite, "firstScan", progressiveSample(3, 0), DibWay::kProgressive,
           JPG_PROGRESSIVE_NEXT_SCAN);
  emitRead(suite, "progressiveGrey", progressiveSample(1, 0), DibWay::kProgressive,
           JPG_PROGRESSIVE_ALL_SCANS);
  Stream centimetres = colour;
  centimetres.bytes[kJfifUnits] = 2;
  emitRead(suite, "centimetres", centimetres, DibWay::kSequential, 0);
  emitScreen(suite, colour);
}

void runDibWrite(Suite &suite) {
  for (const int depth : {1, 4, 8, 16, 24, 32}) {
    const auto bits = static_cast<uint16_t>(depth);
    Info info = makeInfo(kWidth, kHeight, bits);
    fillColors(info);
    emitWritten(suite, "bits" + std::to_string(depth), info, makeBits(bits, bits));
  }
  Info few = makeInfo(kWidth, kHeight, 8);
  fillColors(few);
  few.header.biClrUsed = 40;
  emitWritten(suite, "fewColours", few, makeBits(8, 3));
  for (const uint32_t red : {0xF800U, 0x7C00U}) {
    Info info = makeInfo(kWidth, kHeight, 16);
    info.header.biCompression = BI_BITFIELDS;
    const uint32_t masks[3] = {red, red == 0xF800 ? 0x07E0U : 0x03E0U, 0x1F};
    memcpy(info.colors, masks, sizeof(masks));
    emitWritten(suite, red == 0xF800 ? "masks565" : "masks555", info, makeBits(16, 5));
  }
  suite.setStrict(false);
  emitWritten(suite, "bits2", makeInfo(kWidth, kHeight, 2), makeBits(8, 2));
  suite.setStrict(true);
  runRle(suite, 8, BI_RLE8);
  runRle(suite, 4, BI_RLE4);
}

}  // namespace golden
