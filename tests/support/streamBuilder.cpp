// SPDX-License-Identifier: MIT
#include "support/streamBuilder.h"

namespace jpgtest {
namespace {

void put16(Bytes &bytes, unsigned value) {
  bytes.push_back(static_cast<uint8_t>(value >> 8));
  bytes.push_back(static_cast<uint8_t>(value));
}

}  // namespace

QuantTable flatQuant(uint16_t value) {
  QuantTable table;
  table.fill(value);
  return table;
}

Bytes dhtData(uint8_t tcTh, const HuffTable &table) {
  Bytes data;
  data.reserve(1 + table.counts.size() + table.values.size());
  data.push_back(tcTh);
  data.insert(data.end(), table.counts.begin(), table.counts.end());
  append(data, table.values);
  return data;
}

Bytes dqtData(uint8_t pqTq, const QuantTable &table) {
  Bytes data = {pqTq};
  for (const uint16_t entry : table) {
    if (pqTq >> 4 == 1) {
      put16(data, entry);
    } else {
      data.push_back(static_cast<uint8_t>(entry));
    }
  }
  return data;
}

Bytes sofData(uint8_t precision, uint16_t height, uint16_t width,
              const std::vector<FrameComponent> &components) {
  Bytes data = {precision};
  put16(data, height);
  put16(data, width);
  data.push_back(static_cast<uint8_t>(components.size()));
  for (const FrameComponent &c : components) append(data, {c.id, c.sampling, c.tq});
  return data;
}

Bytes sosData(const std::vector<ScanComponent> &components, uint8_t ss, uint8_t se, uint8_t ahAl) {
  Bytes data = {static_cast<uint8_t>(components.size())};
  for (const ScanComponent &c : components) append(data, {c.id, c.tables});
  append(data, {ss, se, ahAl});
  return data;
}

StreamBuilder &StreamBuilder::marker(uint8_t code) { return raw({0xFF, code}); }

StreamBuilder &StreamBuilder::segment(uint8_t code, const Bytes &data) {
  return segmentOfLength(code, static_cast<uint16_t>(data.size() + 2), data);
}

StreamBuilder &StreamBuilder::segmentOfLength(uint8_t code, uint16_t lengthField,
                                              const Bytes &data) {
  marker(code);
  put16(bytes_, lengthField);
  return raw(data);
}

StreamBuilder &StreamBuilder::raw(const Bytes &bytes) {
  append(bytes_, bytes);
  return *this;
}

StreamBuilder &StreamBuilder::com(const std::string &text) {
  return segment(kCom, Bytes(text.begin(), text.end()));
}

StreamBuilder &StreamBuilder::jfif(uint8_t units, uint16_t xDensity, uint16_t yDensity) {
  Bytes data = {'J', 'F', 'I', 'F', 0, 1, 2, units};
  put16(data, xDensity);
  put16(data, yDensity);
  append(data, {0, 0});
  return segment(kApp0, data);
}

StreamBuilder &StreamBuilder::adobe(uint8_t transform) {
  return segment(kApp14, {'A', 'd', 'o', 'b', 'e', 0, 100, 0, 0, 0, 0, transform});
}

StreamBuilder &StreamBuilder::dqt(uint8_t tq, const QuantTable &table, bool wide) {
  return segment(kDqt, dqtData(static_cast<uint8_t>(tq | (wide ? 0x10 : 0)), table));
}

StreamBuilder &StreamBuilder::dht(uint8_t tcTh, const HuffTable &table) {
  return segment(kDht, dhtData(tcTh, table));
}

StreamBuilder &StreamBuilder::dri(uint16_t interval) {
  Bytes data;
  put16(data, interval);
  return segment(kDri, data);
}

StreamBuilder &StreamBuilder::dnl(uint16_t height) {
  Bytes data;
  put16(data, height);
  return segment(kDnl, data);
}

StreamBuilder &StreamBuilder::sof(uint8_t code, uint8_t precision, uint16_t height, uint16_t width,
                                  const std::vector<FrameComponent> &components) {
  return segment(code, sofData(precision, height, width, components));
}

StreamBuilder &StreamBuilder::sos(const std::vector<ScanComponent> &components, uint8_t ss,
                                  uint8_t se, uint8_t ahAl) {
  return segment(kSos, sosData(components, ss, se, ahAl));
}

}  // namespace jpgtest
