// SPDX-License-Identifier: MIT
#include "read/lenient.h"

#include <gtest/gtest.h>

#include "model/colour.h"
#include "support/reader.h"

namespace jpgtest {
namespace {

Shown decode(const Bytes &stream, uint32_t pixelBytes, uint32_t flags, bool raw) {
  Shown shown;
  const Reader reader = Reader::ofMemory(stream, flags);
  shown.result = reader.result();
  if (shown.result != JPG_OK) return shown;
  jpgReadGetImageSize(reader.handle(), &shown.width, &shown.height);
  if (raw) jpgReadSetNoColorConversion(reader.handle());
  shown.pixels.assign(size_t{shown.width} * shown.height * pixelBytes, 0xA5);
  JpgRect rect = {};
  rect.width = static_cast<int32_t>(shown.width);
  rect.stride = static_cast<int32_t>(shown.width * pixelBytes);
  rect.bitsPerPixel = static_cast<int32_t>(8 * pixelBytes);
  rect.bits = shown.pixels.data();
  shown.result = jpgReadToRect(reader.handle(), &rect, static_cast<int32_t>(shown.height));
  return shown;
}

}  // namespace

Shown show(const Bytes &stream, uint32_t pixelBytes, uint32_t flags) {
  return decode(stream, pixelBytes, flags, false);
}

Shown showRaw(const Bytes &stream, uint32_t pixelBytes, uint32_t flags) {
  return decode(stream, pixelBytes, flags, true);
}

uint32_t damageOf(const Bytes &stream) {
  const Reader reader = Reader::ofMemory(stream, JPG_READ_LENIENT);
  uint32_t width = 0, height = 0, offset = 0;
  uint16_t what = 0;
  jpgReadGetImageSize(reader.handle(), &width, &height);
  Bytes pixels(size_t{width} * height * 4);
  JpgRect rect = {};
  rect.width = static_cast<int32_t>(width);
  rect.stride = rect.width * 3;
  rect.bits = pixels.data();
  jpgReadToRect(reader.handle(), &rect, static_cast<int32_t>(height));
  jpgReadSeekMarkerSegment(reader.handle(), JPG_SEGMENT_DAMAGE, &what, &offset);
  return offset;
}

SamplePlane planeOf(const Picture &picture, unsigned component) {
  const PictureComponent &from = picture.components[component];
  const bool alone = picture.components.size() == 1;
  const unsigned h = alone ? 1 : from.sampling >> 4, v = alone ? 1 : from.sampling & 15U;
  SamplePlane plane;
  plane.across = 8 * h * picture.mcusPerRow();
  plane.down = 8 * v * picture.mcuRows();
  Picture gray =
      makePicture(static_cast<uint16_t>(plane.across), static_cast<uint16_t>(plane.down), {0x11});
  gray.components[0].blocks.clear();
  for (unsigned row = 0; row < plane.down / 8; row++) {
    for (unsigned column = 0; column < plane.across / 8; column++) {
      const unsigned mcu = row / v * picture.mcusPerRow() + column / h;
      gray.components[0].blocks.push_back(from.blocks[mcu * h * v + row % v * h + column % h]);
    }
  }
  gray.quant[0] = picture.quant[from.tq];
  useLongTables(gray);
  const Shown shown = show(encode(gray), 1, 0);
  EXPECT_EQ(shown.result, JPG_OK);
  plane.samples = shown.pixels;
  return plane;
}

Bytes replicated(const Picture &picture) {
  std::vector<SamplePlane> planes;
  for (unsigned i = 0; i < picture.components.size(); i++) planes.push_back(planeOf(picture, i));
  Bytes pixels;
  for (unsigned y = 0; y < picture.height; y++) {
    for (unsigned x = 0; x < picture.width; x++) {
      for (unsigned i = 0; i < planes.size(); i++) {
        const bool alone = planes.size() == 1;
        const unsigned h = alone ? 1 : picture.components[i].sampling >> 4;
        const unsigned v = alone ? 1 : picture.components[i].sampling & 15U;
        pixels.push_back(planes[i].at(x * h / picture.hMax(), y * v / picture.vMax()));
      }
    }
  }
  return pixels;
}

Bytes toBgr(const Bytes &ycc) {
  Bytes bgr;
  for (size_t i = 0; i + 2 < ycc.size(); i += 3) {
    for (const uint8_t c : modelYccToBgr(ycc[i] - 128, ycc[i + 1] - 128, ycc[i + 2] - 128)) {
      bgr.push_back(c);
    }
  }
  return bgr;
}

}  // namespace jpgtest
