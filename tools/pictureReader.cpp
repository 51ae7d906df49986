#include "pictureReader.h"

#include <algorithm>
#include <cctype>
#include <cstring>

namespace jpgtool {
namespace {

constexpr uint32_t kFileHeader = 14;
constexpr uint32_t kInfoHeader = sizeof(BITMAPINFOHEADER);
constexpr uint32_t kMaskBytes = 12;

uint32_t number32(const uint8_t *p) {
  return p[0] | static_cast<uint32_t>(p[1]) << 8 | static_cast<uint32_t>(p[2]) << 16 |
         static_cast<uint32_t>(p[3]) << 24;
}

uint16_t number16(const uint8_t *p) { return static_cast<uint16_t>(p[0] | p[1] << 8); }

// Reads the header's fields from a file's bytes, independent of the machine's byte order.
BITMAPINFOHEADER parseHeader(const uint8_t *p) {
  BITMAPINFOHEADER h = {};
  h.biSize = number32(p);
  h.biWidth = static_cast<int32_t>(number32(p + 4));
  h.biHeight = static_cast<int32_t>(number32(p + 8));
  h.biPlanes = number16(p + 12);
  h.biBitCount = number16(p + 14);
  h.biCompression = number32(p + 16);
  h.biSizeImage = number32(p + 20);
  h.biClrUsed = number32(p + 32);
  return h;
}

bool isServedDepth(uint32_t bits) {
  return bits == 1 || bits == 4 || bits == 8 || bits == 16 || bits == 24 || bits == 32;
}

}  // namespace

std::FILE *openInput(const std::string &name) {
  return name == "-" ? stdin : std::fopen(name.c_str(), "rb");
}

// ---- PGM and PPM ----------------------------------------------------------

// Reads a number after white space and comments.
bool PnmReader::readNumber(uint32_t *number) {
  int c = std::getc(file_);
  while (c == '#' || std::isspace(c) != 0) {
    if (c == '#') {
      while (c != '\n' && c != EOF) c = std::getc(file_);
    }
    c = std::getc(file_);
  }
  if (c < '0' || c > '9') return false;
  *number = 0;
  for (; c >= '0' && c <= '9'; c = std::getc(file_)) {
    if (*number > 0xFFFFFF) return false;
    *number = *number * 10 + static_cast<uint32_t>(c - '0');
  }
  return std::isspace(c) != 0;  // one white space behind the number
}

bool PnmReader::begin(std::string *why) {
  const int p = std::getc(file_);
  const int kind = std::getc(file_);
  const bool known = p == 'P' && (kind == '5' || kind == '6');
  format_.channels = kind == '6' ? 3 : 1;
  if (!known || !readNumber(&format_.width) || !readNumber(&format_.height) ||
      !readNumber(&format_.maxValue)) {
    *why = "not a binary PGM, PPM or BMP file";
    return false;
  }
  constexpr uint32_t kMaxSide = 65535;
  if (format_.width < 1 || format_.width > kMaxSide || format_.height < 1 ||
      format_.height > kMaxSide) {
    *why = "a JPEG picture has 1 to 65535 pixels each way";
  } else if (format_.maxValue < 1 || format_.maxValue > 65535) {
    *why = "the largest sample value must be 1 to 65535";
  }
  format_.blueFirst = format_.channels == 3 && !fileOrder_;
  return why->empty();
}

uint32_t PnmReader::bits() const {
  uint32_t bits = 2;
  while (format_.maxValue >> bits != 0) bits++;
  return bits;
}

// Converts a row from the file's order (words high byte first, red first) to the one asked for.
void PnmReader::swapRow(uint8_t *row) const {
  const uint32_t bytes = sampleBytes(format_);
  const uint32_t pixelBytes = bytes * format_.channels;
  for (uint32_t x = 0; x < format_.width; x++, row += pixelBytes) {
    if (bytes == 2) {
      for (uint32_t k = 0; k < format_.channels; k++) {
        const auto word = static_cast<uint16_t>(row[2 * k] << 8 | row[2 * k + 1]);
        std::memcpy(row + size_t{2} * k, &word, sizeof(word));
      }
    }
    if (format_.blueFirst) std::swap_ranges(row, row + bytes, row + size_t{2} * bytes);
  }
}

bool PnmReader::read(uint8_t *rows, uint32_t count) {
  const size_t bytes = rowBytes(format_);
  if (std::fread(rows, bytes, count, file_) != count) return false;
  for (uint32_t y = 0; y < count; y++) swapRow(rows + y * bytes);
  return true;
}

// ---- BMP ------------------------------------------------------------------

bool BmpReader::isCoded() const {
  const uint32_t compression = info_.bmi.bmiHeader.biCompression;
  return compression == BI_RLE8 || compression == BI_RLE4;
}

bool BmpReader::isGray() const {
  if (info_.bmi.bmiHeader.biBitCount != 8) return false;
  const uint8_t *color = info_.bytes + kInfoHeader;
  const uint32_t used = info_.bmi.bmiHeader.biClrUsed;
  for (uint32_t i = 0; i < (used != 0 ? used : 256); i++, color += sizeof(RGBQUAD)) {
    if (color[0] != color[1] || color[1] != color[2]) return false;
  }
  return true;
}

bool BmpReader::hasByteSamples() const {
  const BITMAPINFOHEADER &h = info_.bmi.bmiHeader;
  return h.biCompression == BI_RGB &&
         (h.biBitCount == 8 || h.biBitCount == 24 || h.biBitCount == 32);
}

void BmpReader::samplesOf(const uint8_t *row, uint8_t *samples) const {
  const uint32_t depth = info_.bmi.bmiHeader.biBitCount;
  const bool gray = isGray();
  const uint8_t *colors = info_.bytes + kInfoHeader;
  for (uint32_t x = 0; x < width(); x++) {
    const uint8_t *pixel =
        depth == 8 ? colors + sizeof(RGBQUAD) * row[x] : row + size_t{depth / 8} * x;
    if (!gray) *samples++ = pixel[2];
    if (!gray) *samples++ = pixel[1];
    *samples++ = pixel[0];
  }
}

size_t BmpReader::rowBytes() const {
  return (size_t{width()} * info_.bmi.bmiHeader.biBitCount + 31) / 32 * 4;
}

// Reads the colour table, or the masks in the form that the library expects, behind the header.
bool BmpReader::readColors(uint32_t bytes) {
  BITMAPINFOHEADER *h = &info_.bmi.bmiHeader;
  const uint32_t room = sizeof(info_.bytes) - kInfoHeader;
  const bool masks = h->biCompression == BI_BITFIELDS;
  if (h->biBitCount > 8 && !masks) return true;
  uint32_t wanted = masks ? kMaskBytes : bytes;
  if (wanted > room) wanted = room;
  if (!masks && h->biClrUsed > 256) h->biClrUsed = 0;
  return std::fread(info_.bytes + kInfoHeader, 1, wanted, file_) == wanted;
}

bool BmpReader::begin(std::string *why) {
  uint8_t head[kFileHeader + kInfoHeader];
  *why = "not a BMP file that can be read";
  if (std::fread(head, 1, sizeof(head), file_) != sizeof(head)) return false;
  if (head[0] != 'B' || head[1] != 'M') return false;
  BITMAPINFOHEADER h = parseHeader(head + kFileHeader);
  const uint32_t fileHeaderSize = h.biSize;
  const int64_t rows = h.biHeight;
  constexpr int32_t kMaxSide = 65535;
  if (fileHeaderSize < kInfoHeader || !isServedDepth(h.biBitCount)) return false;
  if (h.biWidth < 1 || h.biWidth > kMaxSide || rows == 0 || rows > kMaxSide || rows < -kMaxSide) {
    *why = "a JPEG picture has 1 to 65535 pixels each way";
    return false;
  }
  topDown_ = rows < 0;
  height_ = static_cast<uint32_t>(topDown_ ? -rows : rows);
  pixelOffset_ = number32(head + 10);
  h.biSize = kInfoHeader;
  h.biHeight = static_cast<int32_t>(height_);
  info_.bmi.bmiHeader = h;
  // Masks are where the colour table would be, also in longer headers.
  const bool longHeader = fileHeaderSize > kInfoHeader && h.biCompression != BI_BITFIELDS;
  if (longHeader &&
      std::fseek(file_, static_cast<long>(kFileHeader + fileHeaderSize), SEEK_SET) != 0) {
    return false;
  }
  const uint32_t colors = h.biClrUsed != 0 ? h.biClrUsed : 1U << (h.biBitCount & 15);
  if (colors > 256 && h.biBitCount <= 8) return false;
  if (!readColors(colors * static_cast<uint32_t>(sizeof(RGBQUAD)))) return false;
  why->clear();
  return true;
}

bool BmpReader::read(uint8_t *rows, uint32_t first, uint32_t count) {
  const size_t bytes = rowBytes();
  const uint64_t inFile = topDown_ ? first : height_ - first - count;
  if (fseeko(file_, static_cast<off_t>(pixelOffset_ + inFile * bytes), SEEK_SET) != 0) return false;
  if (std::fread(rows, bytes, count, file_) != count) return false;
  for (uint32_t y = 0; topDown_ && y < count / 2; y++) {
    std::swap_ranges(rows + y * bytes, rows + (y + 1) * bytes, rows + (count - 1 - y) * bytes);
  }
  return true;
}

bool BmpReader::readCoded(std::vector<uint8_t> *data) {
  if (fseeko(file_, static_cast<off_t>(pixelOffset_), SEEK_SET) != 0) return false;
  uint8_t chunk[4096];
  for (size_t n; (n = std::fread(chunk, 1, sizeof(chunk), file_)) > 0;) {
    data->insert(data->end(), chunk, chunk + n);
  }
  info_.bmi.bmiHeader.biSizeImage = static_cast<uint32_t>(data->size());
  return !data->empty();
}

}  // namespace jpgtool
