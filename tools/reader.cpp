// SPDX-License-Identifier: MIT
#include "reader.h"

#include <cstring>

#include "fileSegments.h"
#include "headerWalk.h"

namespace jpgtool {
namespace {

namespace marker = jpg::marker;

uint32_t number16(const uint8_t *p) { return static_cast<uint32_t>(p[0]) << 8 | p[1]; }

bool beginsWith(const FileSegment &segment, const char *text, size_t size) {
  return segment.size >= size && std::memcmp(segment.data, text, size) == 0;
}

void takeJfif(const FileSegment &segment, Headers *headers) {
  if (segment.size < 14 || !beginsWith(segment, "JFIF", 5)) return;
  headers->jfif = true;
  headers->densityUnits = segment.data[7];
  headers->xDensity = number16(segment.data + 8);
  headers->yDensity = number16(segment.data + 10);
}

void takeSegment(const FileSegment &segment, Headers *headers) {
  const uint16_t code = segment.marker;
  if (isFrame(code)) headers->components = componentsOf(segment.data, segment.size);
  if (code == marker::kDri && segment.size == 2) headers->restartInterval = number16(segment.data);
  if (code == marker::kApp0) takeJfif(segment, headers);
  if (code == marker::kApp14 && segment.size >= 12 && beginsWith(segment, "Adobe", 5)) {
    headers->adobeTransform = segment.data[11];
  }
}

void takeRestart(uint16_t code, StreamScan *scan) {
  if (scan->scanOffsets.size() != 1) return;
  if (code - marker::kRst0 != static_cast<int>(scan->restarts % 8)) scan->restartsInOrder = false;
  scan->restarts++;
}

void takeLines(const FileSegment &segment, StreamScan *scan) {
  if (segment.length == 2 && segment.size == 2 && scan->dnlLines == 0) {
    scan->dnlLines = number16(segment.data);
  }
}

}  // namespace

uint32_t Reader::open(const Input &input, uint32_t flags, const Limits &limits, std::string *why) {
  if (const uint32_t r = checkOpening(limits, input, why); r != JPG_OK) return r;
  const auto size = static_cast<int32_t>(input.size());
  const uint32_t r = jpgReadPrologFromMemory(input.data(), size, flags, &handle_);
  if (r != JPG_OK) *why = whyRefused(input, flags, r);
  return r;
}

void Reader::close() {
  if (handle_ != nullptr) jpgReadEpilog(handle_);
  handle_ = nullptr;
}

uint32_t readFrame(JPGHANDLE handle, Frame *frame) {
  uint32_t r = jpgReadGetImageSize(handle, &frame->width, &frame->height);
  if (r == JPG_OK) r = jpgReadGetNumberOfChannels(handle, &frame->channels);
  if (r == JPG_OK) r = jpgReadGetSamplePrecision(handle, &frame->precision);
  if (r == JPG_OK) r = jpgReadGetCodingProcess(handle, &frame->process);
  return r;
}

const char *processName(uint32_t process) {
  switch (process) {
    case JPG_PROCESS_BASELINE:
      return "baseline";
    case JPG_PROCESS_EXTENDED:
      return "extended";
    case JPG_PROCESS_PROGRESSIVE:
      return "progressive";
    default:
      return "lossless";
  }
}

bool isFrame(uint32_t code) {
  return code >= marker::kSof0 && code <= marker::kSof15 && code != marker::kDht &&
         code != marker::kJpg && code != marker::kDac;
}

std::vector<Component> componentsOf(const uint8_t *data, size_t size) {
  constexpr size_t kFixed = 6;  // precision, height, width, number of components
  std::vector<Component> components;
  for (size_t i = kFixed; i + 3 <= size && components.size() < data[kFixed - 1]; i += 3) {
    const uint32_t factors = data[i + 1];
    components.push_back({data[i], factors >> 4, factors & 15U, data[i + 2]});
  }
  return components;
}

Headers headersOf(const Input &input) {
  constexpr uint64_t kBehindSoi = 2;
  const FileSegments stream(input);
  Headers headers;
  uint64_t offset = kBehindSoi;
  for (;;) {
    FileSegment segment;
    while (stream.at(offset, &segment) != JPG_OK) {
      uint16_t code = 0;
      if (!stream.find(&++offset, &code)) return headers;
    }
    headers.segments.push_back({segment.marker, offset, segment.length});
    takeSegment(segment, &headers);
    if (segment.marker == marker::kSos || segment.marker == marker::kEoi) return headers;
    offset = segment.end;
  }
}

std::string markerName(uint16_t marker) {
  const uint32_t low = marker & 0xFFU;
  if (low >= 0xE0 && low <= 0xEF) return "APP" + std::to_string(low - 0xE0);
  if (low >= 0xD0 && low <= 0xD7) return "RST" + std::to_string(low - 0xD0);
  if (low >= 0xF0 && low <= 0xFD) return "JPG" + std::to_string(low - 0xF0);
  switch (low) {
    case 0xC4:
      return "DHT";
    case 0xC8:
      return "JPG";
    case 0xCC:
      return "DAC";
    case 0xD8:
      return "SOI";
    case 0xD9:
      return "EOI";
    case 0xDA:
      return "SOS";
    case 0xDB:
      return "DQT";
    case 0xDC:
      return "DNL";
    case 0xDD:
      return "DRI";
    case 0xDE:
      return "DHP";
    case 0xDF:
      return "EXP";
    case 0xFE:
      return "COM";
    default:
      return "SOF" + std::to_string(low - 0xC0);
  }
}

StreamScan scanStream(const Input &input) {
  const FileSegments stream(input);
  StreamScan scan;
  uint64_t offset = 0;
  for (uint16_t code = 0; stream.find(&offset, &code) && code != marker::kEoi;) {
    FileSegment segment;
    if (marker::isRestart(code)) takeRestart(code, &scan);
    if (marker::standsAlone(code) || stream.at(offset, &segment) != JPG_OK) {
      offset += 2;
      continue;
    }
    if (code == marker::kSos) scan.scanOffsets.push_back(offset);
    if (code == marker::kDnl) takeLines(segment, &scan);
    offset = segment.end;
  }
  return scan;
}

}  // namespace jpgtool
