// SPDX-License-Identifier: MIT
// Exif segments by rule: both byte orders, JPEG and uncompressed thumbnails, damage.
#include <cstring>

#include "suite.h"
#include "support/streamBuilder.h"

namespace golden {
namespace {

using jpgtest::append;

constexpr uint32_t kShort = 3, kLong = 4;
constexpr int32_t kThumbWidth = 20, kThumbHeight = 15;

// A TIFF structure in the making.
class Tiff {
 public:
  explicit Tiff(bool bigEndian) : big_(bigEndian) {
    bytes_.assign(2, bigEndian ? 'M' : 'I');
    u16(42);
    u32(8);
  }
  void u16(uint32_t v) {
    bytes_.push_back(static_cast<uint8_t>(big_ ? v >> 8 : v));
    bytes_.push_back(static_cast<uint8_t>(big_ ? v : v >> 8));
  }
  void u32(uint32_t v) {
    u16(big_ ? v >> 16 : v & 0xFFFF);
    u16(big_ ? v & 0xFFFF : v >> 16);
  }
  // An entry with a single value.
  void entry(uint32_t tag, uint32_t type, uint32_t value) { entries(tag, type, 1, value); }
  void entries(uint32_t tag, uint32_t type, uint32_t count, uint32_t value) {
    u16(tag);
    u16(type);
    u32(count);
    if (type == kShort && count == 1) {
      u16(value);
      u16(0);
    } else {
      u32(value);
    }
  }
  uint32_t size() const { return static_cast<uint32_t>(bytes_.size()); }
  const Bytes &bytes() const { return bytes_; }
  void raw(const Bytes &more) { append(bytes_, more); }

 private:
  bool big_;
  Bytes bytes_;
};

constexpr uint32_t kEntryBytes = 12;
constexpr uint32_t directoryBytes(uint32_t entries) { return 2 + kEntryBytes * entries + 4; }

// The 0th directory: an orientation and nothing else.
void putZeroth(Tiff &tiff) {
  tiff.u16(1);
  tiff.entry(274, kShort, 6);
  tiff.u32(tiff.size() + 4);
}

Bytes jpegTiff(bool bigEndian, const Bytes &jpeg) {
  Tiff tiff(bigEndian);
  putZeroth(tiff);
  const uint32_t data = tiff.size() + directoryBytes(3);
  tiff.u16(3);
  tiff.entry(259, kShort, 6);
  tiff.entry(513, kLong, data);
  tiff.entry(514, kLong, static_cast<uint32_t>(jpeg.size()));
  tiff.u32(0);
  tiff.raw(jpeg);
  return tiff.bytes();
}

// Entries of every type whose value lies within, around those that say where the thumbnail is.
Bytes typesTiff(bool bigEndian, const Bytes &jpeg) {
  Tiff tiff(bigEndian);
  putZeroth(tiff);
  const uint32_t data = tiff.size() + directoryBytes(11);
  tiff.u16(11);
  tiff.entries(256, 1, 1, 0xC8112233);  // BYTE
  tiff.entries(257, 6, 1, 0x91223344);  // SBYTE
  tiff.entry(259, kShort, 6);
  tiff.entries(262, 2, 3, 0x61626300);  // ASCII
  tiff.entry(274, kShort, 8);
  tiff.entries(278, 8, 1, 0x8FFF0000);  // SSHORT
  tiff.entries(284, 7, 4, 0x01020304);  // UNDEFINED
  tiff.entries(296, kShort, 2, 0x00020003);
  tiff.entries(305, 77, 1, 5);  // no such type
  tiff.entry(513, kLong, data);
  tiff.entry(514, kLong, static_cast<uint32_t>(jpeg.size()));
  tiff.u32(0);
  tiff.raw(jpeg);
  return tiff.bytes();
}

// Uncompressed pixels in strips of so many rows.
Bytes rgbTiff(bool bigEndian, uint32_t rows) {
  constexpr uint32_t kRowBytes = 3 * kThumbWidth;
  const uint32_t strips = (kThumbHeight + rows - 1) / rows;
  Tiff tiff(bigEndian);
  putZeroth(tiff);
  const uint32_t lists = tiff.size() + directoryBytes(8);
  const uint32_t pixels = lists + (strips > 1 ? 8 * strips : 0);
  tiff.u16(8);
  tiff.entry(256, kLong, kThumbWidth);
  tiff.entry(257, kLong, kThumbHeight);
  tiff.entry(259, kShort, 1);
  tiff.entry(262, kShort, 2);
  tiff.entries(273, kLong, strips, strips > 1 ? lists : pixels);
  tiff.entry(278, kShort, rows);
  tiff.entries(279, kLong, strips, strips > 1 ? lists + 4 * strips : kRowBytes * kThumbHeight);
  tiff.entry(284, kShort, 1);
  tiff.u32(0);
  for (uint32_t i = 0; strips > 1 && i < strips; i++) tiff.u32(pixels + i * rows * kRowBytes);
  for (uint32_t i = 0; strips > 1 && i < strips; i++) tiff.u32(rows * kRowBytes);
  tiff.raw(makePixels(kThumbWidth, kThumbHeight, 3, 21));
  return tiff.bytes();
}

// The picture's stream with the segment behind SOI.
Stream withExif(Stream picture, const Bytes &tiff) {
  Bytes data = {'E', 'x', 'i', 'f', 0, 0};
  append(data, tiff);
  Bytes bytes = jpgtest::StreamBuilder().soi().segment(jpgtest::kApp1, data).bytes();
  append(bytes, Bytes(picture.bytes.begin() + 2, picture.bytes.end()));
  picture.bytes = bytes;
  return picture;
}

struct Info {
  BITMAPINFOHEADER header;
  RGBQUAD colors[256];
};

void readThumbnail(Suite &suite, Digest &digest, JPGEXIFHANDLE attributes, uint16_t depth) {
  constexpr size_t kRoom = 64 * 64 * 4;
  Info info;
  memset(&info, 0, sizeof(info));
  auto *bmi = reinterpret_cast<BITMAPINFO *>(&info);
  info.header.biBitCount = depth;
  const uint32_t r = jpgExifReadThumbnailToWinDIBits(attributes, nullptr, bmi);
  suite.result(digest, r);
  digest.number(static_cast<uint32_t>(info.header.biWidth));
  digest.number(static_cast<uint32_t>(info.header.biHeight));
  if (r != JPG_OK || info.header.biWidth > 64 || info.header.biHeight > 64) return;
  Bytes bits(kRoom, 0xA5);
  suite.result(digest, jpgExifReadThumbnailToWinDIBits(attributes, bits.data(), bmi));
  digest.bytes(bits);
}

// The thumbnail at every depth, and the picture behind it.
void readExif(Suite &suite, Digest &digest, const Stream &stream) {
  Opened in(suite, digest, stream);
  if (!in.isReadable()) return;
  JPGEXIFHANDLE attributes = nullptr;
  const uint32_t r = jpgReadExifReadAttributeProlog(in.handle(), &attributes);
  suite.result(digest, r);
  if (r == JPG_OK) {
    for (const int depth : {24, 16, 8}) {
      readThumbnail(suite, digest, attributes, static_cast<uint16_t>(depth));
    }
    suite.result(digest, jpgReadExifReadAttributeEpilog(attributes));
  }
  Plane plane(stream.width, stream.height);
  const JpgRect rect = plane.rect(0, pixelBytesOf(stream));
  suite.result(digest, jpgReadToRect(in.handle(), &rect, stream.height));
  plane.fold(digest);
}

void emitExif(Suite &suite, const std::string &name, const Stream &stream) {
  Digest digest;
  readExif(suite, digest, stream);
  suite.emit("exif." + name, digest);
}

// Every cut, and every byte of the directories changed.
void emitDamage(Suite &suite, const std::string &name, const Stream &picture, const Bytes &tiff) {
  constexpr size_t kDirectories = 160;
  suite.setStrict(false);
  Digest cuts, flips;
  for (size_t size = 0; size < tiff.size(); size += 1 + size / 8) {
    readExif(
        suite, cuts,
        withExif(picture, Bytes(tiff.begin(), tiff.begin() + static_cast<std::ptrdiff_t>(size))));
  }
  for (size_t i = 0; i < kDirectories && i < tiff.size(); i++) {
    Bytes damaged = tiff;
    damaged[i] = static_cast<uint8_t>(damaged[i] ^ (1U << i % 8));
    readExif(suite, flips, withExif(picture, damaged));
  }
  suite.setStrict(true);
  suite.emit("exif." + name + ".cut", cuts);
  suite.emit("exif." + name + ".flipped", flips);
}

}  // namespace

void runExif(Suite &suite) {
  const Stream picture = encodeSample(suite, 1, 0x11, 0);
  const Bytes colour = encodeSample(suite, 3, 0x221111, 0).bytes;
  for (const bool big : {false, true}) {
    const std::string order = big ? "MM" : "II";
    emitExif(suite, order + ".jpeg", withExif(picture, jpegTiff(big, colour)));
    emitExif(suite, order + ".rgb", withExif(picture, rgbTiff(big, kThumbHeight)));
    emitExif(suite, order + ".types", withExif(picture, typesTiff(big, colour)));
    emitExif(suite, order + ".strips", withExif(picture, rgbTiff(big, 4)));
  }
  suite.setStrict(false);
  emitExif(suite, "greyJpeg", withExif(picture, jpegTiff(false, picture.bytes)));
  emitExif(suite, "none", picture);
  suite.setStrict(true);
  emitDamage(suite, "jpeg", picture, jpegTiff(true, colour));
  emitDamage(suite, "strips", picture, rgbTiff(false, 4));
}

}  // namespace golden
