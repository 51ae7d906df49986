// SPDX-License-Identifier: MIT
// BMP files: 1 to 32 bits a pixel, palettes, masks, run lengths, of Windows and of OS/2.
#include <algorithm>
#include <cstring>

#include "jpg.h"
#include "sampleReader.h"

namespace jpgtool {
namespace {

constexpr uint32_t kFileHeader = 14;
constexpr uint32_t kCoreHeader = 12;  // of OS/2 1: sizes of 16 bits, three bytes a colour
constexpr uint32_t kInfoHeader = 40;
constexpr uint32_t kOs2Header = 64;  // of OS/2 2
constexpr uint32_t kLongestHeader = 124;
constexpr uint32_t kAlphaFields = 6;  // compression: masks, the fourth for alpha
constexpr uint32_t kMostColors = 256;

uint32_t number32(const uint8_t *p) {
  return p[0] | static_cast<uint32_t>(p[1]) << 8 | static_cast<uint32_t>(p[2]) << 16 |
         static_cast<uint32_t>(p[3]) << 24;
}

uint32_t number16(const uint8_t *p) { return p[0] | static_cast<uint32_t>(p[1]) << 8; }

// A colour of a pixel: its bits, brought to 8.
struct Mask {
  uint32_t mask = 0;
  uint32_t shift = 0;

  explicit Mask(uint32_t bits = 0) : mask(bits) {
    while (mask != 0 && (mask >> shift & 1) == 0) shift++;
  }
  uint8_t of(uint32_t pixel) const {
    const uint64_t most = mask >> shift;
    if (most == 0) return 0;
    return static_cast<uint8_t>((uint64_t{(pixel & mask) >> shift} * 255 + most / 2) / most);
  }
};

struct Color {
  uint8_t red = 0, green = 0, blue = 0;
};

class BmpReader : public SampleReader {
 public:
  explicit BmpReader(PictureFile *file) : file_(file) {}
  uint32_t begin(const Limits &limits, std::string *why) override;
  bool read(uint8_t *row) override;

 private:
  bool readHeader();
  bool isServed() const;
  bool readMasks(uint32_t behind);
  bool readColors(uint32_t at, uint32_t used);
  bool isCoded() const { return compression_ == BI_RLE8 || compression_ == BI_RLE4; }
  bool isGray() const;
  bool expandRuns();
  void literal(const uint8_t *code, uint32_t count, uint32_t *x, uint32_t y);
  void put(uint32_t x, uint32_t y, uint8_t index);
  Color colorOf(const uint8_t *row, uint32_t x) const;

  PictureFile *file_;
  uint8_t header_[kLongestHeader] = {};
  uint32_t headerSize_ = 0;
  uint32_t bits_ = 0, compression_ = BI_RGB, pixelOffset_ = 0;
  bool topDown_ = false;
  Mask masks_[3];  // red, green, blue
  std::vector<Color> colors_;
  std::vector<uint8_t> line_;     // a row of the file
  std::vector<uint8_t> indices_;  // of the whole picture, when it is run-length coded
  uint32_t next_ = 0;
};

// Reads the header of any length into the fields.
bool BmpReader::readHeader() {
  uint8_t head[kFileHeader + 4];
  if (!file_->makeSeekable() || !file_->read(head, sizeof(head))) return false;
  if (head[0] != 'B' || head[1] != 'M') return false;
  pixelOffset_ = number32(head + 10);
  headerSize_ = number32(head + kFileHeader);
  const bool core = headerSize_ == kCoreHeader;
  if (!core && (headerSize_ < 16 || headerSize_ > 4096)) return false;
  const size_t there = std::min(headerSize_, kLongestHeader);
  if (!file_->read(header_ + 4, there - 4)) return false;
  const auto height = static_cast<int32_t>(core ? number16(header_ + 6) : number32(header_ + 8));
  format_.width = core ? number16(header_ + 4) : number32(header_ + 4);
  topDown_ = height < 0;
  format_.height = topDown_ ? 0U - static_cast<uint32_t>(height) : static_cast<uint32_t>(height);
  bits_ = number16(header_ + (core ? 10 : 14));
  compression_ = core ? BI_RGB : number32(header_ + 16);
  return true;
}

bool BmpReader::isServed() const {
  switch (compression_) {
    case BI_RGB:
      return bits_ == 1 || bits_ == 2 || bits_ == 4 || bits_ == 8 || bits_ == 16 || bits_ == 24 ||
             bits_ == 32;
    case BI_RLE8:
      return bits_ == 8 && !topDown_;
    case BI_RLE4:
      return bits_ == 4 && !topDown_;
    case BI_BITFIELDS:  // OS/2 2 means another coding by this
    case kAlphaFields:
      return (bits_ == 16 || bits_ == 32) && headerSize_ != kOs2Header;
    default:
      return false;
  }
}

// The masks stand in headers of 52 bytes and more, else behind the header.
bool BmpReader::readMasks(uint32_t behind) {
  constexpr uint32_t kWithMasks = 52;
  if (compression_ == BI_RGB) {
    static constexpr uint32_t k16[] = {0x7C00, 0x3E0, 0x1F}, k32[] = {0xFF0000, 0xFF00, 0xFF};
    for (int i = 0; i < 3; i++) masks_[i] = Mask(bits_ == 16 ? k16[i] : k32[i]);
    return true;
  }
  uint8_t told[12];
  std::memcpy(told, header_ + kInfoHeader, sizeof(told));
  const bool here = headerSize_ >= kWithMasks;
  if (!here && (!file_->seek(behind) || !file_->read(told, sizeof(told)))) return false;
  for (int i = 0; i < 3; i++) masks_[i] = Mask(number32(told + 4 * i));
  return masks_[0].mask != 0 || masks_[1].mask != 0 || masks_[2].mask != 0;
}

// Reads the colour table. What the file doesn't have of it is black.
bool BmpReader::readColors(uint32_t at, uint32_t used) {
  const uint32_t most = 1U << bits_, bytes = headerSize_ == kCoreHeader ? 3 : 4;
  uint32_t count = used != 0 ? std::min(used, most) : most;
  if (pixelOffset_ > at) count = std::min(count, (pixelOffset_ - at) / bytes);
  std::vector<uint8_t> table(size_t{count} * bytes);
  if (!file_->seek(at) || !file_->read(table.data(), table.size())) return false;
  colors_.resize(kMostColors);
  for (uint32_t i = 0; i < count; i++) {
    const uint8_t *entry = table.data() + size_t{i} * bytes;
    colors_[i] = {entry[2], entry[1], entry[0]};
  }
  // Entries that no table gives don't make a grey picture a coloured one.
  return true;
}

bool BmpReader::isGray() const {
  return !colors_.empty() && std::all_of(colors_.begin(), colors_.end(), [](const Color &c) {
    return c.red == c.green && c.green == c.blue;
  });
}

uint32_t BmpReader::begin(const Limits &limits, std::string *why) {
  *why = "not a BMP file that can be read";
  if (!readHeader() || !isServed()) return JPG_E_UNSUPPORTED;
  if (const uint32_t r = checkSize(limits, why); r != JPG_OK) return r;
  const uint32_t behind = kFileHeader + headerSize_;
  const uint32_t used = headerSize_ >= 36 ? number32(header_ + 32) : 0;
  const bool read = bits_ <= 8 ? readColors(behind, used) : readMasks(behind);
  if (!read) return JPG_E_UNSUPPORTED;
  format_.channels = isGray() ? 1 : 3;
  line_.resize((size_t{format_.width} * bits_ + 31) / 32 * 4);
  why->clear();
  if (!isCoded()) return JPG_OK;
  const uint64_t memory = uint64_t{format_.width} * format_.height;
  if (const uint32_t r = checkMemory(limits, memory, why); r != JPG_OK) return r;
  if (expandRuns()) return JPG_OK;
  *why = "its run lengths are damaged";
  return JPG_E_UNSUPPORTED;
}

void BmpReader::put(uint32_t x, uint32_t y, uint8_t index) {
  if (x >= format_.width || y >= format_.height) return;
  indices_[size_t{format_.width} * (format_.height - 1 - y) + x] = index;
}

void BmpReader::literal(const uint8_t *code, uint32_t count, uint32_t *x, uint32_t y) {
  for (uint32_t i = 0; i < count; i++) {
    const uint8_t pair = code[bits_ == 8 ? i : i / 2];
    put((*x)++, y, bits_ == 8 ? pair : static_cast<uint8_t>(i % 2 == 0 ? pair >> 4 : pair & 15));
  }
}

// Expands run lengths; what they leave out has index 0. A code begins with a count and an index; a
// count of 0 brings an escape: end of line, end of picture, a step, or so many literal indices.
bool BmpReader::expandRuns() {
  if (!file_->seek(pixelOffset_)) return false;
  indices_.assign(size_t{format_.width} * format_.height, 0);
  uint32_t x = 0, y = 0;
  for (uint8_t code[256]; y < format_.height;) {
    if (!file_->read(code, 2)) return false;
    const uint32_t count = code[0], escape = code[1];
    if (count != 0) {
      for (uint32_t i = 0; i < count; i++) {
        const uint32_t nibble = i % 2 == 0 ? escape >> 4 : escape & 15;
        put(x++, y, static_cast<uint8_t>(bits_ == 8 ? escape : nibble));
      }
    } else if (escape == 0) {
      x = 0;
      y++;
    } else if (escape == 1) {
      return true;
    } else if (escape == 2) {
      if (!file_->read(code, 2)) return false;
      x += code[0];
      y += code[1];
    } else {
      const uint32_t bytes = bits_ == 8 ? escape : (escape + 1) / 2;
      if (!file_->read(code, (bytes + 1) / 2 * 2)) return false;  // padded to words
      literal(code, escape, &x, y);
    }
    if (x > 0xFFFFFF) return false;
  }
  return true;
}

Color BmpReader::colorOf(const uint8_t *row, uint32_t x) const {
  if (isCoded()) return colors_[row[x]];
  if (bits_ <= 8) {
    const uint32_t bit = x * bits_;
    return colors_[row[bit / 8] >> (8 - bits_ - bit % 8) & ((1U << bits_) - 1)];
  }
  const uint8_t *pixel = row + size_t{bits_ / 8} * x;
  if (bits_ == 24) return {pixel[2], pixel[1], pixel[0]};
  const uint32_t value = bits_ == 16 ? number16(pixel) : number32(pixel);
  return {masks_[0].of(value), masks_[1].of(value), masks_[2].of(value)};
}

bool BmpReader::read(uint8_t *row) {
  const uint8_t *from = line_.data();
  const uint32_t y = next_++;
  if (isCoded()) {
    from = indices_.data() + size_t{format_.width} * y;
  } else {
    const uint64_t inFile = topDown_ ? y : format_.height - 1 - y;
    if (!file_->seek(pixelOffset_ + inFile * line_.size())) return false;
    if (!file_->read(line_.data(), line_.size())) return false;
  }
  for (uint32_t x = 0; x < format_.width; x++) {
    const Color color = colorOf(from, x);
    *row++ = color.red;
    if (format_.channels == 1) continue;
    *row++ = color.green;
    *row++ = color.blue;
  }
  return true;
}

}  // namespace

std::unique_ptr<SampleReader> makeBmpReader(PictureFile *file) {
  return std::make_unique<BmpReader>(file);
}

}  // namespace jpgtool
