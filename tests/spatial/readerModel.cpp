#include "readerModel.h"

#include <algorithm>
#include <cstring>

#include "jpg.h"

namespace jpgtest {
namespace {

uint32_t wordAt(const Bytes &stream, size_t at) { return stream[at] * 256U + stream[at + 1]; }

int32_t floorHalf(int32_t v) { return (v - (v % 2 != 0 && v < 0 ? 1 : 0)) / 2; }

int32_t prediction(uint32_t selection, int32_t left, int32_t above, int32_t corner) {
  switch (selection) {
    case 1:
      return left;
    case 2:
      return above;
    case 3:
      return corner;
    case 4:
      return left + above - corner;
    case 5:
      return left + floorHalf(above - corner);
    case 6:
      return above + floorHalf(left - corner);
    default:
      return floorHalf(left + above);
  }
}

}  // namespace

// ---- Headers --------------------------------------------------------------

bool ReaderModel::open(const Bytes &stream) {
  for (size_t at = 2; at + 4 <= stream.size();) {
    if (stream[at] != 0xFF) return false;
    const uint32_t marker = stream[at + 1];
    const size_t length = wordAt(stream, at + 2), data = at + 4;
    at += 2 + length;
    if (at > stream.size()) return false;
    if (marker == 0xC4) tables(stream, data, at);
    if (marker == 0xDD) restart = wordAt(stream, data);
    if (marker >= 0xC0 && marker <= 0xC3) {
      sof = 0xFF00 + marker;
      precision = stream[data];
      height = wordAt(stream, data + 1);
      width = wordAt(stream, data + 3);
      components = stream[data + 5];
      for (size_t k = 0; k < components; k++) ids_.push_back(stream[data + 6 + 3 * k]);
    }
    if (marker != 0xDA) continue;
    unstuff(stream, at);
    saved_.assign(rowBytes() * 2, 0);
    return scan(stream, data);
  }
  return false;
}

void ReaderModel::tables(const Bytes &stream, size_t at, size_t end) {
  while (at + 17 <= end) {
    HuffTable table;
    size_t sum = 0;
    for (size_t i = 0; i < 16; i++) sum += table.counts[i] = stream[at + 1 + i];
    if (at + 17 + sum > end) return;
    const auto from = stream.begin() + static_cast<std::ptrdiff_t>(at + 17);
    table.values.assign(from, from + static_cast<std::ptrdiff_t>(sum));
    if (stream[at] < 4) tables_[stream[at]] = table;
    at += 17 + sum;
  }
}

bool ReaderModel::scan(const Bytes &stream, size_t at) {
  const size_t count = stream[at];
  for (size_t k = 0; k < count; k++) {
    if (std::find(ids_.begin(), ids_.end(), stream[at + 1 + 2 * k]) == ids_.end()) return false;
    used_.push_back(&tables_[(stream[at + 2 + 2 * k] >> 4) & 3]);
  }
  predictor = stream[at + 1 + 2 * count];
  point = stream[at + 3 + 2 * count] & 15;
  return count == components;
}

// ---- Coded data -----------------------------------------------------------

// T.81 B.1.1.5: the 00 behind an FF is none of the data. Both bytes of a marker stay.
void ReaderModel::unstuff(const Bytes &stream, size_t from) {
  for (size_t i = from; i < stream.size(); i++) {
    const bool escape = stream[i] == 0xFF && i + 1 < stream.size();
    const bool stuffed = escape && stream[i + 1] == 0;
    data_.push_back({stream[i], stuffed});
    if (!escape) continue;
    i++;
    if (!stuffed) data_.push_back({stream[i], false});
  }
}

// Behind the end there are ones for ever.
ReaderModel::DataByte ReaderModel::byteAt(size_t i) const {
  return i < data_.size() ? data_[i] : DataByte{0xFF, false};
}

uint32_t ReaderModel::bit() {
  const uint32_t value = uint32_t{byteAt(position_ / 8).value} >> (7 - position_ % 8) & 1U;
  position_++;
  return value;
}

bool ReaderModel::category(const HuffTable &table, uint32_t *value) {
  uint32_t code = 0, first = 0;
  size_t index = 0;
  for (size_t length = 1; length <= 16; length++) {
    code = code * 2 + bit();
    first *= 2;
    const uint32_t count = table.counts[length - 1];
    if (code < first + count) {
      *value = table.values[index + code - first];
      return true;
    }
    index += count;
    first += count;
  }
  return false;
}

bool ReaderModel::difference(const HuffTable &table, int32_t *value) {
  uint32_t length = 0, bits = 0;
  if (!category(table, &length) || length > 16) return false;
  for (uint32_t i = 0; i < length; i++) bits = bits * 2 + bit();
  *value = static_cast<int32_t>(bits);
  const bool negative = length >= 1 && length <= 15 && bits >> (length - 1) == 0;
  if (negative) *value -= (1 << length) - 1;
  return true;
}

// What stands behind the interval, from the next whole byte on.
void ReaderModel::markers() {
  while (true) {
    const size_t at = (position_ + 7) / 8;
    const uint32_t code = byteAt(at + 1).value;
    if (byteAt(at).value != 0xFF || byteAt(at).stuffed || code < 0xC0 || code == 0xFF) return;
    if (code == 0xD9) return;
    position_ = (at + 2) * 8;
    if (code >= 0xD0 && code <= 0xD7) pixels_ = 0;
  }
}

// ---- Rows -----------------------------------------------------------------

int32_t ReaderModel::sampleAt(const uint8_t *row, size_t i) const {
  if (precision <= 8) return row[i];
  uint16_t word = 0;
  std::memcpy(&word, row + 2 * i, 2);
  return word;
}

void ReaderModel::store(uint8_t *row, size_t i, int32_t value) const {
  if (precision <= 8) {
    row[i] = static_cast<uint8_t>(value & 255);
    return;
  }
  const auto word = static_cast<uint16_t>(value & ((1 << precision) - 1));
  std::memcpy(row + 2 * i, &word, 2);
}

uint32_t ReaderModel::row(uint8_t *now, const uint8_t *above, bool first) {
  const size_t n = components;
  for (size_t i = 0; i < width * n; i++) {
    if (i == n && !first && (predictor == 0 || predictor > 7)) return JPG_E_INVALID_PARAMETER;
    int32_t d = 0;
    if (!difference(*used_[i % n], &d)) return JPG_E_FAIL;
    int32_t p = 0;
    if (i >= n && first) {
      p = sampleAt(now, i - n);
    } else if (i >= n) {
      p = prediction(predictor, sampleAt(now, i - n), sampleAt(above, i), sampleAt(above, i - n));
    } else if (!first) {
      p = sampleAt(above, i);
    } else if (point < precision) {
      p = 1 << (precision - point - 1);
    }
    store(now, i, p + d);
  }
  return first || (predictor >= 1 && predictor <= 7) ? JPG_OK : JPG_E_INVALID_PARAMETER;
}

uint32_t ReaderModel::read(uint8_t *bits, int32_t stride, int32_t lines) {
  if (sof != 0xFFC3) return JPG_E_UNSUPPORTED;
  if (height != 0) {
    if (height <= done_) return JPG_E_FAIL;
    lines = std::min(lines, static_cast<int32_t>(height - done_));
  }
  if (precision < 2 || precision > 16) return JPG_E_NOT_JPEG;
  Bytes above = saved_;
  for (int32_t i = 0; i < lines; i++) {
    const bool first = first_;
    first_ = false;
    const uint32_t r = row(bits, above.data(), first);
    if (r != JPG_OK) return r;
    pixels_ += width;
    if (pixels_ == restart) {
      first_ = true;
      markers();
    }
    if (++done_ >= height) break;
    above.assign(bits, bits + rowBytes());
    bits += stride;
  }
  std::memcpy(saved_.data(), bits, rowBytes());
  return JPG_OK;
}

}  // namespace jpgtest
