// SPDX-License-Identifier: MIT
// The model's prologs: the search for EOI, the segments up to the first scan, the getters.
#include <algorithm>
#include <cstring>

#include "model/reader.h"

namespace jpgtest {
namespace {

bool startsWith(const Bytes &data, const char *name) {
  const size_t size = std::strlen(name) + 1;
  return data.size() >= size && std::memcmp(data.data(), name, size) == 0;
}

bool hasSoi(const Bytes &data) { return data.size() >= 2 && data[0] == 0xFF && data[1] == 0xD8; }

// Pairs of the file from the highest candidate down. A read that brings fewer than two bytes
// leaves what the read before it brought.
bool findEoi(const Bytes &stream, int64_t highest, int64_t above) {
  uint8_t pair[2] = {0xFF, 0xD8};
  for (int64_t p = highest; p > above; --p) {
    const auto size = static_cast<int64_t>(stream.size());
    for (int64_t i = 0; i < 2 && p + i < size; ++i) pair[i] = stream[static_cast<size_t>(p + i)];
    if (pair[0] == 0xFF && pair[1] == 0xD9) return true;
  }
  return false;
}

}  // namespace

// Options count only with 4A50 in the upper half of the flags.
void Model::takeOptions(uint32_t flags) {
  if (flags >> 16 != 0x4A50) return;
  optionFlags_ = flags & 0xFFFFFF00;
  if ((flags & 0x100) != 0) firstPass_ = FirstPass::kFine;
  smooth_ = (flags & 0x200) != 0;
}

uint32_t Model::openMemory(const Bytes &data, uint32_t flags) {
  *this = Model(firstPass_);
  takeOptions(flags);
  if (data.empty()) return JPG_E_INVALID_PARAMETER;
  if (!hasSoi(data)) return JPG_E_NOT_JPEG;
  const bool search = (flags & (JPG_READ_COMPLETE | JPG_READ_PARTIAL_BITSTREAM)) == 0;
  const auto size = static_cast<int64_t>(data.size());
  if (search && !findEoi(data, size - 2, 0)) return JPG_E_NOT_JPEG;
  bits_.attach(data);
  if (const uint32_t r = parse(); r != JPG_OK) return r;
  open_ = true;
  memory_ = true;
  partialAllowed_ = (flags & JPG_READ_PARTIAL_BITSTREAM) != 0;
  return JPG_OK;
}

uint32_t Model::openFile(const Bytes &file, int32_t startOffset, int32_t length, uint32_t flags) {
  *this = Model(firstPass_);
  takeOptions(flags);
  if (startOffset < 0 || length < 0) return JPG_E_INVALID_PARAMETER;
  const auto size = static_cast<int64_t>(file.size());
  if (length > size) return JPG_E_INVALID_PARAMETER;
  const int64_t end = length == 0 ? size : int64_t{startOffset} + length;
  const auto skip = static_cast<size_t>(std::min<int64_t>(startOffset, size));
  const Bytes stream(file.begin() + static_cast<std::ptrdiff_t>(skip), file.end());
  if (!hasSoi(stream)) return JPG_E_NOT_JPEG;
  const bool search = (flags & JPG_READ_COMPLETE) == 0;
  if (search && !findEoi(stream, end - 2, startOffset)) return JPG_E_NOT_JPEG;
  bits_.attach(stream);
  if (const uint32_t r = parse(); r != JPG_OK) return r;
  open_ = true;
  return JPG_OK;
}

uint32_t Model::parse() {
  bits_.seek(2);
  const Stop stop = headerLoop();
  if (stop.result != JPG_OK) return stop.result;
  if (stop.marker < 0xFFC0 || stop.marker > 0xFFC3) return JPG_E_UNSUPPORTED;
  if (const uint32_t r = readFrame(stop.marker); r != JPG_OK) return r;
  if (const uint32_t r = setUpScan(); r != JPG_OK) return r;
  scanOffset_ = bits_.offset();
  ycc_ = decideYcc();
  return checkBuffers();
}

Model::Stop Model::headerLoop() {
  for (;;) {
    uint32_t marker = 0;
    if (const uint32_t r = nextSegment(marker); r != JPG_OK) return {r, 0};
    const bool frame = marker >= 0xFFC0 && marker <= 0xFFCF && marker != 0xFFC4 &&
                       marker != 0xFFC7 && marker != 0xFFC8;
    if (frame || marker == 0xFFDA) return {JPG_OK, marker};
    if (const uint32_t r = handleSegment(marker); r != JPG_OK) return {r, 0};
  }
}

uint32_t Model::nextSegment(uint32_t &marker) {
  while (remaining() > 0) segmentByte();
  segLength_ = segConsumed_ = 0;
  marker = bits_.peekMarker();
  if (marker < 0xFFC0 || marker > 0xFFFE) return JPG_E_NOT_JPEG;
  bits_.skipMarker();
  if (marker >= 0xFFD0 && marker <= 0xFFD9) return JPG_OK;
  const uint32_t length = bits_.raw16();
  if (length < 2) return JPG_E_NOT_JPEG;
  segLength_ = length - 2;
  return JPG_OK;
}

uint32_t Model::handleSegment(uint32_t marker) {
  switch (marker) {
    case 0xFFC4:
      return loadHuffman();
    case 0xFFDB:
      return loadQuantisation();
    case 0xFFDD:
      return loadRestartInterval();
    case 0xFFE0:
      checkJfif();
      return JPG_OK;
    case 0xFFEE:
      checkAdobe();
      return JPG_OK;
    default:
      return JPG_OK;
  }
}

uint32_t Model::segmentByte() {
  ++segConsumed_;
  return bits_.rawByte();
}

uint32_t Model::loadHuffman() {
  while (remaining() >= 17) {
    const uint32_t tcTh = segmentByte();
    std::array<uint8_t, 16> counts;
    uint32_t sum = 0;
    for (uint8_t &count : counts) sum += count = static_cast<uint8_t>(segmentByte());
    if (sum > remaining()) return JPG_OK;
    // What is refused by its counts has none of its symbols read.
    if ((tcTh & 15) > 3 || sum > 256 || pendingTables_ >= 8) return JPG_E_UNSUPPORTED;
    std::vector<uint8_t> values(sum);
    for (uint8_t &value : values) value = static_cast<uint8_t>(segmentByte());
    ModelTable table;
    if (!table.define(counts, values)) return JPG_E_UNSUPPORTED;
    (tcTh >> 4 != 0 ? ac_ : dc_)[tcTh & 3] = table;
    pendingTables_++;
  }
  return JPG_OK;
}

uint32_t Model::loadQuantisation() {
  while (remaining() > 0) {
    const uint32_t pqTq = segmentByte();
    const bool wide = pqTq >> 4 == 1;
    if (remaining() < (wide ? 128U : 64U)) return JPG_OK;
    if ((pqTq & 15) > 3) return JPG_E_UNSUPPORTED;
    for (uint32_t &entry : quant_[pqTq & 3]) {
      entry = segmentByte();
      if (wide) entry = entry << 8 | segmentByte();
    }
  }
  return JPG_OK;
}

uint32_t Model::loadRestartInterval() {
  if (segLength_ != 2) return JPG_E_BAD_SEGMENT_LENGTH;
  restartInterval_ = segmentByte() << 8;
  restartInterval_ |= segmentByte();
  return JPG_OK;
}

void Model::checkJfif() {
  if (segLength_ < 14) return;
  Bytes data(14);
  for (uint8_t &byte : data) byte = static_cast<uint8_t>(segmentByte());
  if (!startsWith(data, "JFIF")) return;
  jfif_ = true;
  jfifUnits_ = data[7];
  xDensity_ = data[8] * 256U + data[9];
  yDensity_ = data[10] * 256U + data[11];
}

void Model::checkAdobe() {
  if (segLength_ < 12) return;
  Bytes data(12);
  for (uint8_t &byte : data) byte = static_cast<uint8_t>(segmentByte());
  if (!startsWith(data, "Adobe")) return;
  adobe_ = true;
  adobeTransform_ = data[11];
}

uint32_t Model::readFrame(uint32_t sof) {
  sof_ = sof;
  precision_ = bits_.rawByte();
  height_ = bits_.raw16();
  width_ = bits_.raw16();
  const uint32_t count = bits_.rawByte();
  segConsumed_ = segLength_;
  if (count < 1 || count > 4) return JPG_E_UNSUPPORTED;
  for (uint32_t i = 0; i < count; ++i) {
    Component c;
    c.id = static_cast<uint8_t>(bits_.rawByte());
    const uint32_t sampling = bits_.rawByte();
    c.h = static_cast<uint8_t>(sampling >> 4);
    c.v = static_cast<uint8_t>(sampling & 15);
    c.tq = static_cast<uint8_t>(bits_.rawByte());
    components_.push_back(c);
  }
  return finishFrame();
}

uint32_t Model::finishFrame() {
  if (components_.size() == 1) components_[0].h = components_[0].v = 1;
  for (const Component &c : components_) {
    if (c.tq > 3) return JPG_E_UNSUPPORTED;
    hMax_ = std::max<unsigned>(hMax_, c.h);
    vMax_ = std::max<unsigned>(vMax_, c.v);
  }
  if (hMax_ < 1 || hMax_ > 2 || vMax_ < 1 || vMax_ > 2) return JPG_E_UNSUPPORTED;
  mcusPerRow_ = (width_ + 8 * hMax_ - 1) / (8 * hMax_);
  mcuCount_ = mcusPerRow_ * ((height_ + 8 * vMax_ - 1) / (8 * vMax_));
  return JPG_OK;
}

// A marker that ends the segments but isn't SOS brings no scan header: the last one goes on, with
// the tables that it had.
uint32_t Model::setUpScan() {
  ++setUps_;
  const Stop stop = headerLoop();
  if (stop.result != JPG_OK) return stop.result;
  if (stop.marker == 0xFFDA) {
    if (const uint32_t r = readScanHeader(); r != JPG_OK) return r;
    useScan();
  }
  clearPredictions();
  pendingTables_ = 0;
  mcusSinceRestart_ = 0;
  eobRun_ = 0;
  return JPG_OK;
}

void Model::useScan() {
  scan_.clear();
  for (const Selection &s : selected_) {
    const Component &c = components_[s.component];
    ScanEntry entry;
    entry.blocks = static_cast<unsigned>(c.h * c.v);
    entry.dc = dc_[s.tables >> 4];
    entry.ac = ac_[s.tables & 15];
    scan_.push_back(entry);
  }
}

uint32_t Model::readScanHeader() {
  const uint32_t count = bits_.rawByte();
  if (count > 4) return JPG_E_UNSUPPORTED;
  std::vector<Selection> selected(count);
  for (Selection &s : selected) {
    const uint32_t id = bits_.rawByte();
    s.tables = bits_.rawByte();
    const auto found = std::find_if(components_.begin(), components_.end(),
                                    [id](const Component &c) { return c.id == id; });
    if (found == components_.end() || s.tables >> 4 > 3 || (s.tables & 15) > 3) {
      return JPG_E_UNSUPPORTED;
    }
    s.component = static_cast<size_t>(found - components_.begin());
  }
  const uint32_t ss = bits_.rawByte();
  const uint32_t se = bits_.rawByte();
  const uint32_t ahAl = bits_.rawByte();
  segConsumed_ = segLength_;
  if (sof_ == 0xFFC2 && (ss > se || se > 63 || (ahAl & 15) > 13)) return JPG_E_UNSUPPORTED;
  selected_ = selected;
  ss_ = ss;
  se_ = se;
  ah_ = ahAl >> 4;
  al_ = ahAl & 15;
  return JPG_OK;
}

// What a whole-image coefficient store or a line of a lossless picture would take.
uint32_t Model::checkBuffers() const {
  uint64_t blocksPerMcu = 0;
  for (const Component &c : components_) blocksPerMcu += c.h * c.v;
  const bool progressive = sof_ == 0xFFC2;
  const uint64_t store = (progressive ? mcuCount_ : 1U) * blocksPerMcu;
  const uint64_t bytes = (hMax_ * vMax_ * 4 + blocksPerMcu + store) * 128;
  return bytes > 0x7FFFFFFF ? JPG_E_OUT_OF_MEMORY : JPG_OK;
}

bool Model::decideYcc() const {
  if (components_.size() != 3) return false;
  if (jfif_) return true;
  if (adobe_) return adobeTransform_ != 0;
  return !(components_[0].id == 'R' && components_[1].id == 'G' && components_[2].id == 'B');
}

uint32_t Model::getCodingProcess(uint32_t *process) const {
  if (!open_ || process == nullptr) return JPG_E_INVALID_HANDLE;
  *process = 0x8000U >> (sof_ - 0xFFC0);
  return JPG_OK;
}

uint32_t Model::getImageSize(uint32_t *width, uint32_t *height) const {
  if (!open_ || width == nullptr || height == nullptr) return JPG_E_INVALID_HANDLE;
  *width = width_;
  *height = height_;
  return JPG_OK;
}

uint32_t Model::getNumberOfChannels(uint32_t *channels) const {
  if (!open_ || channels == nullptr) return JPG_E_INVALID_HANDLE;
  *channels = static_cast<uint32_t>(components_.size());
  return JPG_OK;
}

uint32_t Model::getSamplePrecision(uint32_t *precision) const {
  if (!open_ || precision == nullptr) return JPG_E_INVALID_HANDLE;
  *precision = precision_;
  return JPG_OK;
}

uint32_t Model::setNoColorConversion() {
  if (!open_) return JPG_E_INVALID_HANDLE;
  noColorConversion_ = true;
  return JPG_OK;
}

}  // namespace jpgtest
