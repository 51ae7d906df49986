// SPDX-License-Identifier: MIT
#include "streamInfo.h"

#include <algorithm>
#include <cstdlib>

#include "fileSegments.h"

namespace jpgtool {
namespace {

namespace marker = jpg::marker;

constexpr uint16_t kDqt = 0xFFDB;

// T.81 table K.1, in the order of the coefficients in a stream.
constexpr uint8_t kLuminance[64] = {16,  11, 12, 14,  12,  10,  16,  14,  13, 14,  18,  17,  16,
                                    19,  24, 40, 26,  24,  22,  22,  24,  49, 35,  37,  29,  40,
                                    58,  51, 61, 60,  57,  51,  56,  55,  64, 72,  92,  78,  64,
                                    68,  87, 69, 55,  56,  80,  109, 81,  87, 95,  98,  103, 104,
                                    103, 62, 77, 113, 121, 112, 100, 120, 92, 101, 103, 99};

std::string at(uint64_t offset) { return " at byte " + std::to_string(offset); }

uint32_t number16(const uint8_t *p) { return static_cast<uint32_t>(p[0]) << 8 | p[1]; }

// A step of the table at a quality, as most encoders scale it.
long scaledStep(uint32_t quality, size_t i) {
  const long q = static_cast<long>(quality);
  const long scale = q < 50 ? 5000 / q : 200 - 2 * q;
  return std::clamp((kLuminance[i] * scale + 50) / 100, 1L, 255L);
}

// The quality whose table comes closest to the one that a DQT segment begins with.
void estimateQuality(const FileSegment &segment, StreamInfo *info) {
  constexpr size_t kTable = 65;
  const bool wide = segment.size > 0 && segment.data[0] >> 4 != 0;
  if (segment.size < (wide ? 2 * kTable - 1 : kTable) || info->quality != 0) return;
  long smallest = -1;
  for (uint32_t quality = 1; quality <= 100; quality++) {
    long distance = 0;
    for (size_t i = 0; i < 64; i++) {
      const long step =
          wide ? static_cast<long>(number16(segment.data + 1 + 2 * i)) : segment.data[1 + i];
      distance += std::labs(step - scaledStep(quality, i));
    }
    if (smallest >= 0 && distance >= smallest) continue;
    smallest = distance;
    info->quality = quality;
    info->qualityExact = distance == 0;
  }
}

void takeFrame(const FileSegment &segment, StreamInfo *info) {
  constexpr size_t kFixed = 6;
  static constexpr uint32_t kProcesses[] = {JPG_PROCESS_BASELINE, JPG_PROCESS_EXTENDED,
                                            JPG_PROCESS_PROGRESSIVE, JPG_PROCESS_LOSSLESS};
  if (info->frameMarker != 0 || segment.size < kFixed) return;
  info->frameMarker = segment.marker;
  info->frame.precision = segment.data[0];
  info->frame.height = number16(segment.data + 1);
  info->frame.width = number16(segment.data + 3);
  info->frame.channels = segment.data[5];
  const uint32_t kind = segment.marker - marker::kSof0;
  info->frame.process = kind < 4 ? kProcesses[kind] : 0;
}

// A scan header, then the coded data up to the next marker. Returns where that is.
uint64_t takeScan(const FileSegments &stream, uint64_t offset, const FileSegment &segment,
                  StreamInfo *info) {
  ScanInfo scan;
  scan.offset = offset;
  const size_t count = segment.size > 0 ? segment.data[0] : 0;
  for (size_t i = 0; i < count && 2 + 2 * i < segment.size; i++) {
    scan.components.push_back(segment.data[1 + 2 * i]);
  }
  if (segment.size >= 4 + 2 * count) {
    const uint8_t *tail = segment.data + 1 + 2 * count;
    scan.first = tail[0];
    scan.last = tail[1];
    scan.high = tail[2] >> 4;
    scan.low = tail[2] & 15;
  }
  uint64_t next = std::min<uint64_t>(segment.end, stream.size());
  uint16_t code = 0;
  while (stream.find(&next, &code) && (marker::isRestart(code) || code < marker::kSof0)) {
    if (marker::isRestart(code)) scan.restarts++;
    next += 2;
  }
  if (stream.left(next) < 2) next = stream.size();
  scan.bytes = next - std::min(next, segment.end);
  info->scans.push_back(scan);
  return next;
}

void takeSegment(const FileSegment &segment, StreamInfo *info) {
  if (isFrame(segment.marker)) takeFrame(segment, info);
  if (segment.marker == kDqt) estimateQuality(segment, info);
  if (segment.marker == marker::kDnl && segment.size == 2 && info->dnlLines == 0) {
    info->dnlLines = number16(segment.data);
  }
}

// Passes over what is no segment. False at the end of the stream.
bool passOver(const FileSegments &stream, uint64_t *offset, StreamInfo *info) {
  const uint64_t from = *offset;
  uint16_t code = 0;
  ++*offset;
  const bool found = stream.find(offset, &code);
  if (!found) *offset = stream.size();
  const bool fill = *stream.bytesAt(from) == 0xFF && *offset - from == 1;
  const std::string what = fill ? "a fill byte" : std::to_string(*offset - from) + " stray bytes";
  info->remarks.push_back(what + at(from));
  return found;
}

}  // namespace

uint32_t describeStream(const Input &input, StreamInfo *info, std::string *why) {
  const FileSegments stream(input);
  FileSegment segment;
  if (stream.at(0, &segment) != JPG_OK || segment.marker != marker::kSoi) {
    *why = "no start marker (FF D8) at byte 0";
    return JPG_E_NOT_JPEG;
  }
  info->headers = headersOf(input);
  uint64_t offset = segment.end;
  while (stream.left(offset) >= 2) {
    if (stream.at(offset, &segment) != JPG_OK) {
      if (!passOver(stream, &offset, info)) break;
      continue;
    }
    info->segments.push_back({segment.marker, offset, segment.length});
    if (segment.marker == marker::kEoi) {
      info->end = offset;
      info->behind = stream.size() - segment.end;
      break;
    }
    takeSegment(segment, info);
    if (segment.end > stream.size()) {
      info->remarks.push_back("the " + markerName(segment.marker) + " segment" + at(offset) +
                              " goes beyond the end of the file");
      break;
    }
    offset = segment.marker == marker::kSos ? takeScan(stream, offset, segment, info) : segment.end;
  }
  if (info->scans.empty()) info->remarks.push_back("no scan: the file ends" + at(stream.size()));
  if (info->end == 0) info->remarks.push_back("no end marker (FF D9)");
  if (info->behind != 0) {
    info->remarks.push_back(std::to_string(info->behind) + " bytes behind the end marker" +
                            at(info->end));
  }
  if (info->frameMarker != 0) return JPG_OK;
  *why = "no frame header; the file ends" + at(stream.size());
  return JPG_E_NOT_JPEG;
}

std::string frameName(uint16_t code) {
  static constexpr const char *kKinds[] = {"baseline", "extended", "progressive", "lossless"};
  const uint32_t kind = code - marker::kSof0;
  if (kind < 4) return kKinds[kind];
  std::string name = kind >= 9 ? "arithmetic " : "";
  if (kind % 8 >= 5) name += "differential ";
  return name + kKinds[kind % 4];
}

std::string chromaName(const std::vector<Component> &components) {
  struct Name {
    uint32_t h, v;
    const char *name;
  };
  static constexpr Name kNames[] = {{1, 1, "4:4:4"}, {2, 1, "4:2:2"}, {1, 2, "4:4:0"},
                                    {2, 2, "4:2:0"}, {4, 1, "4:1:1"}, {4, 2, "4:1:0"}};
  if (components.size() != 3) return "";
  const Component &y = components[0], &cb = components[1], &cr = components[2];
  const bool even =
      cb.h == cr.h && cb.v == cr.v && cb.h != 0 && cb.v != 0 && y.h % cb.h == 0 && y.v % cb.v == 0;
  for (const Name &entry : kNames) {
    if (even && y.h / cb.h == entry.h && y.v / cb.v == entry.v) return entry.name;
  }
  return "";
}

}  // namespace jpgtool
