// SPDX-License-Identifier: MIT
#include "pngWriter.h"

#include "picture.h"

#ifdef JPGTOOL_HAS_PNG
#include <png.h>
#endif

namespace jpgtool {

#ifdef JPGTOOL_HAS_PNG
namespace {

// libpng leaves a call by longjmp when it fails: the functions that call setjmp have no objects
// with destructors.
class LibPngWriter : public PngWriter {
 public:
  LibPngWriter(OutputFile *out, const PixelFormat &format, uint32_t bits)
      : out_(out), format_(format), bits_(bits) {
    png_ = png_create_write_struct(PNG_LIBPNG_VER_STRING, this, onError, onWarning);
    if (png_ != nullptr) info_ = png_create_info_struct(png_);
  }
  ~LibPngWriter() override { png_destroy_write_struct(&png_, &info_); }
  LibPngWriter(const LibPngWriter &) = delete;
  LibPngWriter &operator=(const LibPngWriter &) = delete;

  bool begin() override {
    if (info_ == nullptr || setjmp(png_jmpbuf(png_)) != 0) return false;
    const bool color = format_.channels == 3;
    png_set_write_fn(png_, this, onWrite, onFlush);
    png_set_compression_level(png_, 3);  // an eighth larger than by default, in a third of the time
    png_set_filter(png_, 0, color || format_.maxValue > 255 ? PNG_FILTER_PAETH : PNG_FILTER_UP);
    png_set_IHDR(png_, info_, format_.width, format_.height, format_.maxValue > 255 ? 16 : 8,
                 color ? PNG_COLOR_TYPE_RGB : PNG_COLOR_TYPE_GRAY, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    if (bits_ > 8 && bits_ < 16) {
      png_color_8 significant = {};
      significant.red = significant.green = significant.blue = significant.gray =
          static_cast<png_byte>(bits_);
      png_set_sBIT(png_, info_, &significant);
    }
    png_write_info(png_, info_);
    return true;
  }
  bool putRow(const uint8_t *row) override {
    if (setjmp(png_jmpbuf(png_)) != 0) return false;
    png_write_row(png_, row);
    return true;
  }
  bool end() override {
    if (setjmp(png_jmpbuf(png_)) != 0) return false;
    png_write_end(png_, info_);
    return true;
  }

 private:
  [[noreturn]] static void onError(png_structp png, png_const_charp) { png_longjmp(png, 1); }
  static void onWarning(png_structp, png_const_charp) {}
  static void onWrite(png_structp png, png_bytep data, size_t size) {
    auto *writer = static_cast<LibPngWriter *>(png_get_io_ptr(png));
    if (!writer->out_->write(data, size)) png_error(png, "");
  }
  static void onFlush(png_structp) {}

  OutputFile *out_;
  const PixelFormat &format_;
  uint32_t bits_;
  png_structp png_ = nullptr;
  png_infop info_ = nullptr;
};

}  // namespace

std::unique_ptr<PngWriter> makePngWriter(OutputFile *out, const PixelFormat &format,
                                         uint32_t bits) {
  return std::make_unique<LibPngWriter>(out, format, bits);
}
#else
std::unique_ptr<PngWriter> makePngWriter(OutputFile *, const PixelFormat &, uint32_t) {
  return nullptr;
}
#endif

}  // namespace jpgtool
