// SPDX-License-Identifier: MIT
// PGM, PPM and PAM files.
#include <algorithm>
#include <cctype>
#include <cstring>

#include "jpg.h"
#include "sampleReader.h"

namespace jpgtool {
namespace {

constexpr uint32_t kMostSample = 65535;

class PnmReader : public SampleReader {
 public:
  explicit PnmReader(PictureFile *file) : file_(file) {}
  uint32_t begin(const Limits &limits, std::string *why) override;
  bool read(uint8_t *row) override;

 private:
  bool readNumber(uint32_t *number);
  bool readHeader();
  bool readPamHeader();
  bool takePamLine(const std::string &line);

  PictureFile *file_;
  uint32_t fileChannels_ = 0;  // of a PAM file, with an alpha channel that isn't delivered
  std::vector<uint8_t> line_;
};

// Reads a number after white space and comments.
bool PnmReader::readNumber(uint32_t *number) {
  int c = file_->get();
  while (c == '#' || std::isspace(c) != 0) {
    if (c == '#') {
      while (c != '\n' && c != EOF) c = file_->get();
    }
    c = file_->get();
  }
  if (c < '0' || c > '9') return false;
  *number = 0;
  for (; c >= '0' && c <= '9'; c = file_->get()) {
    if (*number > 0xFFFFFF) return false;
    *number = *number * 10 + static_cast<uint32_t>(c - '0');
  }
  return std::isspace(c) != 0;  // one white space behind the number
}

// One line of a PAM header: a word and its value.
bool PnmReader::takePamLine(const std::string &line) {
  const size_t space = std::min(line.find(' '), line.size());
  const std::string word = line.substr(0, space);
  if (word == "TUPLTYPE" || word.empty() || word[0] == '#') return true;
  uint32_t number = 0;
  for (size_t i = space + 1; i < line.size(); i++) {
    if (line[i] < '0' || line[i] > '9' || number > 0xFFFFFF) return false;
    number = number * 10 + static_cast<uint32_t>(line[i] - '0');
  }
  if (word == "WIDTH") format_.width = number;
  if (word == "HEIGHT") format_.height = number;
  if (word == "DEPTH") fileChannels_ = number;
  if (word == "MAXVAL") format_.maxValue = number;
  return true;
}

bool PnmReader::readPamHeader() {
  constexpr size_t kMostLine = 1000;
  bool alpha = false;
  for (std::string line; line != "ENDHDR";) {
    line.clear();
    int c = file_->get();
    for (; c != '\n' && c != EOF && line.size() < kMostLine; c = file_->get()) {
      line += static_cast<char>(c);
    }
    if (c != '\n') return false;
    if (line.rfind("TUPLTYPE", 0) == 0 && line.find("_ALPHA") != std::string::npos) alpha = true;
    if (line != "ENDHDR" && !takePamLine(line)) return false;
  }
  format_.channels = fileChannels_ - (alpha && fileChannels_ > 1 ? 1 : 0);
  return fileChannels_ >= 1 && fileChannels_ <= 4;
}

bool PnmReader::readHeader() {
  const int p = file_->get();
  const int kind = file_->get();
  if (p != 'P' || kind < '5' || kind > '7') return false;
  if (kind == '7') return file_->get() == '\n' && readPamHeader();
  format_.channels = fileChannels_ = kind == '6' ? 3 : 1;
  return readNumber(&format_.width) && readNumber(&format_.height) && readNumber(&format_.maxValue);
}

uint32_t PnmReader::begin(const Limits &limits, std::string *why) {
  if (!readHeader()) {
    *why = "not a binary PGM, PPM, PAM, BMP or PNG file";
    return JPG_E_UNSUPPORTED;
  }
  if (format_.maxValue < 1 || format_.maxValue > kMostSample) {
    *why = "the largest sample value must be 1 to 65535";
    return JPG_E_UNSUPPORTED;
  }
  if (const uint32_t r = checkSize(limits, why); r != JPG_OK) return r;
  line_.resize(size_t{format_.width} * fileChannels_ * sampleBytes(format_));
  return JPG_OK;
}

// Words have the high byte first. No sample is above the largest value.
bool PnmReader::read(uint8_t *row) {
  const bool asItIs = format_.maxValue == 255 && fileChannels_ == format_.channels;
  if (asItIs) return file_->read(row, line_.size());
  if (!file_->read(line_.data(), line_.size())) return false;
  const uint32_t bytes = sampleBytes(format_);
  const uint8_t *from = line_.data();
  for (uint32_t x = 0; x < format_.width; x++, from += size_t{fileChannels_} * bytes) {
    for (uint32_t k = 0; k < format_.channels; k++, row += bytes) {
      const uint8_t *sample = from + size_t{k} * bytes;
      const uint32_t value =
          bytes == 1 ? sample[0] : static_cast<uint32_t>(sample[0]) << 8 | sample[1];
      putSample(row, bytes, std::min(value, format_.maxValue));
    }
  }
  return true;
}

}  // namespace

std::unique_ptr<SampleReader> makePnmReader(PictureFile *file) {
  return std::make_unique<PnmReader>(file);
}

}  // namespace jpgtool
