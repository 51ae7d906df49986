// SPDX-License-Identifier: MIT
#include "picture.h"

#include <cstring>

namespace jpgtool {
namespace {

constexpr uint32_t kBmpFileHeader = 14;
constexpr uint32_t kBmpInfoHeader = 40;
constexpr uint32_t kGrayTable = 256 * 4;

void put32(std::vector<uint8_t> *out, uint32_t v) {
  for (int i = 0; i < 4; i++) out->push_back(static_cast<uint8_t>(v >> (8 * i)));
}

void put16(std::vector<uint8_t> *out, uint32_t v) {
  out->push_back(static_cast<uint8_t>(v));
  out->push_back(static_cast<uint8_t>(v >> 8));
}

bool isGray(const PixelFormat &format) { return format.channels == 1; }

// A BMP row has one byte a pixel for grey, three for colour, padded to 4.
uint64_t bmpRowBytes(const PixelFormat &format) {
  return (uint64_t{format.width} * (isGray(format) ? 1 : 3) + 3) / 4 * 4;
}

bool fitsBmp(const PixelFormat &format, std::string *why) {
  constexpr uint64_t kMaxBmp = 0xFFFFFFFF;
  if (format.channels != 1 && format.channels != 3) {
    *why = "a .bmp file holds one (grey) or three components";
  } else if (format.maxValue != 255) {
    *why = "a .bmp file holds 8-bit samples only; write .pgm or .ppm";
  } else if (bmpRowBytes(format) * format.height + 2048 > kMaxBmp) {
    *why = "the picture is too large for a .bmp file";
  }
  return why->empty();
}

bool fitsPng(const PixelFormat &format, std::string *why) {
  if (!kHasPng) {
    *why = "this jpgtool was built without PNG";
  } else if (format.channels != 1 && format.channels != 3) {
    *why = "a .png file holds one (grey) or three components; write .pam";
  } else if (format.width == 0 || format.height == 0) {
    *why = "a .png file holds at least one pixel";
  }
  return why->empty();
}

bool fitsNetpbm(FileKind kind, const PixelFormat &format, std::string *why) {
  if (kind == FileKind::kPgm && format.channels != 1) {
    *why = "a .pgm file takes grey; write .ppm, .bmp or .pam";
  } else if (kind == FileKind::kPpm && format.channels != 3 && format.channels != 1) {
    *why = "a .ppm file takes three components; write .pam";
  }
  return why->empty();
}

}  // namespace

uint32_t bitsOf(const PixelFormat &format) {
  uint32_t bits = 2;
  while (format.maxValue >> bits != 0) bits++;
  return bits;
}

bool isPictureKind(const std::string &extension) {
  return extension == "bmp" || extension == "ppm" || extension == "pgm" || extension == "pam" ||
         extension == "png";
}

bool chooseKind(const std::string &name, const std::string &told, const PixelFormat &format,
                FileKind *kind, std::string *why) {
  const std::string extension = told.empty() ? extensionOf(name) : told;
  why->clear();
  if (extension.empty() && (name == "-" || kindOf(name) == NodeKind::kOther)) {
    const bool plain = format.channels == 1 || format.channels == 3;
    *kind = !plain ? FileKind::kPam : format.channels == 1 ? FileKind::kPgm : FileKind::kPpm;
    return true;
  }
  if (extension == "bmp") {
    *kind = FileKind::kBmp;
    return fitsBmp(format, why);
  }
  if (extension == "pam") {
    *kind = FileKind::kPam;
    return true;
  }
  if (extension == "png") {
    *kind = FileKind::kPng;
    return fitsPng(format, why);
  }
  if (extension != "pgm" && extension != "ppm") {
    *why = "unknown kind of picture file (use .png, .bmp, .ppm, .pgm, .pam or -)";
    return false;
  }
  *kind = extension == "pgm" ? FileKind::kPgm : FileKind::kPpm;
  return fitsNetpbm(*kind, format, why);
}

PictureWriter::PictureWriter(OutputFile *out, FileKind kind, const PixelFormat &format)
    : out_(out), kind_(kind), format_(format) {}

bool PictureWriter::begin() {
  if (kind_ == FileKind::kBmp) return beginBmp();
  if (kind_ != FileKind::kPng) return beginNetpbm();
  line_.assign(rowBytes(format_), 0);
  png_ = makePngWriter(out_, format_, bitsOf(format_));
  return png_->begin();
}

bool PictureWriter::beginBmp() {
  const bool gray = isGray(format_);
  pixelOffset_ = kBmpFileHeader + kBmpInfoHeader + (gray ? kGrayTable : 0);
  const uint64_t pixels = bmpRowBytes(format_) * format_.height;
  std::vector<uint8_t> header = {'B', 'M'};
  put32(&header, static_cast<uint32_t>(pixelOffset_ + pixels));
  put32(&header, 0);
  put32(&header, static_cast<uint32_t>(pixelOffset_));
  put32(&header, kBmpInfoHeader);
  put32(&header, format_.width);
  put32(&header, format_.height);
  put16(&header, 1);
  put16(&header, gray ? 8 : 24);
  for (int i = 0; i < 6; i++) put32(&header, 0);
  for (uint32_t i = 0; gray && i < 256; i++) put32(&header, i * 0x010101U);
  line_.assign(static_cast<size_t>(bmpRowBytes(format_)), 0);
  if (!out_->canSeek()) held_.resize(static_cast<size_t>(pixels));
  return out_->write(header.data(), header.size());
}

bool PictureWriter::beginNetpbm() {
  const std::string size = std::to_string(format_.width) + " " + std::to_string(format_.height);
  const std::string max = std::to_string(format_.maxValue);
  std::string header;
  if (kind_ == FileKind::kPam) {
    static constexpr const char *kTuples[] = {"GRAYSCALE", "GRAYSCALE_ALPHA", "RGB", "CMYK"};
    header = "P7\nWIDTH " + std::to_string(format_.width) + "\nHEIGHT " +
             std::to_string(format_.height) + "\nDEPTH " + std::to_string(format_.channels) +
             "\nMAXVAL " + max + "\nTUPLTYPE " + kTuples[format_.channels - 1] + "\nENDHDR\n";
  } else {
    header = (kind_ == FileKind::kPgm ? "P5\n" : "P6\n") + size + "\n" + max + "\n";
  }
  const bool spread = kind_ == FileKind::kPpm && format_.channels == 1;
  line_.assign(rowBytes(format_) * (spread ? 3 : 1), 0);
  return out_->write(header.data(), header.size());
}

// A sample of 9 to 16 bits in 16: the upper bits are repeated in the spare ones.
uint16_t PictureWriter::widened(uint16_t word) const {
  const uint32_t bits = bitsOf(format_);
  return static_cast<uint16_t>(static_cast<uint32_t>(word) << (16 - bits) |
                               word >> (2 * bits - 16));
}

// Converts samples to the file's order: BMP has blue first, the others red first, and words
// with the high byte first.
void PictureWriter::convertRow(const uint8_t *row) {
  const uint32_t n = format_.channels;
  const uint32_t bytes = sampleBytes(format_);
  const bool swap = n == 3 && format_.blueFirst != (kind_ == FileKind::kBmp);
  const bool spread = kind_ == FileKind::kPpm && n == 1;
  uint8_t *out = line_.data();
  for (uint32_t x = 0; x < format_.width; x++) {
    for (uint32_t k = 0; k < (spread ? 3 : n); k++) {
      const uint32_t from = spread ? 0 : swap ? n - 1 - k : k;
      const uint8_t *sample = row + (size_t{x} * n + from) * bytes;
      if (bytes == 1) {
        *out++ = *sample;
        continue;
      }
      uint16_t word;
      std::memcpy(&word, sample, sizeof(word));
      if (kind_ == FileKind::kPng) word = widened(word);
      *out++ = static_cast<uint8_t>(word >> 8);
      *out++ = static_cast<uint8_t>(word);
    }
  }
}

bool PictureWriter::putRow(const uint8_t *row) {
  convertRow(row);
  if (kind_ == FileKind::kBmp) {  // bottom-up, so that every program reads it
    const uint64_t fromBottom = format_.height - 1 - next_;
    if (!held_.empty()) {
      next_++;
      std::memcpy(held_.data() + fromBottom * line_.size(), line_.data(), line_.size());
      return true;
    }
    if (!out_->seek(pixelOffset_ + fromBottom * line_.size())) return false;
  }
  next_++;
  return png_ != nullptr ? png_->putRow(line_.data()) : out_->write(line_.data(), line_.size());
}

bool PictureWriter::putRows(const uint8_t *rows, size_t stride, uint32_t count) {
  for (uint32_t i = 0; i < count; i++) {
    if (!putRow(rows + i * stride)) return false;
  }
  return true;
}

bool PictureWriter::end() {
  if (png_ != nullptr) return png_->end();
  return held_.empty() || out_->write(held_.data(), held_.size());
}

}  // namespace jpgtool
