// SPDX-License-Identifier: MIT
#include "sampleReader.h"

#include <cerrno>
#include <cstring>

#include "files.h"
#include "jpg.h"

namespace jpgtool {

PictureFile::~PictureFile() {
  if (file_ != nullptr && file_ != stdin) std::fclose(file_);
}

uint32_t PictureFile::open(const std::string &name, std::string *why) {
  file_ = name == "-" ? stdin : openFile(name, "rb");
  if (file_ != nullptr) return JPG_OK;
  *why = "cannot open the file: " + reasonOf(errno);
  return JPG_E_OPEN_FAILED;
}

int PictureFile::peek() {
  if (held_) return at_ < bytes_.size() ? bytes_[at_] : EOF;
  const int c = std::getc(file_);
  if (c != EOF) std::ungetc(c, file_);
  return c;
}

int PictureFile::get() {
  uint8_t byte = 0;
  return read(&byte, 1) ? byte : EOF;
}

bool PictureFile::read(void *data, size_t size) {
  if (!held_) return std::fread(data, 1, size, file_) == size;
  if (bytes_.size() - at_ < size) return false;
  std::memcpy(data, bytes_.data() + at_, size);
  at_ += size;
  return true;
}

bool PictureFile::hold() {
  if (held_) return true;
  uint8_t piece[65536];
  for (size_t n; (n = std::fread(piece, 1, sizeof(piece), file_)) > 0;) {
    bytes_.insert(bytes_.end(), piece, piece + n);
  }
  held_ = true;
  return std::ferror(file_) == 0;
}

bool PictureFile::makeSeekable() { return held_ || canSeek(file_) || hold(); }

bool PictureFile::seek(uint64_t position) {
  if (!held_) return seekFile(file_, position);
  if (position > bytes_.size()) return false;
  at_ = static_cast<size_t>(position);
  return true;
}

std::vector<uint8_t> PictureFile::readRest() {
  hold();
  std::vector<uint8_t> rest(bytes_.begin() + static_cast<std::ptrdiff_t>(at_), bytes_.end());
  at_ = bytes_.size();
  return rest;
}

uint32_t SampleReader::checkSize(const Limits &limits, std::string *why) const {
  constexpr uint32_t kMaxSide = 65535;
  if (format_.width < 1 || format_.width > kMaxSide || format_.height < 1 ||
      format_.height > kMaxSide) {
    *why = "a JPEG picture has 1 to 65535 pixels each way";
    return JPG_E_UNSUPPORTED;
  }
  return checkPixels(limits, format_.width, format_.height, why);
}

uint32_t SampleFile::open(const std::string &name, const Limits &limits, std::string *why) {
  if (const uint32_t r = file_.open(name, why); r != JPG_OK) return r;
  return begin(limits, why);
}

uint32_t SampleFile::begin(const Limits &limits, std::string *why) {
  const int first = file_.peek();
  if (first == 'B') reader_ = makeBmpReader(&file_);
  if (first == 'P') reader_ = makePnmReader(&file_);
  if (first == 0x89) {
    reader_ = makePngReader(&file_);
    if (reader_ == nullptr) *why = "this jpgtool was built without PNG";
  } else if (reader_ == nullptr) {
    *why = "not a binary PGM, PPM, PAM, BMP or PNG file";
  }
  return reader_ != nullptr ? reader_->begin(limits, why) : JPG_E_UNSUPPORTED;
}

}  // namespace jpgtool
