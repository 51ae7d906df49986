// SPDX-License-Identifier: MIT
#include "dib.h"

#include <cstring>
#include <utility>
#include <vector>

#include "report.h"
#include "turn.h"

namespace jpgtool {
namespace {

constexpr uint32_t kFileHeader = 14;
constexpr uint64_t kMaxFile = 0xFFFFFFFF;

void put32(uint8_t *p, uint32_t v) {
  for (int i = 0; i < 4; i++) p[i] = static_cast<uint8_t>(v >> (8 * i));
}

}  // namespace

uint32_t Dib::tableBytes() const {
  constexpr uint32_t kMasks = 3 * sizeof(uint32_t);
  const uint16_t bits = info_.bmi.bmiHeader.biBitCount;
  return bits == 8 ? 256 * sizeof(RGBQUAD) : bits == 16 ? kMasks : 0;
}

uint64_t Dib::bytes() const {
  const BITMAPINFOHEADER &header = info_.bmi.bmiHeader;
  const uint64_t row =
      (uint64_t{header.biBitCount} * static_cast<uint32_t>(header.biWidth) + 31) / 32 * 4;
  return row * static_cast<uint32_t>(header.biHeight);
}

uint32_t Dib::allocate() {
  const uint64_t size = bytes();
  if (size > kMaxFile - kFileHeader - sizeof(info_)) return JPG_E_UNSUPPORTED;
  size_ = static_cast<uint32_t>(size);
  bits_.reset(static_cast<uint8_t *>(std::calloc(size_ != 0 ? size_ : 1, 1)));
  return bits_ != nullptr ? JPG_OK : JPG_E_OUT_OF_MEMORY;
}

uint32_t Dib::turn(uint32_t orientation) {
  BITMAPINFOHEADER *header = &info_.bmi.bmiHeader;
  const auto width = static_cast<uint32_t>(header->biWidth);
  const auto height = static_cast<uint32_t>(header->biHeight);
  const size_t pixel = header->biBitCount / 8U;
  const Turn turn(orientation, width, height, pixel);
  if (turn.isNone() || width == 0 || height == 0) return JPG_OK;
  const size_t stride = size_ / height;
  std::vector<uint8_t> turned(pixel * width * height);
  for (uint32_t y = 0; y < height; y++) {  // the picture's top row is the last in memory
    turn.putRow(y, bits_.get() + stride * (height - 1 - y), turned.data());
  }
  header->biWidth = static_cast<int32_t>(turn.width());
  header->biHeight = static_cast<int32_t>(turn.height());
  if (turn.width() != width || turn.height() != height) {
    std::swap(header->biXPelsPerMeter, header->biYPelsPerMeter);
  }
  if (const uint32_t r = allocate(); r != JPG_OK) return r;
  for (uint32_t y = 0; y < turn.height(); y++) {
    std::memcpy(bits_.get() + size_ / turn.height() * (turn.height() - 1 - y),
                turned.data() + pixel * turn.width() * y, pixel * turn.width());
  }
  return JPG_OK;
}

bool Dib::write(OutputFile *out) const {
  const uint32_t table = tableBytes();
  const auto pixelOffset = static_cast<uint32_t>(kFileHeader + sizeof(BITMAPINFOHEADER) + table);
  uint8_t file[kFileHeader] = {'B', 'M'};
  put32(file + 2, pixelOffset + size_);
  put32(file + 10, pixelOffset);
  BITMAPINFOHEADER header = info_.bmi.bmiHeader;
  header.biSizeImage = size_;  // some programs require it for bitmaps with masks or colour tables
  return out->write(file, sizeof(file)) && out->write(&header, sizeof(header)) &&
         out->write(info_.bytes + sizeof(header), table) && out->write(bits_.get(), size_);
}

int checkBitmapFile(const std::string &in, const std::string &out) {
  if (out == "-") return kExitOk;
  if (extensionOf(out) != "bmp") {
    return fail(out, "the output must be a .bmp file", JPG_E_UNSUPPORTED);
  }
  if (isSameFile(in, out)) return fail(out, "is the input file", JPG_E_INVALID_PARAMETER);
  return kExitOk;
}

int saveBitmap(const Dib &dib, const std::string &out) {
  OutputFile file;
  std::string why;
  if (!file.open(out, &why)) return fail(out, why, JPG_E_OPEN_FAILED);
  return dib.write(&file) && file.keep() ? kExitOk : fail(out, JPG_E_WRITE_FAULT);
}

}  // namespace jpgtool
