// SPDX-License-Identifier: MIT
// Thumbnails as bitmaps.
#ifndef JPG_TESTS_EXIF_BITMAP_H
#define JPG_TESTS_EXIF_BITMAP_H

#include "exif/attributes.h"

namespace jpgtest {

// A bitmap's description with its colour table, guarded behind.
struct Info {
  BITMAPINFOHEADER header = {};
  RGBQUAD colors[256] = {};
  uint32_t guard = 0xA5A5A5A5;
  BITMAPINFO *bmi() { return reinterpret_cast<BITMAPINFO *>(this); }
};

// A bitmap's description and pixels, and what the calls returned.
struct Bitmap {
  uint32_t described = 0;
  uint32_t read = 0;
  Info info;
  Bytes bits;

  size_t rowBytes() const {
    const int32_t bytes = info.header.biWidth * info.header.biBitCount / 8;
    return static_cast<size_t>(bytes + 3) / 4 * 4;
  }
  // A row of the image, counted from its top.
  Bytes row(int32_t y) const {
    const int32_t height = info.header.biHeight;
    const auto at = static_cast<size_t>(height > 0 ? height - 1 - y : y) * rowBytes();
    const auto first = bits.begin() + static_cast<std::ptrdiff_t>(at);
    return Bytes(first, first + info.header.biWidth * info.header.biBitCount / 8);
  }
};

// Makes the bitmap that a header describes, all bytes 0xA5, and room for no more.
inline void makeBits(Bitmap *bitmap) {
  const int32_t height = bitmap->info.header.biHeight;
  bitmap->bits.assign(bitmap->rowBytes() * static_cast<size_t>(height < 0 ? -height : height),
                      0xA5);
}

// Asks for the description and hands it straight to the decode mode.
inline Bitmap readThumbnail(const Attributes &attributes, uint16_t depth, bool topDown = false) {
  Bitmap bitmap;
  bitmap.info.header.biBitCount = depth;
  JPGEXIFHANDLE h = attributes.handle();
  bitmap.described = jpgExifReadThumbnailToWinDIBits(h, nullptr, bitmap.info.bmi());
  EXPECT_EQ(bitmap.info.guard, 0xA5A5A5A5);
  if (bitmap.described != JPG_OK) return bitmap;
  if (topDown) bitmap.info.header.biHeight = -bitmap.info.header.biHeight;
  makeBits(&bitmap);
  bitmap.read = jpgExifReadThumbnailToWinDIBits(h, bitmap.bits.data(), bitmap.info.bmi());
  return bitmap;
}

// Lets every allocation of a thumbnail's reading fail once: nothing leaks, and the handle serves
// the next call.
inline void sweepAllocations(const TiffBuilder &tiff) {
  constexpr uint32_t kEnough = 1000;
  bool failed = true;
  for (uint32_t n = 1; failed && n < kEnough; n++) {
    jpg::faulty::reset();
    const size_t before = jpg::faulty::liveBlocks();
    {
      const Attributes attributes(tiff);
      failFromNow(jpg::faulty::Operation::kAlloc, n);
      const Bitmap bitmap = readThumbnail(attributes, 8);
      failed = jpg::faulty::faultHappened();
      const uint32_t r = bitmap.described != JPG_OK ? bitmap.described : bitmap.read;
      EXPECT_RESULT(failed ? JPG_E_OUT_OF_MEMORY : JPG_OK, r) << "block " << n;
      jpg::faulty::arm(jpg::faulty::Operation::kAlloc, jpg::faulty::Fault::kNone, 0);
      EXPECT_RESULT(JPG_OK, readThumbnail(attributes, 8).read) << "block " << n;
    }
    EXPECT_EQ(jpg::faulty::liveBlocks(), before);
    EXPECT_TRUE(failed || n > 1);
  }
  EXPECT_FALSE(failed);
}

}  // namespace jpgtest

#endif  // JPG_TESTS_EXIF_BITMAP_H
