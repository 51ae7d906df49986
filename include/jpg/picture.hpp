// SPDX-License-Identifier: MIT
/**
 * @file picture.hpp
 * @brief Pixels of the C++ interface: layouts, pictures, bitmaps.
 */
#ifndef JPG_PICTURE_HPP
#define JPG_PICTURE_HPP

#include <cstddef>
#include <cstdint>
#include <utility>

#include "jpg.h"
#include "jpg/memory.hpp"
#include "jpg/result.hpp"

namespace jpg {
inline namespace v0 {

/** @name Pictures
 *  @{ */

/** How pixels lie in memory. */
struct Layout {
  uint32_t width = 0;         /**< pixels a row */
  uint32_t height = 0;        /**< rows; 0 if the stream gives the height later */
  uint32_t channels = 0;      /**< samples a pixel, 1 to 4; 3 are blue, green, red unless the
                                   picture is lossless or unconverted */
  uint32_t bitsPerSample = 8; /**< up to 8: a byte a sample; 9 to 16: a 16-bit word */

  /** @return bytes a sample: 1 or 2 */
  constexpr uint32_t sampleBytes() const { return bitsPerSample > 8 ? 2 : 1; }
  /** @return bytes a row, without padding */
  constexpr uint32_t rowBytes() const { return width * channels * sampleBytes(); }
  /** @return bytes of the whole picture */
  constexpr uint64_t bytes() const { return uint64_t{rowBytes()} * height; }
  /** @return whether a JpgRect can describe it: rows of less than 2^31 bytes, and as many rows */
  constexpr bool valid() const {
    constexpr uint32_t kMost = 0x7FFFFFFF;
    return height <= kMost && uint64_t{width} * channels <= kMost / sampleBytes();
  }
  /** @param other another layout  @return whether both take the same memory, sample by sample */
  constexpr bool matches(const Layout &other) const {
    return width == other.width && height == other.height && channels == other.channels &&
           sampleBytes() == other.sampleBytes();
  }
};

/**
 * Describes memory of the caller's to the library.
 *
 * @param memory first byte of the top row; at least `layout.bytes()` of it, with the stride
 *               instead of the row's bytes where one is given
 * @param layout how the pixels lie
 * @param stride bytes from a row to the next, 0 = rows without padding
 * @return the description, whose `size` is the bytes of the rows (2^32 - 1 where they are more);
 *         #JPG_E_INVALID_PARAMETER when the memory is too small or the layout isn't valid()
 */
inline Result<JpgRect> rectOver(Span<uint8_t> memory, const Layout &layout, uint32_t stride = 0) {
  if (!layout.valid()) return Status(JPG_E_INVALID_PARAMETER);
  const uint64_t row = layout.rowBytes();
  const uint64_t step = stride == 0 ? row : stride;
  const uint64_t last = layout.height == 0 ? 0 : step * (layout.height - 1) + row;
  if (memory.empty() || step < row || step > 0x7FFFFFFF || last > memory.size()) {
    return Status(JPG_E_INVALID_PARAMETER);
  }
  JpgRect rect = {};
  rect.width = static_cast<int32_t>(layout.width);
  rect.height = static_cast<int32_t>(layout.height);
  rect.stride = static_cast<int32_t>(step);
  rect.bitsPerPixel = static_cast<int32_t>(8 * layout.sampleBytes() * layout.channels);
  rect.channels = static_cast<int32_t>(layout.channels);
  rect.bitsPerSample = static_cast<int32_t>(layout.bitsPerSample);
  rect.bits = memory.data();
  rect.size = static_cast<uint32_t>(last < 0xFFFFFFFF ? last : 0xFFFFFFFF);
  return rect;
}

/** Pixels in memory of their own, rows from top to bottom without padding. */
class Picture {
 public:
  /** @param layout size and kind  @return a black picture; #JPG_E_OUT_OF_MEMORY, or
   *  #JPG_E_INVALID_PARAMETER for a layout that isn't valid() */
  static Result<Picture> make(const Layout &layout) {
    if (!layout.valid()) return Status(JPG_E_INVALID_PARAMETER);
    Result<Buffer> pixels = Buffer::make(layout.bytes());
    if (!pixels) return pixels.status();
    Picture picture;
    picture.layout_ = layout;
    picture.pixels_ = std::move(*pixels);
    return picture;
  }
  /** @return size and kind */
  const Layout &layout() const { return layout_; }
  /** @return pixels a row */
  uint32_t width() const { return layout_.width; }
  /** @return rows */
  uint32_t height() const { return layout_.height; }
  /** @return all samples of up to 8 bits, or all bytes */
  Span<uint8_t> samples() const { return {pixels_.data(), pixels_.size()}; }
  /** @param y row below height()  @return its samples of up to 8 bits */
  Span<uint8_t> row(uint32_t y) const {
    return {pixels_.data() + size_t{layout_.rowBytes()} * y, layout_.rowBytes()};
  }
  /** @param y row below height()  @return its samples of more than 8 bits */
  Span<uint16_t> row16(uint32_t y) const {
    void *samples = row(y).data(); /* rows of such samples are aligned for them */
    return {static_cast<uint16_t *>(samples), layout_.rowBytes() / 2U};
  }
  /** @return the description that the library takes */
  Result<JpgRect> rect() const { return rectOver(samples(), layout_); }
  /** @return whether it was read from a damaged file, and some rows are guessed */
  bool damaged() const { return damaged_; }

 private:
  friend class Reader;

  Layout layout_;
  bool damaged_ = false;
  Buffer pixels_;
};

/** A bitmap with its header and colour table, in the format of the system's drawing functions. */
class Bitmap {
 public:
  /** @return header and colour table or masks */
  const BITMAPINFO &info() const { return *header(header_); }
  /** @return pixels a row */
  uint32_t width() const { return static_cast<uint32_t>(info().bmiHeader.biWidth); }
  /** @return rows */
  uint32_t height() const { return static_cast<uint32_t>(info().bmiHeader.biHeight); }
  /** @return bytes a row, padded to 4 */
  size_t stride() const { return (size_t{width()} * info().bmiHeader.biBitCount + 31) / 32 * 4; }
  /** @return all rows, the lowest first */
  Span<uint8_t> bits() const { return {bits_.data(), bits_.size()}; }
  /** @param y row below height(), counted from the top  @return its bytes */
  Span<uint8_t> row(uint32_t y) const {
    return {bits_.data() + stride() * (height() - 1 - y), stride()};
  }

 private:
  friend class Reader;
  friend class Exif;

  /* The block is aligned for it: `new` aligns for all standard types. */
  static BITMAPINFO *header(const Buffer &block) {
    void *data = block.data();
    return static_cast<BITMAPINFO *>(data);
  }
  /* Describes with `read(null, info)`, makes room and decodes with `read(bits, info)`. */
  template <class F>
  static Result<Bitmap> make(uint16_t depth, const F &read) {
    Bitmap bitmap;
    Result<Buffer> block = Buffer::make(sizeof(BITMAPINFOHEADER) + 256 * sizeof(RGBQUAD));
    if (!block) return block.status();
    bitmap.header_ = std::move(*block);
    BITMAPINFO *info = header(bitmap.header_);
    info->bmiHeader.biSize = sizeof(BITMAPINFOHEADER);
    info->bmiHeader.biBitCount = depth;
    Status status(read(nullptr, info));
    if (!status) return status;
    if (info->bmiHeader.biHeight < 1) return Status(JPG_E_UNSUPPORTED);
    Result<Buffer> bits = Buffer::make(uint64_t{bitmap.stride()} * bitmap.height());
    if (!bits) return bits.status();
    bitmap.bits_ = std::move(*bits);
    status = Status(read(bitmap.bits_.data(), info));
    if (!status) return status;
    return bitmap;
  }

  Buffer header_, bits_;
};
/** @} */

}  // namespace v0
}  // namespace jpg

#endif  // JPG_PICTURE_HPP
