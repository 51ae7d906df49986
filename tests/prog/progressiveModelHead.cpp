// The progressive model's headers: segments, the frame, and what stands between scans.
#include <algorithm>

#include "progressiveModel.h"

namespace jpgtest {
namespace {

constexpr uint32_t kSof2Marker = 0xFFC2;
constexpr uint32_t kSosMarker = 0xFFDA;

bool stopsHeaders(uint32_t m) {
  return m == kSosMarker ||
         (m >= 0xFFC0 && m <= 0xFFCF && m != 0xFFC4 && m != 0xFFC7 && m != 0xFFC8);
}

}  // namespace

uint32_t ProgressiveModel::open(const Bytes &stream) {
  bits_.attach(stream);
  bits_.seek(2);
  return toNextScan();
}

void ProgressiveModel::skip(uint32_t bytes) {
  for (; bytes > 0; bytes--) bits_.rawByte();
}

// Reads segments up to and including a scan header.
uint32_t ProgressiveModel::toNextScan() {
  skip(unread_);
  unread_ = 0;
  for (bool stopped = false; !stopped;) {
    const uint32_t marker = bits_.peekMarker();
    if (marker < 0xFFC0 || marker > 0xFFFE) return JPG_E_NOT_JPEG;
    bits_.skipMarker();
    if (marker >= 0xFFD0 && marker <= 0xFFD9) continue;
    const bool framed = !components_.empty();
    if (const uint32_t r = segment(marker); r != JPG_OK) return r;
    stopped = framed && stopsHeaders(marker);
  }
  eobRun_ = sinceRestart_ = 0;
  for (Selected &s : scan_) s.prediction = 0;
  return JPG_OK;
}

uint32_t ProgressiveModel::segment(uint32_t marker) {
  const uint32_t field = bits_.raw16();
  if (field < 2) return JPG_E_NOT_JPEG;
  const uint32_t length = field - 2;
  if (marker == 0xFFC4) return huffman(length);
  if (marker == 0xFFDB) return quantisation(length);
  if (marker == kSosMarker) return scanHeader();
  if (marker == kSof2Marker && components_.empty()) return frame(length);
  if (stopsHeaders(marker)) {
    // Another frame: no scan header, the last one goes on; its data are skipped at the next.
    unread_ = length;
    return components_.empty() ? JPG_E_UNSUPPORTED : JPG_OK;
  }
  if (marker == 0xFFDD) {
    if (length != 2) return JPG_E_BAD_SEGMENT_LENGTH;
    restartInterval_ = bits_.raw16();
    return JPG_OK;
  }
  skip(length);
  return JPG_OK;
}

uint32_t ProgressiveModel::huffman(uint32_t length) {
  while (length >= 17) {
    const uint32_t tcTh = bits_.rawByte();
    std::array<uint8_t, 16> counts;
    uint32_t sum = 0;
    for (uint8_t &count : counts) sum += count = static_cast<uint8_t>(bits_.rawByte());
    length -= 17;
    if (sum > length) break;
    std::vector<uint8_t> values(sum);
    for (uint8_t &value : values) value = static_cast<uint8_t>(bits_.rawByte());
    length -= sum;
    if ((tcTh & 15) > 3) return JPG_E_UNSUPPORTED;
    if (!(tcTh >> 4 != 0 ? ac_ : dc_)[tcTh & 3].define(counts, values)) return JPG_E_UNSUPPORTED;
  }
  skip(length);
  return JPG_OK;
}

uint32_t ProgressiveModel::quantisation(uint32_t length) {
  while (length > 0) {
    const uint32_t pqTq = bits_.rawByte();
    const uint32_t entryBytes = pqTq >> 4 == 1 ? 2 : 1;
    if (--length < 64 * entryBytes) break;
    if ((pqTq & 15) > 3) return JPG_E_UNSUPPORTED;
    for (uint32_t &entry : quant_[pqTq & 3]) {
      entry = entryBytes == 2 ? bits_.raw16() : bits_.rawByte();
    }
    length -= 64 * entryBytes;
  }
  skip(length);
  return JPG_OK;
}

uint32_t ProgressiveModel::frame(uint32_t length) {
  bits_.rawByte();  // the precision changes nothing
  height_ = bits_.raw16();
  width_ = bits_.raw16();
  const uint32_t count = bits_.rawByte();
  if (count < 1 || count > 4 || length != 6 + 3 * count) return JPG_E_UNSUPPORTED;
  components_.resize(count);
  for (Component &c : components_) {
    c.id = static_cast<uint8_t>(bits_.rawByte());
    const uint32_t factors = count == 1 ? (bits_.rawByte(), 0x11) : bits_.rawByte();
    c.h = factors >> 4;
    c.v = factors & 15;
    c.tq = bits_.rawByte();
    c.firstBlock = blocksPerMcu_;
    blocksPerMcu_ += c.h * c.v;
    hMax_ = std::max(hMax_, c.h);
    vMax_ = std::max(vMax_, c.v);
  }
  mcusPerRow_ = (width_ + 8 * hMax_ - 1) / (8 * hMax_);
  mcuRows_ = (height_ + 8 * vMax_ - 1) / (8 * vMax_);
  store_.assign(size_t{mcusPerRow_} * mcuRows_ * blocksPerMcu_, ModelBlock{});
  return JPG_OK;
}

uint32_t ProgressiveModel::scanHeader() {
  const uint32_t count = bits_.rawByte();
  if (count > 4) return JPG_E_UNSUPPORTED;
  std::vector<Selected> scan(count);
  for (Selected &s : scan) {
    const uint32_t id = bits_.rawByte(), tables = bits_.rawByte();
    while (s.component < components_.size() && components_[s.component].id != id) s.component++;
    if (s.component == components_.size()) return JPG_E_UNSUPPORTED;
    if (tables >> 4 > 3 || (tables & 15) > 3) return JPG_E_UNSUPPORTED;
    s.dc = dc_[tables >> 4];
    s.ac = ac_[tables & 15];
  }
  const uint32_t ss = bits_.rawByte(), se = bits_.rawByte(), ahAl = bits_.rawByte();
  if (ss > se || se > 63 || (ahAl & 15) > 13) return JPG_E_UNSUPPORTED;
  scan_ = scan;
  ss_ = static_cast<uint8_t>(ss);
  se_ = static_cast<uint8_t>(se);
  ah_ = static_cast<uint8_t>(ahAl >> 4);
  al_ = static_cast<uint8_t>(ahAl & 15);
  return JPG_OK;
}

}  // namespace jpgtest
