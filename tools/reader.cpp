#include "reader.h"

#include <cstdio>
#include <cstring>

#include "files.h"
#include "headerWalk.h"

namespace jpgtool {
namespace {

constexpr uint16_t kSof0 = 0xFFC0, kSof3 = 0xFFC3, kSos = 0xFFDA, kDri = 0xFFDD;
constexpr uint16_t kApp0 = 0xFFE0, kApp14 = 0xFFEE;

uint32_t number16(const std::vector<uint8_t> &data, size_t i) {
  return static_cast<uint32_t>(data[i]) << 8 | data[i + 1];
}

bool beginsWith(const std::vector<uint8_t> &data, const char *text, size_t size) {
  return data.size() >= size && std::memcmp(data.data(), text, size) == 0;
}

void takeSof(const std::vector<uint8_t> &data, Headers *headers) {
  constexpr size_t kFixed = 6;
  if (data.size() < kFixed) return;
  for (size_t i = kFixed; i + 3 <= data.size() && headers->components.size() < data[5]; i += 3) {
    const uint32_t factors = data[i + 1];
    headers->components.push_back({data[i], factors >> 4, factors & 15, data[i + 2]});
  }
}

void takeJfif(const std::vector<uint8_t> &data, Headers *headers) {
  if (data.size() < 14 || !beginsWith(data, "JFIF", 5)) return;
  headers->jfif = true;
  headers->densityUnits = data[7];
  headers->xDensity = number16(data, 8);
  headers->yDensity = number16(data, 10);
}

void takeSegment(uint16_t marker, const std::vector<uint8_t> &data, Headers *headers) {
  if (marker >= kSof0 && marker <= kSof3) takeSof(data, headers);
  if (marker == kDri && data.size() == 2) headers->restartInterval = number16(data, 0);
  if (marker == kApp0) takeJfif(data, headers);
  if (marker == kApp14 && data.size() >= 12 && beginsWith(data, "Adobe", 5)) {
    headers->adobeTransform = data[11];
  }
}

// Bytes of a file one by one.
class ByteSource {
 public:
  explicit ByteSource(std::FILE *file) : file_(file) {}
  int next() { return std::getc(file_); }
  // A 16-bit number, -1 at the end.
  int next16() {
    const int high = next();
    const int low = next();
    return high < 0 || low < 0 ? -1 : high << 8 | low;
  }
  void skip(int count) {
    while (count-- > 0 && next() >= 0) {
    }
  }

 private:
  std::FILE *file_;
};

// True for FF xx that stands alone: RSTn, SOI, EOI, TEM.
bool standsAlone(int code) { return (code >= 0xD0 && code <= 0xD9) || code == 0x01; }

void takeRestart(int code, StreamScan *scan) {
  if (scan->scans != 1) return;
  if (static_cast<uint32_t>(code - 0xD0) != scan->restarts % 8) scan->restartsInOrder = false;
  scan->restarts++;
}

void takeMarker(ByteSource *source, int code, StreamScan *scan) {
  if (code == 0xDA) scan->scans++;
  if (code >= 0xD0 && code <= 0xD7) takeRestart(code, scan);
  if (standsAlone(code)) return;
  const int length = source->next16();
  if (code == 0xDC && length == 4) {
    const int lines = source->next16();
    if (scan->dnlLines == 0 && lines > 0) scan->dnlLines = static_cast<uint32_t>(lines);
  } else {
    source->skip(length - 2);
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

uint32_t readHeaders(JPGHANDLE handle, Headers *headers) {
  uint64_t offset = 2;  // behind SOI
  for (int32_t mode = JPG_SEGMENT_FIRST;; mode = JPG_SEGMENT_NEXT) {
    Segment segment = {0, offset, 0};
    const uint32_t r = jpgReadSeekMarkerSegment(handle, mode, &segment.marker, &segment.length);
    if (r != JPG_OK) return r;
    const bool alone = segment.marker >= 0xFFD0 && segment.marker <= 0xFFD9;
    offset += 2 + (alone ? 0 : 2) + uint64_t{segment.length};
    headers->segments.push_back(segment);
    std::vector<uint8_t> data(segment.length);
    if (!data.empty()) jpgReadReadMarkerData(handle, data.data(), segment.length, nullptr);
    takeSegment(segment.marker, data, headers);
    if (segment.marker == kSos) return JPG_OK;
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

bool scanStream(const std::string &file, StreamScan *scan) {
  std::FILE *stream = std::fopen(file.c_str(), "rb");
  if (stream == nullptr) return false;
  ByteSource source(stream);
  bool pending = false;  // the byte before was FF
  for (int byte = source.next(); byte >= 0; byte = source.next()) {
    if (pending && byte == 0xD9) break;  // EOI
    if (pending && byte != 0 && byte != 0xFF) takeMarker(&source, byte, scan);
    pending = byte == 0xFF;
  }
  std::fclose(stream);
  return true;
}

}  // namespace jpgtool
