#include "headerWalk.h"

#include <algorithm>
#include <cstdio>
#include <memory>

#include "files.h"

namespace jpgtool {
namespace {

constexpr uint16_t kSoi = 0xFFD8, kSos = 0xFFDA, kDri = 0xFFDD;
constexpr uint16_t kSof0 = 0xFFC0, kSof2 = 0xFFC2, kSof3 = 0xFFC3, kSof15 = 0xFFCF;
constexpr uint16_t kDht = 0xFFC4, kJpg = 0xFFC8, kDac = 0xFFCC;

struct Close {
  void operator()(std::FILE *file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, Close>;

bool isFrame(uint32_t marker) {
  return marker >= kSof0 && marker <= kSof15 && marker != kDht && marker != kJpg && marker != kDac;
}

bool standsAlone(uint32_t marker) { return marker >= 0xFFD0 && marker <= 0xFFD9; }

// A 16-bit number, high byte first, -1 at the end of the file.
int32_t next16(std::FILE *file) {
  const int high = std::getc(file);
  const int low = std::getc(file);
  return high < 0 || low < 0 ? -1 : high << 8 | low;
}

std::string at(uint64_t offset) { return " at byte " + std::to_string(offset); }

std::string hex16(int32_t number) {
  char text[16];
  std::snprintf(text, sizeof(text), "%02X %02X", static_cast<unsigned>(number) >> 8 & 0xFFU,
                static_cast<unsigned>(number) & 0xFFU);
  return text;
}

// The frame header's fields, behind its length.
FrameHeader takeFrame(std::FILE *file, uint16_t marker, uint64_t offset, int32_t length) {
  FrameHeader frame;
  frame.marker = marker;
  frame.offset = offset;
  std::vector<uint8_t> data(static_cast<size_t>(length - 2));
  data.resize(std::fread(data.data(), 1, data.size(), file));
  constexpr size_t kFixed = 6;
  if (data.size() < kFixed) return frame;
  frame.height = static_cast<uint32_t>(data[1]) << 8 | data[2];
  frame.width = static_cast<uint32_t>(data[3]) << 8 | data[4];
  for (size_t i = kFixed; i + 3 <= data.size() && frame.components.size() < data[5]; i += 3) {
    const uint32_t factors = data[i + 1];
    frame.components.push_back({data[i], factors >> 4, factors & 15U, data[i + 2]});
  }
  return frame;
}

// One segment. False when the walk ends there.
bool takeSegment(std::FILE *file, uint64_t fileSize, uint64_t *offset, HeaderWalk *walk) {
  const int32_t word = next16(file);
  if (word < 0) {
    walk->trouble = "the file ends" + at(fileSize) + ", ahead of a scan";
    return false;
  }
  const auto marker = static_cast<uint16_t>(word);
  if (marker < kSof0 || marker == 0xFFFF) {
    walk->trouble = hex16(word) + at(*offset) + ", where a marker must stand";
    return false;
  }
  if (standsAlone(marker)) {
    *offset += 2;
    return true;
  }
  const int32_t length = next16(file);
  if (length < 2 || (marker == kDri && length != 4)) {
    walk->trouble = "the length of the " + markerName(marker) + " segment" + at(*offset) + " is " +
                    (length < 0 ? "cut off" : std::to_string(length));
    return false;
  }
  if (isFrame(marker)) walk->frames.push_back(takeFrame(file, marker, *offset, length));
  if (marker == kSos) {
    walk->scanOffset = *offset;
    return false;
  }
  const uint64_t next = *offset + 2 + static_cast<uint64_t>(length);
  if (next > fileSize) {
    walk->trouble =
        "the " + markerName(marker) + " segment" + at(*offset) + " goes beyond the end of the file";
    return false;
  }
  *offset = next;
  return fseeko(file, static_cast<off_t>(next), SEEK_SET) == 0;
}

// What of a frame the library doesn't serve.
std::string frameTrouble(const FrameHeader &frame) {
  const std::string name = "the frame " + markerName(frame.marker) + at(frame.offset);
  if (frame.marker > kSof3) return name + " is of a kind that is not supported";
  const size_t count = frame.components.size();
  if (count < 1 || count > 4) return name + " has " + std::to_string(count) + " components";
  for (const Component &c : frame.components) {
    if (count > 1 && (c.h > 2 || c.v > 2)) {  // a single one counts as 1 x 1
      return name + " has sampling factors " + std::to_string(c.h) + " x " + std::to_string(c.v);
    }
  }
  return "";
}

}  // namespace

HeaderWalk walkHeader(const std::string &file) {
  HeaderWalk walk;
  const File stream(std::fopen(file.c_str(), "rb"));
  if (stream == nullptr) {
    walk.trouble = "cannot open the file";
    return walk;
  }
  if (next16(stream.get()) != kSoi) {
    walk.trouble = "no start marker (FF D8) at byte 0";
    return walk;
  }
  uint64_t offset = 2;
  const uint64_t size = sizeOfFile(file);
  while (takeSegment(stream.get(), size, &offset, &walk)) {
  }
  return walk;
}

std::string whyRefused(const std::string &file, uint32_t flags, uint32_t code) {
  if (code != JPG_E_NOT_JPEG && code != JPG_E_UNSUPPORTED && code != JPG_E_BAD_SEGMENT_LENGTH) {
    return "";
  }
  const HeaderWalk walk = walkHeader(file);
  if (code == JPG_E_UNSUPPORTED && !walk.frames.empty()) {
    const std::string trouble = frameTrouble(walk.frames[0]);
    if (!trouble.empty()) return trouble;
  }
  if (!walk.trouble.empty()) return walk.trouble;
  const bool wantsEnd = code == JPG_E_NOT_JPEG && (flags & JPG_READ_COMPLETE) == 0;
  return wantsEnd ? "no end marker (FF D9); --no-eoi opens such files" : "";
}

uint64_t frameMemory(const FrameHeader &frame) {
  if (frame.marker != kSof2) return 0;
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

}  // namespace jpgtool
