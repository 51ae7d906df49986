// SPDX-License-Identifier: MIT
#include "headerWalk.h"

#include <algorithm>
#include <cstdio>

#include "fileSegments.h"

namespace jpgtool {
namespace {

namespace marker = jpg::marker;

std::string at(uint64_t offset) { return " at byte " + std::to_string(offset); }

std::string hex16(uint32_t number) {
  char text[16];
  std::snprintf(text, sizeof(text), "%02X %02X", number >> 8 & 0xFFU, number & 0xFFU);
  return text;
}

FrameHeader frameOf(const FileSegment &segment, uint64_t offset) {
  FrameHeader frame;
  frame.marker = segment.marker;
  frame.offset = offset;
  frame.components = componentsOf(segment.data, segment.size);
  constexpr size_t kFixed = 6;  // precision, height, width, number of components
  if (segment.size < kFixed) return frame;
  frame.height = static_cast<uint32_t>(segment.data[1]) << 8 | segment.data[2];
  frame.width = static_cast<uint32_t>(segment.data[3]) << 8 | segment.data[4];
  return frame;
}

std::string lengthTrouble(uint16_t code, uint64_t offset, const std::string &length) {
  return "the length of the " + markerName(code) + " segment" + at(offset) + " is " + length;
}

// Why there is no valid segment at an offset; `head` has its first two bytes and the length, `size`
// bytes in all.
std::string troubleAt(uint64_t offset, const uint8_t *head, size_t size) {
  constexpr size_t kHead = 4;
  const uint32_t word = static_cast<uint32_t>(head[0]) << 8 | head[1];
  if (word < marker::kSof0 || word == 0xFFFF) {
    return hex16(word) + at(offset) + ", not a marker";
  }
  const auto code = static_cast<uint16_t>(word);
  if (size < kHead) return lengthTrouble(code, offset, "cut off");
  return lengthTrouble(code, offset, std::to_string(head[2] << 8 | head[3]));
}

// Reads one segment. False when the walk ends there.
bool takeSegment(const FileSegments &file, uint64_t *offset, HeaderWalk *walk) {
  const size_t left = file.left(*offset);
  if (left < 2) {
    walk->trouble = "the file ends" + at(file.size()) + ", before the first scan";
    return false;
  }
  FileSegment segment;
  const uint32_t r = file.at(*offset, &segment);
  if (r != JPG_OK || (segment.marker == marker::kDri && segment.length != 2)) {
    walk->trouble = troubleAt(*offset, file.bytesAt(*offset), left);
    return false;
  }
  if (isFrame(segment.marker)) walk->frames.push_back(frameOf(segment, *offset));
  if (segment.marker == marker::kSos) return false;
  if (segment.end > file.size()) {
    walk->trouble = "the " + markerName(segment.marker) + " segment" + at(*offset) +
                    " goes beyond the end of the file";
    return false;
  }
  *offset = segment.end;
  return true;
}

// What the library doesn't support about a frame; empty if there is nothing.
std::string frameTrouble(const FrameHeader &frame) {
  const std::string name = "the frame " + markerName(frame.marker) + at(frame.offset);
  if (frame.marker > marker::kSof3) return name + " is not a supported type";
  const size_t count = frame.components.size();
  if (count < 1 || count > 4) return name + " has " + std::to_string(count) + " components";
  for (const Component &c : frame.components) {
    if (count > 1 && (c.h > 2 || c.v > 2)) {  // a single one counts as 1 x 1
      return name + " has sampling factors " + std::to_string(c.h) + " x " + std::to_string(c.v);
    }
  }
  return "";
}

// Of all blocks of a frame.
uint64_t coefficientBytes(const FrameHeader &frame) {
  constexpr uint64_t kBytes = 2;  // of a coefficient
  uint64_t h = 1, v = 1, blocks = 0;
  const bool single = frame.components.size() == 1;  // counts as 1 x 1
  for (const Component &c : frame.components) {
    const uint64_t ch = single ? 1 : c.h, cv = single ? 1 : c.v;
    h = std::max(h, ch);
    v = std::max(v, cv);
    blocks += ch * cv;
  }
  const uint64_t mcus =
      (frame.width + 8 * h - 1) / (8 * h) * ((frame.height + 8 * v - 1) / (8 * v));
  return mcus * blocks * 64 * kBytes;
}

}  // namespace

HeaderWalk walkHeader(const Input &input) {
  HeaderWalk walk;
  const FileSegments file(input);
  FileSegment start;
  if (file.at(0, &start) != JPG_OK || start.marker != marker::kSoi) {
    walk.trouble = "no start marker (FF D8) at byte 0";
    return walk;
  }
  uint64_t offset = start.end;
  while (takeSegment(file, &offset, &walk)) {
  }
  return walk;
}

std::string whyRefused(const Input &input, uint32_t flags, uint32_t code) {
  if (code != JPG_E_NOT_JPEG && code != JPG_E_UNSUPPORTED && code != JPG_E_BAD_SEGMENT_LENGTH) {
    return "";
  }
  const HeaderWalk walk = walkHeader(input);
  if (code == JPG_E_UNSUPPORTED && !walk.frames.empty()) {
    const std::string trouble = frameTrouble(walk.frames[0]);
    if (!trouble.empty()) return trouble;
  }
  if (!walk.trouble.empty()) return walk.trouble;
  const bool wantsEnd = code == JPG_E_NOT_JPEG && (flags & JPG_READ_COMPLETE) == 0;
  return wantsEnd ? "no end marker (FF D9); --no-eoi opens such files" : "";
}

uint64_t openingMemory(const Input &input) {
  const FileSegments stream(input);
  const Headers headers = headersOf(input);
  uint64_t most = 0;
  size_t inScan = 0;
  FileSegment segment;
  if (!headers.segments.empty() && stream.at(headers.segments.back().offset, &segment) == JPG_OK &&
      segment.marker == marker::kSos && segment.size > 0) {
    inScan = segment.data[0];
  }
  for (const Segment &s : headers.segments) {
    if (!isFrame(s.marker) || stream.at(s.offset, &segment) != JPG_OK) continue;
    const FrameHeader frame = frameOf(segment, s.offset);
    const bool apart = s.marker < marker::kSof2 && inScan < frame.components.size();
    if (s.marker == marker::kSof2 || apart) most = std::max(most, coefficientBytes(frame));
  }
  return most;
}

}  // namespace jpgtool
