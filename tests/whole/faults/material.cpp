// SPDX-License-Identifier: MIT
#include "material.h"

#include <unistd.h>

#include <cstdio>

namespace faults {
namespace {

Material made;
std::vector<std::string> names;                      // of the files
std::vector<std::basic_string<JpgWChar>> wideNames;  // the same

constexpr size_t kStreams = 4;

const Stream *streamAt(size_t i) {
  const Stream *const all[kStreams] = {&made.sequential, &made.progressive, &made.lossless,
                                       &made.exif};
  return all[i];
}

// An Exif segment behind SOI: a TIFF structure, high byte first, whose 1st directory
// describes a compressed thumbnail.
Bytes exifOf(const Bytes &thumbnail) {
  const auto size = static_cast<uint32_t>(thumbnail.size());
  Bytes tiff;
  const auto put = [&tiff](uint32_t value, int bytes) {
    for (int i = bytes - 1; i >= 0; i--) tiff.push_back(static_cast<uint8_t>(value >> 8 * i));
  };
  const auto entry = [&put](uint32_t tag, uint32_t type, uint32_t value) {
    put(tag, 2);
    put(type, 2);
    put(1, 4);
    put(value, 4);
  };
  constexpr uint32_t kShort = 3, kLong = 4, kFirst = 14, kData = kFirst + 2 + 3 * 12 + 4;
  put(0x4D4D002A, 4);
  put(8, 4);
  put(0, 2);  // the 0th directory is empty
  put(kFirst, 4);
  put(3, 2);
  entry(259, kShort, 6U << 16);
  entry(513, kLong, kData);
  entry(514, kLong, size);
  put(0, 4);
  tiff.insert(tiff.end(), thumbnail.begin(), thumbnail.end());
  const size_t length = 2 + 6 + tiff.size();
  Bytes out(4);
  out[0] = 0xFF;
  out[1] = 0xE1;
  out[2] = static_cast<uint8_t>(length >> 8);
  out[3] = static_cast<uint8_t>(length);
  for (const char c : {'E', 'x', 'i', 'f', '\0', '\0'}) out.push_back(static_cast<uint8_t>(c));
  out.insert(out.end(), tiff.begin(), tiff.end());
  return out;
}

Stream withExif(Stream stream, const Bytes &thumbnail) {
  const Bytes segment = exifOf(thumbnail);
  stream.bytes.insert(stream.bytes.begin() + 2, segment.begin(), segment.end());
  return stream;
}

// A comment behind SOI, so long that the first block of 4096 bytes which a reader takes ends
// a little behind the start of the first scan.
Stream padded(Stream stream) {
  constexpr size_t kScanStart = 4080;
  size_t scan = 0;
  while (stream.bytes[scan] != 0xFF || stream.bytes[scan + 1] != 0xDA) scan++;
  const size_t length = kScanStart - scan - 2;  // of the segment, marker excepted
  Bytes segment(length + 2, 'x');
  segment[0] = 0xFF;
  segment[1] = 0xFE;
  segment[2] = static_cast<uint8_t>(length >> 8);
  segment[3] = static_cast<uint8_t>(length);
  stream.bytes.insert(stream.bytes.begin() + 2, segment.begin(), segment.end());
  return stream;
}

std::vector<Bytes> makePieces(golden::Suite &suite) {
  constexpr int32_t kRowBytes = 3 * kPiecesWidth;
  Bytes pixels = golden::makePixels(kPiecesWidth, kPiecesHeight, 3, 8);
  std::vector<Bytes> pieces;
  JPGHANDLE h = nullptr;
  JpgRect rect = {};
  rect.width = kPiecesWidth;
  rect.stride = kRowBytes;
  rect.bitsPerPixel = 24;
  rect.channels = 3;
  rect.bitsPerSample = 8;
  golden::Digest unused;
  suite.result(unused, jpgWritePrologToMemory(JPG_WRITE_PARTIAL_BITSTREAM, &h));
  suite.result(unused, jpgWriteSetImageSize(h, kPiecesWidth, kPiecesHeight));
  suite.result(unused, jpgWriteSetNumberOfComponents(h, 3));
  void *data = nullptr;
  uint32_t size = 0;
  for (int32_t y = 0; y < kPiecesHeight; y += kPieceLines) {
    suite.result(unused, jpgWriteGetPartialBitstream(h, &data, &size));
    pieces.push_back(golden::takeBlock(suite, data, size));
    const int32_t left = kPiecesHeight - y;
    rect.bits = pixels.data() + y * kRowBytes;
    suite.result(
        unused,
        jpgWriteFromRect(h, &rect, static_cast<uint32_t>(left < kPieceLines ? left : kPieceLines)));
  }
  suite.result(unused, jpgWriteEpilogToMemory(h, &data, &size));
  pieces.push_back(golden::takeBlock(suite, data, size));
  return pieces;
}

bool save(const std::string &name, const Bytes &bytes) {
  std::FILE *file = std::fopen(name.c_str(), "wb");
  if (file == nullptr) return false;
  const bool whole = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
  return std::fclose(file) == 0 && whole;
}

void ignoreLine(void * /*user*/, const char * /*name*/, uint64_t /*digest*/) {}

}  // namespace

const Material &material() { return made; }

const std::basic_string<JpgWChar> &fileOf(const Stream &stream) {
  size_t i = 0;
  while (i < kStreams && streamAt(i) != &stream) i++;
  return wideNames[i];
}

const std::basic_string<JpgWChar> &outputFile() { return wideNames[kStreams]; }

Bytes outputBytes() {
  Bytes bytes;
  std::FILE *file = std::fopen(names[kStreams].c_str(), "rb");
  for (int c; file != nullptr && (c = std::getc(file)) != EOF;) {
    bytes.push_back(static_cast<uint8_t>(c));
  }
  if (file != nullptr) std::fclose(file);
  return bytes;
}

bool prepare(const std::string &folder) {
  golden::Suite suite(ignoreLine, nullptr);
  made.sequential = padded(golden::encodeSample(suite, 3, 0x221111, 3));
  made.progressive = padded(golden::progressiveSample(3, 1));
  made.lossless = padded(golden::losslessSample(suite, 8, 3, 4));
  made.exif = withExif(made.sequential, golden::encodeSample(suite, 3, 0x111111, 0).bytes);
  made.pieces = makePieces(suite);
  for (size_t i = 0; i <= kStreams; i++) {
    names.push_back(folder + "/jpg_faults_" + std::to_string(getpid()) + "_" + std::to_string(i));
    wideNames.emplace_back(names.back().begin(), names.back().end());
    if (i < kStreams && !save(names.back(), streamAt(i)->bytes)) return false;
  }
  return suite.failures() == 0;
}

void cleanUp() {
  for (const std::string &name : names) std::remove(name.c_str());
}

}  // namespace faults
