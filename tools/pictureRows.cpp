// SPDX-License-Identifier: MIT
#include "pictureRows.h"

#include <algorithm>
#include <cstring>

#include "files.h"

namespace jpgtool {

uint32_t PictureRows::open(const std::string &file, const ReadSettings &settings,
                           std::string *why) {
  name_ = file;
  // The first byte tells the kind; standard input is read once.
  uint32_t r = samples_.file()->open(file, why);
  if (r != JPG_OK) return r;
  const int first = samples_.file()->peek();
  if (first == 'B' || first == 'P' || first == 0x89) {
    r = samples_.begin(settings.limits, why);
    if (r == JPG_OK) format_ = samples_.format();
    row_.resize(r == JPG_OK ? rowBytes(format_) : 0);
    return r;
  }
  input_.take(file, samples_.file()->readRest());
  return reopen(settings, why);
}

uint32_t PictureRows::reopen(const ReadSettings &settings, std::string *why) {
  jpeg_ = std::make_unique<RowSource>();
  bandRow_ = bandRows_ = 0;
  const uint32_t r = jpeg_->open(input_, settings, why);
  format_ = jpeg_->format();
  format_.blueFirst = false;
  row_.resize(rowBytes(format_) + 1);  // never empty
  return r;
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

uint32_t PictureRows::next(const uint8_t **row) {
  *row = row_.data();
  if (isJpeg()) return nextOfJpeg();
  return samples_.read(row_.data()) ? JPG_OK : JPG_NO_DATA;
}

std::string PictureRows::whyFailed(uint32_t code) const {
  return isJpeg() ? jpeg_->whyFailed(code) : "the file ends early";
}

}  // namespace jpgtool
