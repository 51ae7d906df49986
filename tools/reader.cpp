#include "reader.h"

#include <cstring>

#include "fileSegments.h"
#include "files.h"
#include "headerWalk.h"

namespace jpgtool {
namespace {

namespace marker = jpg::marker;

uint32_t number16(const std::vector<uint8_t> &data, size_t i) {
  return static_cast<uint32_t>(data[i]) << 8 | data[i + 1];
}

bool beginsWith(const std::vector<uint8_t> &data, const char *text, size_t size) {
  return data.size() >= size && std::memcmp(data.data(), text, size) == 0;
}

void takeJfif(const std::vector<uint8_t> &data, Headers *headers) {
  if (data.size() < 14 || !beginsWith(data, "JFIF", 5)) return;
  headers->jfif = true;
  headers->densityUnits = data[7];
  headers->xDensity = number16(data, 8);
  headers->yDensity = number16(data, 10);
}

void takeSegment(uint16_t code, const std::vector<uint8_t> &data, Headers *headers) {
  if (code >= marker::kSof0 && code <= marker::kSof3) headers->components = componentsOf(data);
  if (code == marker::kDri && data.size() == 2) headers->restartInterval = number16(data, 0);
  if (code == marker::kApp0) takeJfif(data, headers);
  if (code == marker::kApp14 && data.size() >= 12 && beginsWith(data, "Adobe", 5)) {
    headers->adobeTransform = data[11];
  }
}

void takeRestart(uint16_t code, StreamScan *scan) {
  if (scan->scanOffsets.size() != 1) return;
  if (code - marker::kRst0 != static_cast<int>(scan->restarts % 8)) scan->restartsInOrder = false;
  scan->restarts++;
}

void takeLines(const FileSegment &segment, StreamScan *scan) {
  const std::vector<uint8_t> &data = segment.data;
  if (segment.length == 2 && data.size() == 2 && scan->dnlLines == 0) {
    scan->dnlLines = number16(data, 0);
  }
}

}  // namespace

uint32_t Reader::open(const std::string &file, uint32_t flags, const Limits &limits,
                      std::string *why) {
  if (const uint32_t r = checkOpening(limits, file, why); r != JPG_OK) return r;
  const std::u16string name = toUtf16(file);
  const uint32_t r = jpgReadPrologFromFile(name.c_str(), 0, 0, flags, &handle_);
  if (r != JPG_OK) *why = whyRefused(file, flags, r);
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

std::vector<Component> componentsOf(const std::vector<uint8_t> &data) {
  constexpr size_t kFixed = 6;  // precision, height, width, number of components
  std::vector<Component> components;
  for (size_t i = kFixed; i + 3 <= data.size() && components.size() < data[kFixed - 1]; i += 3) {
    const uint32_t factors = data[i + 1];
    components.push_back({data[i], factors >> 4, factors & 15U, data[i + 2]});
  }
  return components;
}

uint32_t readHeaders(JPGHANDLE handle, Headers *headers) {
  jpg::SegmentWalk walk(handle);
  for (;;) {
    const jpg::Result<jpg::Segment> segment = walk.next();
    if (!segment) return segment.code();
    headers->segments.push_back({segment->marker, walk.offset(), segment->length});
    std::vector<uint8_t> data(segment->length);
    if (!data.empty()) (void)walk.read(data);
    takeSegment(segment->marker, data, headers);
    if (segment->marker == marker::kSos) return JPG_OK;
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

bool scanStream(const std::string &name, StreamScan *scan) {
  FileSegments file(name);
  uint64_t offset = 0;
  for (uint16_t code = 0; file.find(&offset, &code) && code != marker::kEoi;) {
    FileSegment segment;
    if (marker::isRestart(code)) takeRestart(code, scan);
    if (marker::standsAlone(code) || file.at(offset, &segment) != JPG_OK) {
      offset += 2;
      continue;
    }
    if (code == marker::kSos) scan->scanOffsets.push_back(offset);
    if (code == marker::kDnl) takeLines(segment, scan);
    offset = segment.end;
  }
  return file.isOpen();
}

}  // namespace jpgtool
