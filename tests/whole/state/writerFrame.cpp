// The first call: what it refuses, what it takes up, and the headers.
#include <algorithm>

#include "model/encoderTables.h"
#include "whole/state/writerState.h"

namespace jpgtest {
namespace {

Bytes dhtOf(bool ac, int id) {
  const AnnexKTable &table = annexK(ac, id);
  Bytes data = {static_cast<uint8_t>((ac ? 0x10 : 0) | id)};
  for (const int n : table.counts) data.push_back(static_cast<uint8_t>(n));
  for (const int v : table.symbols) data.push_back(static_cast<uint8_t>(v));
  return data;
}

}  // namespace

bool WriterState::samplingServed(uint32_t components, uint32_t sampling) {
  if (components == 1) return true;
  if (components == 4) return sampling == 0x11111111;
  if (components != 3) return false;
  for (const unsigned shift : {0U, 8U, 16U}) {
    const uint32_t b = sampling >> shift & 255;
    if (b != 0x11 && b != 0x12 && b != 0x21 && b != 0x22) return false;
  }
  return true;
}

// All that a first call may refuse comes before anything changes.
uint32_t WriterState::beginBaseline(const JpgRect &rect) {
  const uint32_t height = height_ != 0 ? height_ : static_cast<uint32_t>(rect.height);
  if (rect.width < 1 || rect.width > 65535 || height > 65535 || rect.bitsPerSample != 8) {
    return JPG_E_INVALID_PARAMETER;
  }
  const auto channels = static_cast<uint32_t>(rect.channels);
  const auto width = static_cast<uint32_t>(rect.width);
  if (channels < 1 || channels > 4) return JPG_E_UNSUPPORTED;
  if (headers_) {
    if (width != frame_.width || channels != frame_.components) return JPG_E_INVALID_PARAMETER;
  }
  if (!samplingServed(channels, headers_ ? frame_.sampling : sampling_)) return JPG_E_UNSUPPORTED;
  height_ = height;
  width_ = width;
  components_ = channels;
  precision_ = 8;
  sof_ = 0xFFC0;
  if (headers_) return JPG_OK;
  takeUp(false);
  nameComponents();
  baselineHeaders();
  return JPG_OK;
}

uint32_t WriterState::beginLossless(const JpgRect &rect) {
  if (headers_) return JPG_E_UNSUPPORTED;
  const uint32_t height = height_ != 0 ? height_ : static_cast<uint32_t>(rect.height);
  if (rect.width < 1 || rect.width > 65535 || height > 65535 || rect.bitsPerSample < 2 ||
      rect.bitsPerSample > 16) {
    return JPG_E_INVALID_PARAMETER;
  }
  if (rect.channels < 1 || rect.channels > 4) return JPG_E_UNSUPPORTED;
  height_ = height;
  width_ = static_cast<uint32_t>(rect.width);
  components_ = static_cast<uint32_t>(rect.channels);
  precision_ = static_cast<uint32_t>(rect.bitsPerSample);
  sof_ = 0xFFC3;
  firstLine_ = true;
  takeUp(true);
  nameComponents();
  losslessHeaders();
  return JPG_OK;
}

void WriterState::takeUp(bool lossless) {
  headers_ = true;
  if (components_ == 1 && !lossless) sampling_ = 0x11;
  frame_ = {lossless,  raw_,     width_,   height_,    components_, precision_,
            sampling_, quality_, restart_, predictor_, {}};
  // The record knows three identifiers; the first encode call gives a fourth its own.
  for (uint8_t i = 0; i < components_; i++) frame_.ids.push_back(i < 3 ? i + 1 : 0);
}

// What the first encode call does; headers ahead of it keep what the record holds.
void WriterState::nameComponents() {
  if (frame_.components == 4) frame_.ids[3] = 4;
  if (frame_.components == 3 && raw_) frame_.ids = {'R', 'G', 'B'};
}

void WriterState::frameSegments(const Bytes &factors, const Bytes &quantSelectors,
                                const Bytes &tables, const Bytes &spectral) {
  const Frame &f = frame_;
  const auto n = static_cast<uint8_t>(f.components);
  const auto low = [](uint32_t v) { return static_cast<uint8_t>(v); };
  Bytes sof = {low(f.precision),  low(f.height >> 8), low(f.height),
               low(f.width >> 8), low(f.width),       n};
  Bytes sos = {n};
  for (size_t i = 0; i < n; i++) {
    append(sof, {f.ids[i], factors[i], quantSelectors[i]});
    append(sos, {f.ids[i], tables[i]});
  }
  out_.segment(f.lossless ? 0xFFC3 : 0xFFC0, sof);
  if (f.restart != 0) out_.segment(0xFFDD, {low(f.restart >> 8), low(f.restart)});
  append(sos, spectral);
  out_.segment(0xFFDA, sos);
  segLength_ = segConsumed_ = static_cast<uint32_t>(sos.size());
}

void WriterState::baselineHeaders() {
  Bytes dqt;
  for (int t = 0; t < 2; t++) {
    dqt.push_back(static_cast<uint8_t>(t));
    for (const ZigZagPlace &p : zigZag()) {
      dqt.push_back(static_cast<uint8_t>(quantStep(static_cast<int>(frame_.quality), t, p)));
    }
  }
  out_.segment(0xFFDB, dqt);
  for (const bool ac : {false, true}) {
    for (int id = 0; id < 2; id++) out_.segment(0xFFC4, dhtOf(ac, id));
  }
  Bytes factors, quantSelectors, tables;
  hMax_ = vMax_ = 1;
  coded_.clear();
  const uint32_t n = frame_.components;
  for (uint32_t i = 0; i < n; i++) {
    const auto b = static_cast<uint8_t>(frame_.sampling >> (8 * (n - 1 - i)));
    const int table = i == 0 ? 0 : 1;
    factors.push_back(b);
    quantSelectors.push_back(static_cast<uint8_t>(table));
    tables.push_back(static_cast<uint8_t>(table * 0x11));
    coded_.push_back({b >> 4, b & 15, table, 0});
    hMax_ = std::max(hMax_, b >> 4);
    vMax_ = std::max(vMax_, b & 15);
  }
  frameSegments(factors, quantSelectors, tables, {0, 63, 0});
}

void WriterState::losslessHeaders() {
  // Table K.3, for more than 8 bits continued by one code of each length up to 14.
  const bool wide = frame_.precision > 8;
  Bytes dht = {0, 0, 1, 5};
  for (int length = 4; length <= 16; length++) dht.push_back(length <= (wide ? 14 : 9) ? 1 : 0);
  for (uint8_t v = 0; v <= (wide ? 16 : 11); v++) dht.push_back(v);
  out_.segment(0xFFC4, dht);
  const Bytes zeros(4, 0);
  frameSegments(Bytes(4, 0x11), zeros, zeros, {static_cast<uint8_t>(frame_.predictor), 0, 0});
}

}  // namespace jpgtest
