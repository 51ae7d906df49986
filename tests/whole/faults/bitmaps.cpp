// SPDX-License-Identifier: MIT
// Scenarios with bitmaps, thumbnails included.
#include <cstring>

#include "material.h"
#include "scenarios.h"
#include "support/stored.h"

namespace faults {
namespace {

struct Info {
  BITMAPINFOHEADER header;
  RGBQUAD colors[256];

  explicit Info(uint16_t depth) {
    std::memset(this, 0, sizeof(*this));
    header.biSize = sizeof(header);
    header.biPlanes = 1;
    header.biBitCount = depth;
  }
  BITMAPINFO *bmi() { return reinterpret_cast<BITMAPINFO *>(this); }
};

// Room for any of the pictures at any depth.
constexpr size_t kRoom = size_t{4} * 64 * 64;

// A description is asked for and then the pixels; both must be stored, all of them, when both
// calls succeed.
template <typename Decode>
bool readChecked(Info &info, Bytes &bits, Decode decode) {
  jpgtest::markDescriptionUnstored(info.bmi());
  if (!decode(nullptr, info.bmi())) return false;
  jpgtest::expectDescriptionStored(*info.bmi(), 3);
  const auto height = info.header.biHeight;
  const size_t used = static_cast<size_t>(info.header.biWidth) * info.header.biBitCount / 8;
  JpgRect rows = {};
  rows.stride = static_cast<int32_t>((used + 3) / 4 * 4);
  rows.bits = bits.data();
  jpgtest::markRowsUnstored(rows, height, used);
  if (!decode(bits.data(), info.bmi())) return false;
  jpgtest::expectRowsStored(rows, height, used);
  return true;
}

// Describes and decodes one picture at every depth, each with a handle of its own.
template <typename Decode>
void readAtDepths(Work &work, const Stream &stream, Decode decode) {
  for (const int depth : {8, 16, 24}) {
    JPGHANDLE h = nullptr;
    if (!NOTED(jpgReadPrologFromFile, fileOf(stream).c_str(), 0, 0, 0, &h)) return;
    Info info(static_cast<uint16_t>(depth));
    Bytes bits(kRoom);
    const bool good =
        readChecked(info, bits, [&](void *at, BITMAPINFO *bmi) { return decode(h, at, bmi); });
    if (good) work.fold(bits.data(), bits.size());
    NOTED(jpgReadEpilog, h);
  }
}

void readSequential(Work &work) {
  const Stream &stream = material().sequential;
  readAtDepths(work, stream, [&](JPGHANDLE h, void *bits, BITMAPINFO *bmi) {
    return NOTED(jpgReadToWinDIBits, h, stream.height, bits, bmi);
  });
}

void readProgressive(Work &work) {
  const Stream &stream = material().progressive;
  readAtDepths(work, stream, [&](JPGHANDLE h, void *bits, BITMAPINFO *bmi) {
    return NOTED(jpgReadProgressiveToWinDIBits, h, stream.height, bits, bmi,
                 JPG_PROGRESSIVE_ALL_SCANS);
  });
}

void readScaled(Work &work) {
  const Stream &stream = material().sequential;
  readAtDepths(work, stream, [&](JPGHANDLE h, void *bits, BITMAPINFO *bmi) {
    return NOTED(jpgReadScaleOutputToWinDIBits, h, (stream.height + 1) / 2, bits, bmi,
                 JPG_SCALE_HALF);
  });
}

void readThumbnail(Work &work) {
  JPGHANDLE h = nullptr;
  if (!NOTED(jpgReadPrologFromFile, fileOf(material().exif).c_str(), 0, 0, 0, &h)) return;
  JPGEXIFHANDLE exif = nullptr;
  const bool found = NOTED(jpgReadExifReadAttributeProlog, h, &exif);
  NOTED(jpgReadEpilog, h);  // the attributes live on
  if (!found) return;
  for (const int depth : {8, 24}) {
    Info info(static_cast<uint16_t>(depth));
    Bytes bits(kRoom);
    const bool good = readChecked(info, bits, [&](void *at, BITMAPINFO *bmi) {
      return NOTED(jpgExifReadThumbnailToWinDIBits, exif, at, bmi);
    });
    if (good) work.fold(bits.data(), bits.size());
  }
  NOTED(jpgReadExifReadAttributeEpilog, exif);
}

void writeBitmap(Work &work, uint16_t depth, uint32_t compression, const Bytes &bits) {
  Info info(depth);
  info.header.biWidth = 8;
  info.header.biHeight = 4;
  info.header.biCompression = compression;
  info.header.biSizeImage = static_cast<uint32_t>(bits.size());
  JPGHANDLE h = nullptr;
  if (!NOTED(jpgWritePrologToMemory, 0, &h)) return;
  NOTED(jpgWriteFromWinDIBits, h, 4, bits.data(), info.bmi());
  void *data = nullptr;
  uint32_t size = 0;
  if (NOTED(jpgWriteEpilogToMemory, h, &data, &size)) work.fold(data, size);
  if (data != nullptr) NOTED(jpgWriteFreeBitstream, data);
}

void writeBitmaps(Work &work) {
  static const uint8_t kRuns[] = {8, 1, 0, 0, 8, 2, 0, 0, 8, 3, 0, 0, 8, 4, 0, 1};
  writeBitmap(work, 8, BI_RLE8, Bytes(kRuns, kRuns + sizeof(kRuns)));
  writeBitmap(work, 16, BI_RGB, Bytes(8 * 4 * 2, 0x5A));
  writeBitmap(work, 24, BI_RGB, Bytes(8 * 4 * 3, 0x5A));
}

}  // namespace

void addBitmaps(std::vector<Scenario> &all) {
  all.push_back({"bitmaps of a sequential file", readSequential});
  all.push_back({"bitmaps of a progressive file", readProgressive});
  all.push_back({"bitmaps of scaled output", readScaled});
  all.push_back({"thumbnail of a file", readThumbnail});
  all.push_back({"bitmaps to memory", writeBitmaps});
}

}  // namespace faults
