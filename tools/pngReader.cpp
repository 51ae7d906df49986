// SPDX-License-Identifier: MIT
// PNG files, with libpng where it was there when the tool was built.
#include "jpg.h"
#include "sampleReader.h"

#ifdef JPGTOOL_HAS_PNG
#include <png.h>

#include <cstring>
#endif

namespace jpgtool {

#ifdef JPGTOOL_HAS_PNG
namespace {

// An interlaced picture is read as a whole, others row by row. libpng leaves a call by longjmp when
// the file is damaged: the functions that call setjmp have no objects with destructors.
class PngReader : public SampleReader {
 public:
  explicit PngReader(PictureFile *file) : file_(file) {
    png_ = png_create_read_struct(PNG_LIBPNG_VER_STRING, this, onError, onWarning);
    if (png_ != nullptr) info_ = png_create_info_struct(png_);
  }
  ~PngReader() override { png_destroy_read_struct(&png_, &info_, nullptr); }
  PngReader(const PngReader &) = delete;
  PngReader &operator=(const PngReader &) = delete;

  uint32_t begin(const Limits &limits, std::string *why) override {
    *why = "a damaged PNG file";
    if (info_ == nullptr) return JPG_E_OUT_OF_MEMORY;
    if (!readHeader()) return JPG_E_UNSUPPORTED;
    why->clear();
    if (const uint32_t r = checkSize(limits, why); r != JPG_OK) return r;
    if (!interlaced_) return JPG_OK;
    const uint64_t memory = uint64_t{rowBytes(format_)} * format_.height;
    if (const uint32_t r = checkMemory(limits, memory, why); r != JPG_OK) return r;
    whole_.resize(static_cast<size_t>(memory));
    rows_.resize(format_.height);
    for (uint32_t y = 0; y < format_.height; y++) rows_[y] = whole_.data() + y * rowBytes(format_);
    if (readWhole()) return JPG_OK;
    *why = "a damaged PNG file";
    return JPG_E_UNSUPPORTED;
  }

  bool read(uint8_t *row) override {
    if (interlaced_) {
      std::memcpy(row, rows_[next_++], rowBytes(format_));
    } else if (!readRow(row)) {
      return false;
    }
    narrow(row);
    return true;
  }

 private:
  [[noreturn]] static void onError(png_structp png, png_const_charp) { png_longjmp(png, 1); }
  static void onWarning(png_structp, png_const_charp) {}
  static void onRead(png_structp png, png_bytep data, size_t size) {
    auto *reader = static_cast<PngReader *>(png_get_io_ptr(png));
    if (!reader->file_->read(data, size)) png_error(png, "");
  }

  bool readHeader() {
    if (setjmp(png_jmpbuf(png_)) != 0) return false;
    png_set_read_fn(png_, this, onRead);
    png_read_info(png_, info_);
    const png_byte depth = png_get_bit_depth(png_, info_);
    takeSignificantBits(depth);
    png_set_expand(png_);       // palettes, and grey of 1 to 4 bits
    png_set_strip_alpha(png_);  // JPEG has no transparency
    if (depth == 16 && isLittleEndian()) png_set_swap(png_);
    interlaced_ = png_set_interlace_handling(png_) > 1;
    png_read_update_info(png_, info_);
    format_.width = png_get_image_width(png_, info_);
    format_.height = png_get_image_height(png_, info_);
    format_.channels = png_get_channels(png_, info_);
    format_.maxValue = depth == 16 ? (1U << significant_) - 1 : 255;
    return true;
  }
  bool readWhole() {
    if (setjmp(png_jmpbuf(png_)) != 0) return false;
    png_read_image(png_, rows_.data());
    return true;
  }
  bool readRow(uint8_t *row) {
    if (setjmp(png_jmpbuf(png_)) != 0) return false;
    png_read_row(png_, row, nullptr);
    return true;
  }

  // Samples of 9 to 15 bits are stored in 16, the spare bits being repetitions of the upper ones; a
  // chunk tells how many bits count.
  void takeSignificantBits(png_byte depth) {
    png_color_8p bits = nullptr;
    if (depth != 16 || png_get_sBIT(png_, info_, &bits) == 0) return;
    const bool color = (png_get_color_type(png_, info_) & PNG_COLOR_MASK_COLOR) != 0;
    const png_byte told = color ? bits->green : bits->gray;
    const bool equal = !color || (bits->red == told && bits->blue == told);
    if (equal && told > 8 && told <= 16) significant_ = told;
  }
  void narrow(uint8_t *row) const {
    constexpr uint32_t kWord = 16;
    if (format_.maxValue == 255 || significant_ == kWord) return;
    const size_t samples = size_t{format_.width} * format_.channels;
    for (size_t i = 0; i < samples; i++, row += 2) {
      putSample(row, 2, sampleAt(format_, row, 0) >> (kWord - significant_));
    }
  }
  static bool isLittleEndian() {
    const uint16_t one = 1;
    uint8_t first;
    std::memcpy(&first, &one, 1);
    return first == 1;
  }

  PictureFile *file_;
  png_structp png_ = nullptr;
  png_infop info_ = nullptr;
  bool interlaced_ = false;
  uint32_t significant_ = 16;
  uint32_t next_ = 0;
  std::vector<uint8_t> whole_;
  std::vector<png_bytep> rows_;
};

}  // namespace

std::unique_ptr<SampleReader> makePngReader(PictureFile *file) {
  return std::make_unique<PngReader>(file);
}
#else
std::unique_ptr<SampleReader> makePngReader(PictureFile *) { return nullptr; }
#endif

}  // namespace jpgtool
