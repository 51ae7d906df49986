// SPDX-License-Identifier: MIT
#include "dicom.h"

#include <algorithm>
#include <cstring>

namespace jpgtest {
namespace {

constexpr char kSecondaryCapture[] = "1.2.840.10008.5.1.4.1.1.7";
constexpr char kExplicitLittleEndian[] = "1.2.840.10008.1.2.1";
constexpr char kLosslessJpeg[] = "1.2.840.10008.1.2.4.57";

// Elements with explicit value representations, little-endian, in ascending order of tag.
class Elements {
 public:
  void text(unsigned group, unsigned element, const char *vr, std::string value, char pad = ' ') {
    if (value.size() % 2 != 0) value += pad;
    head(group, element, vr);
    number(value.size(), 2);
    bytes_.insert(bytes_.end(), value.begin(), value.end());
  }
  void uid(unsigned group, unsigned element, const std::string &value) {
    text(group, element, "UI", value, '\0');
  }
  void word(unsigned group, unsigned element, size_t value) {
    head(group, element, "US");
    number(2, 2);
    number(value, 2);
  }
  void dword(unsigned group, unsigned element, size_t value) {
    head(group, element, "UL");
    number(4, 2);
    number(value, 4);
  }
  // OB and OW: two empty bytes, then a length of four.
  void data(unsigned group, unsigned element, const char *vr, size_t length) {
    head(group, element, vr);
    number(0, 2);
    number(length, 4);
  }
  void item(unsigned element, size_t length) {
    number(0xFFFE, 2);
    number(element, 2);
    number(length, 4);
  }
  void number(size_t value, int bytes) {
    for (int i = 0; i < bytes; i++) bytes_.push_back(static_cast<uint8_t>(value >> (8 * i)));
  }
  void append(const Bytes &more) { bytes_.insert(bytes_.end(), more.begin(), more.end()); }
  void evenOut() {
    if (bytes_.size() % 2 != 0) bytes_.push_back(0);
  }
  const Bytes &bytes() const { return bytes_; }

 private:
  void head(unsigned group, unsigned element, const char *vr) {
    number(group, 2);
    number(element, 2);
    bytes_.push_back(static_cast<uint8_t>(vr[0]));
    bytes_.push_back(static_cast<uint8_t>(vr[1]));
  }
  Bytes bytes_;
};

void addMeta(const char *syntax, Elements *out) {
  Elements meta;
  meta.data(2, 1, "OB", 2);
  meta.append({0, 1});
  meta.uid(2, 2, kSecondaryCapture);
  meta.uid(2, 3, "1.2.3.4");
  meta.uid(2, 0x10, syntax);
  meta.uid(2, 0x12, "1.2.3");
  out->append(Bytes(128, 0));
  out->append({'D', 'I', 'C', 'M'});
  out->dword(2, 0, meta.bytes().size());
  out->append(meta.bytes());
}

size_t allocated(const DicomImage &image) { return image.precision > 8 ? 16 : 8; }

Elements headers(const DicomImage &image, const char *syntax) {
  Elements e;
  addMeta(syntax, &e);
  e.uid(8, 0x16, kSecondaryCapture);
  e.uid(8, 0x18, "1.2.3.4");
  e.text(8, 0x60, "CS", "OT");
  e.word(0x28, 2, image.components);
  e.text(0x28, 4, "CS", image.components == 1 ? "MONOCHROME2" : "RGB");
  if (image.components > 1) e.word(0x28, 6, 0);  // interleaved
  e.word(0x28, 0x10, image.height);
  e.word(0x28, 0x11, image.width);
  e.word(0x28, 0x100, allocated(image));
  e.word(0x28, 0x101, image.precision);
  e.word(0x28, 0x102, image.precision - 1);
  e.word(0x28, 0x103, 0);
  return e;
}

constexpr uint8_t kPixelTag[] = {0xE0, 0x7F, 0x10, 0x00, 'O'};

uint32_t lengthAt(const Bytes &file, size_t at) {
  if (at + 4 > file.size()) return 0;
  return static_cast<uint32_t>(file[at] | file[at + 1] << 8 | file[at + 2] << 16) |
         static_cast<uint32_t>(file[at + 3]) << 24;
}

Bytes taken(const Bytes &file, size_t at, uint32_t length) {
  if (at > file.size() || length > file.size() - at) return Bytes();
  return Bytes(file.begin() + static_cast<std::ptrdiff_t>(at),
               file.begin() + static_cast<std::ptrdiff_t>(at + length));
}

// Offset of the pixel element's length field; 0 when there is none.
size_t pixelLengthAt(const Bytes &file) {
  const auto found =
      std::search(file.begin(), file.end(), std::begin(kPixelTag), std::end(kPixelTag));
  return found == file.end() ? 0 : static_cast<size_t>(found - file.begin()) + 8;
}

}  // namespace

Bytes dicomOfStream(const DicomImage &image, const Bytes &stream) {
  Elements e = headers(image, kLosslessJpeg);
  e.data(0x7FE0, 0x10, "OB", 0xFFFFFFFF);
  e.item(0xE000, 0);  // the empty offset table
  e.item(0xE000, stream.size() + stream.size() % 2);
  e.append(stream);
  e.evenOut();
  e.item(0xE0DD, 0);
  return e.bytes();
}

Bytes dicomOfSamples(const DicomImage &image, const Bytes &samples) {
  Elements e = headers(image, kExplicitLittleEndian);
  e.data(0x7FE0, 0x10, image.precision > 8 ? "OW" : "OB", samples.size() + samples.size() % 2);
  e.append(samples);
  e.evenOut();
  return e.bytes();
}

Bytes samplesInDicom(const Bytes &file) {
  const size_t at = pixelLengthAt(file);
  return at == 0 ? Bytes() : taken(file, at + 4, lengthAt(file, at));
}

Bytes streamInDicom(const Bytes &file) {
  const size_t at = pixelLengthAt(file);
  if (at == 0) return Bytes();
  // The offset table's item, then the fragment's.
  const size_t fragment = at + 4 + 8 + lengthAt(file, at + 8);
  return taken(file, fragment + 8, lengthAt(file, fragment + 4));
}

}  // namespace jpgtest
