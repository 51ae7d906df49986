#include "pictureRows.h"

#include <algorithm>
#include <cstring>

namespace jpgtool {

PictureRows::~PictureRows() {
  if (file_ != nullptr) std::fclose(file_);
}

uint32_t PictureRows::open(const std::string &file, const ReadSettings &settings,
                           std::string *why) {
  file_ = std::fopen(file.c_str(), "rb");
  if (file_ == nullptr) return JPG_E_OPEN_FAILED;
  const int first = std::getc(file_);
  std::ungetc(first, file_);
  uint32_t r = JPG_OK;
  if (first == 'B' || first == 'P') {
    r = first == 'B' ? openBmp(why) : openPnm(why);
  } else {
    jpeg_ = std::make_unique<RowSource>();
    r = jpeg_->open(file, settings, why);
    format_ = jpeg_->format();
    format_.blueFirst = false;
  }
  row_.resize(rowBytes(format_) + 1);  // never empty
  return r;
}

uint32_t PictureRows::openBmp(std::string *why) {
  bmp_ = std::make_unique<BmpReader>(file_);
  if (!bmp_->begin(why)) return JPG_E_UNSUPPORTED;
  if (!bmp_->hasByteSamples()) {
    *why = "only uncompressed bitmaps of 8, 24 or 32 bits can be read here";
    return JPG_E_UNSUPPORTED;
  }
  format_.width = bmp_->width();
  format_.height = bmp_->height();
  format_.channels = bmp_->isGray() ? 1 : 3;
  bmpRow_.resize(bmp_->rowBytes());
  return JPG_OK;
}

uint32_t PictureRows::openPnm(std::string *why) {
  pnm_ = std::make_unique<PnmReader>(file_, true);
  if (!pnm_->begin(why)) return JPG_E_UNSUPPORTED;
  format_ = pnm_->format();
  return JPG_OK;
}

uint32_t PictureRows::nextOfJpeg() {
  if (bandRow_ == bandRows_) {
    bandRow_ = 0;
    bandRows_ = 0;
    if (const uint32_t r = jpeg_->next(&bandRows_); r != JPG_OK) return r;
  }
  const size_t bytes = rowBytes(format_);
  std::memcpy(row_.data(), jpeg_->band() + bytes * bandRow_++, bytes);
  if (!jpeg_->format().blueFirst) return JPG_OK;
  for (size_t i = 0; i + 2 < bytes; i += 3) std::swap(row_[i], row_[i + 2]);
  return JPG_OK;
}

uint32_t PictureRows::nextOfBmp() {
  if (!bmp_->read(bmpRow_.data(), y_, 1)) return JPG_NO_DATA;
  bmp_->samplesOf(bmpRow_.data(), row_.data());
  return JPG_OK;
}

uint32_t PictureRows::nextOfPnm() { return pnm_->read(row_.data(), 1) ? JPG_OK : JPG_NO_DATA; }

uint32_t PictureRows::next(const uint8_t **row) {
  const uint32_t r = jpeg_ != nullptr ? nextOfJpeg() : bmp_ != nullptr ? nextOfBmp() : nextOfPnm();
  *row = row_.data();
  y_++;
  return r;
}

std::string PictureRows::whyFailed(uint32_t code) const {
  return jpeg_ != nullptr ? jpeg_->whyFailed(code) : "the file ends early";
}

uint32_t sampleAt(const PixelFormat &format, const uint8_t *row, size_t i) {
  if (sampleBytes(format) == 1) return row[i];
  uint16_t word;
  std::memcpy(&word, row + 2 * i, sizeof(word));
  return word;
}

}  // namespace jpgtool
