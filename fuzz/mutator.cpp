// SPDX-License-Identifier: MIT
#include "mutator.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <utility>
#include <vector>

#include "streamParts.h"
#include "support/random.h"

namespace jpgfuzz {
namespace {

using jpgtest::kApp0, jpgtest::kApp14, jpgtest::kDht, jpgtest::kDnl, jpgtest::kDqt, jpgtest::kDri;
using jpgtest::kEoi, jpgtest::kRst0, jpgtest::kSof0, jpgtest::kSof1, jpgtest::kSos;

using Parts = std::vector<Part>;

struct Work {
  Parts parts;
  jpgtest::Random random;
  Plain plain;

  size_t below(size_t n) { return random.below(static_cast<uint32_t>(n)); }
  uint8_t byteBelow(uint32_t n) { return static_cast<uint8_t>(random.below(n)); }
  Parts::iterator at(size_t i) { return parts.begin() + static_cast<std::ptrdiff_t>(i); }

  // One of the parts that fulfil the condition; null without any.
  template <class Condition>
  Part *choose(const Condition &condition) {
    std::vector<Part *> found;
    for (Part &part : parts) {
      if (condition(part)) found.push_back(&part);
    }
    return found.empty() ? nullptr : found[below(found.size())];
  }
  Part *segment(uint8_t code) {
    return choose([=](const Part &p) { return p.kind == Kind::kSegment && p.code == code; });
  }
  Part *ofKind(Kind kind) {
    return choose([=](const Part &p) { return p.kind == kind; });
  }
  Part *frame() {
    return choose([](const Part &p) { return p.kind == Kind::kSegment && isFrame(p.code); });
  }
};

void insert(Bytes *bytes, size_t at, const Bytes &more) {
  bytes->insert(bytes->begin() + static_cast<std::ptrdiff_t>(at), more.begin(), more.end());
}

void erase(Bytes *bytes, size_t at, size_t count) {
  const auto first = bytes->begin() + static_cast<std::ptrdiff_t>(at);
  bytes->erase(first, first + static_cast<std::ptrdiff_t>(count));
}

// ---- What segments say ------------------------------------------------------

bool changeLength(Work &w) {
  Part *part = w.ofKind(Kind::kSegment);
  if (part == nullptr) return false;
  static constexpr uint16_t kLengths[] = {0, 1, 2, 3, 0x7FFF, 0xFFFF};
  switch (w.below(3)) {
    case 0:
      part->length = kLengths[w.below(std::size(kLengths))];
      break;
    case 1:
      part->length = static_cast<uint16_t>(part->length + w.random.between(-3, 3));
      break;
    default:
      fit(part);
  }
  return true;
}

// The contents of a segment by the engine's own means, with a length that fits.
bool changeBytes(Work &w) {
  Part *part = w.ofKind(Kind::kSegment);
  if (part == nullptr) return false;
  const size_t size = part->data.size();
  part->data.resize(size + 32);
  part->data.resize(w.plain(part->data.data(), size, part->data.size()));
  fit(part);
  return true;
}

// Where the tables of a DQT or DHT segment begin.
std::vector<size_t> tablesOf(const Part &part) {
  std::vector<size_t> found;
  for (size_t at = 0; at < part.data.size();) {
    found.push_back(at);
    if (part.code == kDqt) {
      at += (part.data[at] >> 4) != 0 ? size_t{129} : size_t{65};
      continue;
    }
    size_t sum = 17;
    for (size_t i = at + 1; i < at + 17 && i < part.data.size(); i++) sum += part.data[i];
    at += sum;
  }
  return found;
}

bool changeQuantisers(Work &w) {
  static constexpr uint8_t kValues[] = {0, 1, 2, 127, 128, 254, 255};
  Part *part = w.segment(kDqt);
  if (part == nullptr || part->data.empty()) return false;
  const std::vector<size_t> tables = tablesOf(*part);
  const size_t at = tables[w.below(tables.size())];
  switch (w.below(4)) {
    case 0:  // the table's number
      part->data[at] = static_cast<uint8_t>((part->data[at] & 0xF0) | w.below(5));
      break;
    case 1: {  // 16 bits for 8, which take what follows along
      part->data[at] ^= 0x10;
      if (part->data[at] >> 4 == 1) insert(&part->data, at + 1, Bytes(64, w.random.byte()));
      break;
    }
    default:
      for (int i = w.random.between(1, 4); i > 0; i--) {
        const size_t k = at + 1 + w.below(64);
        if (k < part->data.size()) part->data[k] = kValues[w.below(std::size(kValues))];
      }
  }
  fit(part);
  return true;
}

// A table of any symbols: 2^n codes of n bits, or one code of each length.
Bytes anyTable(Work &w, uint8_t classAndId) {
  Bytes table(17, 0);
  table[0] = classAndId;
  const bool dc = classAndId >> 4 == 0;
  size_t count = 16;
  if (w.random.oneIn(2)) {
    const size_t length = 1 + w.below(7);
    count = (size_t{1} << length) - 1;
    table[length] = static_cast<uint8_t>(count);
  } else {
    std::fill(table.begin() + 1, table.end(), uint8_t{1});
  }
  for (size_t i = 0; i < count; i++) table.push_back(dc ? w.byteBelow(17) : w.random.byte());
  return table;
}

// Bytes of the table at a place, as far as the segment has them.
size_t tableSize(const Part &part, const std::vector<size_t> &tables, size_t nth) {
  return (nth + 1 < tables.size() ? tables[nth + 1] : part.data.size()) - tables[nth];
}

// Moves a code to another length, so that the number of symbols remains.
void moveCode(Work &w, Part *part, size_t at) {
  uint8_t &from = part->data[at + 1 + w.below(16)], &to = part->data[at + 1 + w.below(16)];
  if (from == 0) return;
  from--;
  to++;
}

bool changeCodes(Work &w) {
  Part *part = w.segment(kDht);
  if (part == nullptr || part->data.empty()) return false;
  const std::vector<size_t> tables = tablesOf(*part);
  const size_t nth = w.below(tables.size()), at = tables[nth], size = tableSize(*part, tables, nth);
  if (size <= 17) return false;
  const size_t symbol = at + 17 + w.below(size - 17);
  switch (w.below(6)) {
    case 0:
      part->data[at] = static_cast<uint8_t>(w.below(2) << 4 | w.below(5));
      break;
    case 1:
      moveCode(w, part, at);
      break;
    case 2:
      part->data[symbol] = w.random.byte();
      break;
    case 3:
      std::swap(part->data[symbol], part->data[at + 17]);
      break;
    case 4:  // a code more, or a table of its own behind it
      part->data[at + 1 + w.below(16)]++;
      insert(&part->data, symbol, {w.random.byte()});
      break;
    default: {
      const Bytes table = anyTable(w, part->data[at]);
      erase(&part->data, at, size);
      insert(&part->data, at, table);
    }
  }
  fit(part);
  return true;
}

constexpr uint8_t kFactors[] = {0x11, 0x11, 0x21, 0x12, 0x22, 0x41, 0x14, 0x44, 0x31, 0x00};

// A component more, like the first one, or one fewer.
void changeComponents(Work &w, Part *part, size_t head, size_t each) {
  uint8_t &count = part->data[head - 1];
  const size_t at = head + each * w.below(count == 0 ? 1 : count);
  if (w.random.oneIn(2) && part->data.size() >= at + each) {
    erase(&part->data, at, each);
    count--;
    return;
  }
  Bytes more(part->data.begin() + static_cast<std::ptrdiff_t>(head),
             part->data.begin() + static_cast<std::ptrdiff_t>(head + each));
  more[0] = static_cast<uint8_t>(more[0] + w.below(4));
  count++;
  insert(&part->data, head + each, more);
}

bool changeFrame(Work &w) {
  constexpr size_t kHead = 6, kEach = 3;
  static constexpr uint8_t kPrecisions[] = {8, 12, 16, 2, 9, 0};
  Part *part = w.frame();
  if (part == nullptr || part->data.size() < kHead + kEach) return false;
  Bytes &data = part->data;
  const size_t component = kHead + kEach * w.below((data.size() - kHead) / kEach);
  switch (w.below(8)) {
    case 0:
      data[0] = kPrecisions[w.below(std::size(kPrecisions))];
      break;
    case 1:  // one of the four processes that there are decoders for, or any
      part->code = static_cast<uint8_t>(kSof0 + w.below(w.random.oneIn(8) ? 4 : 16));
      if (!isFrame(part->code)) part->code = kSof1;
      break;
    case 2:
      changeComponents(w, part, kHead, kEach);
      break;
    case 3:
    case 4:
      data[component + 1] = kFactors[w.below(std::size(kFactors))];
      break;
    case 5:
      data[component + 2] = w.byteBelow(5);
      break;
    default: {  // height or width, mostly small, so that there are data for all of it
      const size_t at = w.random.oneIn(2) ? 1 : 3;
      data[at] = w.random.oneIn(16) ? w.random.byte() : 0;
      data[at + 1] = w.byteBelow(w.random.oneIn(4) ? 256 : 48);
    }
  }
  fit(part);
  return true;
}

// Spectral selection and successive approximation of real scripts; predictors.
constexpr uint8_t kSpectra[][3] = {{0, 63, 0},   {0, 0, 0x01},  {0, 0, 0x10},  {0, 0, 0x00},
                                   {1, 5, 0x02}, {6, 63, 0x02}, {1, 63, 0x21}, {1, 63, 0x10},
                                   {1, 63, 0},   {1, 63, 0x01}, {1, 0, 0},     {4, 0, 0},
                                   {7, 0, 0x01}, {1, 1, 0},     {63, 63, 0},   {2, 9, 0x0D}};

bool changeScan(Work &w) {
  constexpr size_t kHead = 1, kEach = 2;
  Part *part = w.segment(kSos);
  if (part == nullptr || part->data.size() < kHead + kEach + 3) return false;
  Bytes &data = part->data;
  const size_t tail = data.size() - 3;
  const size_t component = kHead + kEach * w.below((tail - kHead) / kEach);
  Part *frame = w.frame();
  switch (w.below(6)) {
    case 0:
      changeComponents(w, part, kHead, kEach);
      break;
    case 1: {  // another component of the frame
      const bool known = frame != nullptr && frame->data.size() >= 9;
      const size_t count = known ? (frame->data.size() - 6) / 3 : 0;
      data[component] = known ? frame->data[6 + 3 * w.below(count)] : w.byteBelow(5);
      break;
    }
    case 2:
      data[component + 1] = static_cast<uint8_t>(w.below(5) << 4 | w.below(5));
      break;
    case 3:
      data[tail + w.below(3)] = w.byteBelow(w.random.oneIn(2) ? 64 : 256);
      break;
    default:
      memcpy(&data[tail], kSpectra[w.below(std::size(kSpectra))], 3);
  }
  fit(part);
  return true;
}

// A new segment of a kind that changes how the rest is read.
Part anySegment(Work &w) {
  const uint8_t small = w.byteBelow(40);
  switch (w.below(6)) {
    case 0:
      return segmentOf(kDri, {0, w.byteBelow(10)});
    case 1:
      return segmentOf(kDnl, {0, small});
    case 2:
      return segmentOf(kDht, anyTable(w, static_cast<uint8_t>(w.below(2) << 4 | w.below(4))));
    case 3: {
      Bytes table(65, w.random.byte());
      table[0] = w.byteBelow(4);
      return segmentOf(kDqt, table);
    }
    case 4:  // not of T.81, but colours depend on it
      return segmentOf(kApp14, {'A', 'd', 'o', 'b', 'e', 0, 100, 0, 0, 0, 0, w.byteBelow(4)});
    default:
      return segmentOf(static_cast<uint8_t>(kApp0 + w.below(16)), Bytes(small, w.random.byte()));
  }
}

bool insertSegment(Work &w) {
  const Part part = anySegment(w);
  w.parts.insert(w.at(w.below(w.parts.size() + 1)), part);
  return true;
}

// ---- Parts and scans --------------------------------------------------------

bool removePart(Work &w) {
  if (w.parts.size() < 2) return false;
  w.parts.erase(w.at(w.below(w.parts.size())));
  return true;
}

bool repeatPart(Work &w) {
  if (w.parts.empty()) return false;
  const Part part = w.parts[w.below(w.parts.size())];
  w.parts.insert(w.at(w.below(w.parts.size() + 1)), part);
  return true;
}

bool swapParts(Work &w) {
  if (w.parts.size() < 2) return false;
  const size_t first = w.below(w.parts.size() - 1);
  const size_t second = first + 1 + w.below(w.parts.size() - 1 - first);
  std::swap(w.parts[first], w.parts[second]);
  return true;
}

// A scan is its header with all coded data and restart markers behind it. Begin and end.
using Range = std::pair<size_t, size_t>;

std::vector<Range> scansOf(const Parts &parts) {
  std::vector<Range> scans;
  for (size_t i = 0; i < parts.size(); i++) {
    if (parts[i].kind != Kind::kSegment || parts[i].code != kSos) continue;
    size_t end = i + 1;
    while (end < parts.size() &&
           (parts[end].kind == Kind::kCoded ||
            (parts[end].kind == Kind::kMarker && isRestart(parts[end].code)))) {
      end++;
    }
    scans.emplace_back(i, end);
  }
  return scans;
}

// Repeats a scan, moves one ahead of another, or leaves one out.
bool changeScans(Work &w) {
  const std::vector<Range> scans = scansOf(w.parts);
  if (scans.empty()) return false;
  const Range from = scans[w.below(scans.size())], to = scans[w.below(scans.size())];
  const Parts scan(w.at(from.first), w.at(from.second));
  switch (w.below(3)) {
    case 0:
      w.parts.insert(w.at(to.second), scan.begin(), scan.end());
      break;
    case 1:
      if (scans.size() < 2) return false;
      w.parts.erase(w.at(from.first), w.at(from.second));
      break;
    default:
      if (to.first >= from.first) return false;
      w.parts.erase(w.at(from.first), w.at(from.second));
      w.parts.insert(w.at(to.first), scan.begin(), scan.end());
  }
  return true;
}

// ---- Restart markers and coded data -----------------------------------------

bool changeRestart(Work &w) {
  const bool segment = w.random.oneIn(3);
  Part *dri = segment ? w.segment(kDri) : nullptr;
  if (dri != nullptr && dri->data.size() >= 2) {
    dri->data[0] = w.random.oneIn(8) ? w.random.byte() : 0;
    dri->data[1] = w.byteBelow(w.random.oneIn(4) ? 256 : 8);
    return true;
  }
  Part *marker =
      w.choose([](const Part &p) { return p.kind == Kind::kMarker && isRestart(p.code); });
  if (marker == nullptr) return false;
  marker->code = static_cast<uint8_t>(kRst0 + w.below(8));
  return true;
}

// A marker in the middle of coded data: mostly a restart, whose interval ends there then.
bool splitCoded(Work &w) {
  Part *part = w.ofKind(Kind::kCoded);
  if (part == nullptr) return false;
  const auto nth = static_cast<size_t>(part - w.parts.data());
  const size_t cut = w.below(part->data.size() + 1);
  const auto middle = part->data.begin() + static_cast<std::ptrdiff_t>(cut);
  Part behind = {Kind::kCoded, 0, 0, Bytes(middle, part->data.end())};
  part->data.resize(cut);
  const auto restart = static_cast<uint8_t>(kRst0 + w.below(8));
  const Part marker = {Kind::kMarker, w.random.oneIn(6) ? uint8_t{kEoi} : restart, 0, {}};
  w.parts.insert(w.at(nth + 1), {marker, behind});
  return true;
}

// Bits and bytes of coded data; stuffing follows of itself.
bool changeCoded(Work &w) {
  Part *part = w.ofKind(Kind::kCoded);
  if (part == nullptr || part->data.empty()) return false;
  Bytes &data = part->data;
  const size_t at = w.below(data.size());
  const size_t count = std::min(data.size() - at, 1 + w.below(8));
  switch (w.below(8)) {
    case 0:
      data[at] = 0xFF;
      break;
    case 1:
      data[at] = 0;
      break;
    case 2:
      data[at] = w.random.byte();
      break;
    case 3:
      erase(&data, at, count);
      break;
    case 4: {
      Bytes more(count);
      for (uint8_t &byte : more) byte = w.random.byte();
      insert(&data, at, more);
      break;
    }
    case 5: {  // a piece again, elsewhere
      const auto first = data.begin() + static_cast<std::ptrdiff_t>(at);
      const Bytes more(first, first + static_cast<std::ptrdiff_t>(count));
      insert(&data, w.below(data.size() + 1), more);
      break;
    }
    case 6:  // a run of equal bits
      std::fill_n(data.begin() + static_cast<std::ptrdiff_t>(at), count,
                  w.random.oneIn(2) ? uint8_t{0xFF} : uint8_t{0});
      break;
    default:
      data[at] = static_cast<uint8_t>(data[at] ^ 1U << w.below(8));
  }
  return true;
}

// Ends an interval early.
bool cutCoded(Work &w) {
  Part *part = w.ofKind(Kind::kCoded);
  if (part == nullptr) return false;
  part->data.resize(w.below(part->data.size() + 1));
  return true;
}

using Change = bool (*)(Work &);
// Often those that leave the rest of the stream readable.
constexpr Change kChanges[] = {
    changeLength, changeBytes,   changeBytes, changeQuantisers, changeCodes,  changeCodes,
    changeFrame,  changeFrame,   changeFrame, changeScan,       changeScan,   changeScan,
    removePart,   insertSegment, repeatPart,  swapParts,        changeScans,  changeScans,
    splitCoded,   changeRestart, cutCoded,    changeCoded,      changeCoded,  changeCoded,
    changeCoded,  changeCoded,   changeCoded, changeCoded,      changeRestart};

}  // namespace

size_t mutateStream(uint8_t *data, size_t size, size_t most, uint32_t seed, Plain plain) {
  Work work = {partsOf(data, size), jpgtest::Random(seed), plain};
  constexpr int kTries = 16;
  int wanted = work.random.between(1, 4);
  const Bytes before(data, data + size);
  for (int i = 0; i < kTries && wanted > 0; i++) {
    if (kChanges[work.below(std::size(kChanges))](work)) wanted--;
  }
  Bytes bytes = bytesOf(work.parts);
  if (bytes.size() > most) bytes.resize(most);
  if (bytes.empty() || bytes == before) return 0;
  memcpy(data, bytes.data(), bytes.size());
  return bytes.size();
}

}  // namespace jpgfuzz
