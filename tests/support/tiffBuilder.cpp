// SPDX-License-Identifier: MIT
#include "support/tiffBuilder.h"

#include <algorithm>

#include "support/picture.h"
#include "support/streamBuilder.h"

namespace jpgtest {
namespace {

constexpr uint32_t kHeader = 8;  // byte order, 42, offset of the 0th directory
constexpr size_t kField = 4;     // the value's place in an entry

Bytes numberOf(uint32_t number, size_t size, ByteOrder order) {
  Bytes out(size);
  for (size_t i = 0; i < size; i++) {
    const size_t place = order == ByteOrder::kLittle ? i : size - 1 - i;
    out[place] = static_cast<uint8_t>(number >> (8 * i));
  }
  return out;
}

}  // namespace

TiffBuilder::TiffBuilder(ByteOrder order) : order_(order) {
  const uint8_t letter = order == ByteOrder::kLittle ? 'I' : 'M';
  bytes_.assign(2, letter);
  append(bytes_, number16(42));
  append(bytes_, number32(kHeader));
}

Bytes TiffBuilder::number16(uint32_t number) const { return numberOf(number, 2, order_); }
Bytes TiffBuilder::number32(uint32_t number) const { return numberOf(number, 4, order_); }

TiffEntry TiffBuilder::shorts(uint16_t tag, const std::vector<uint32_t> &numbers) const {
  TiffEntry entry = {tag, kShort, static_cast<uint32_t>(numbers.size()), {}};
  for (const uint32_t number : numbers) append(entry.value, number16(number));
  return entry;
}

TiffEntry TiffBuilder::longs(uint16_t tag, const std::vector<uint32_t> &numbers) const {
  TiffEntry entry = {tag, kLong, static_cast<uint32_t>(numbers.size()), {}};
  for (const uint32_t number : numbers) append(entry.value, number32(number));
  return entry;
}

TiffEntry TiffBuilder::text(uint16_t tag, const std::string &text) const {
  TiffEntry entry = {tag, kAscii, static_cast<uint32_t>(text.size() + 1), {}};
  entry.value.assign(text.begin(), text.end());
  entry.value.push_back(0);
  return entry;
}

TiffEntry TiffBuilder::claim(uint16_t tag, uint16_t type, uint32_t count, uint32_t field) const {
  return {tag, type, count, number32(field)};
}

uint32_t TiffBuilder::put(const Bytes &data) {
  evenOut();
  const auto offset = static_cast<uint32_t>(bytes_.size());
  append(bytes_, data);
  return offset;
}

uint32_t TiffBuilder::putIfd(const std::vector<TiffEntry> &entries, uint32_t next) {
  Bytes ifd = number16(static_cast<uint32_t>(entries.size()));
  for (const TiffEntry &entry : entries) {
    append(ifd, number16(entry.tag));
    append(ifd, number16(entry.type));
    append(ifd, number32(entry.count));
    Bytes field = entry.value.size() > kField ? number32(put(entry.value)) : entry.value;
    field.resize(kField);
    append(ifd, field);
  }
  append(ifd, number32(next));
  return put(ifd);
}

uint32_t TiffBuilder::putZeroth(const std::vector<TiffEntry> &entries, uint32_t next) {
  const uint32_t offset = putIfd(entries, next);
  setZeroth(offset);
  return offset;
}

void TiffBuilder::overwrite16(size_t at, uint32_t number) {
  const Bytes two = number16(number);
  std::copy(two.begin(), two.end(), bytes_.begin() + static_cast<std::ptrdiff_t>(at));
}

void TiffBuilder::overwrite32(size_t at, uint32_t number) {
  const Bytes four = number32(number);
  std::copy(four.begin(), four.end(), bytes_.begin() + static_cast<std::ptrdiff_t>(at));
}

void TiffBuilder::evenOut() {
  if (bytes_.size() % 2 != 0) bytes_.push_back(0);
}

Bytes exifData(const Bytes &tiff) {
  Bytes data;
  for (const char c : {'E', 'x', 'i', 'f', '\0', '\0'}) data.push_back(static_cast<uint8_t>(c));
  append(data, tiff);
  return data;
}

Bytes exifSegment(const Bytes &tiff) {
  return StreamBuilder().segment(kApp1, exifData(tiff)).bytes();
}

Bytes streamWith(const Bytes &segments) {
  Picture picture = makePicture(16, 8, {0x11});
  picture.before = segments;
  return encode(picture);
}

Bytes streamOf(const TiffBuilder &tiff) { return streamWith(exifSegment(tiff.bytes())); }

}  // namespace jpgtest
