// SPDX-License-Identifier: MIT
#include "material.h"

#include <algorithm>
#include <cstring>

#include "codec.h"

namespace jpgbench {
namespace {

constexpr uint32_t kTile = 256;

// Photographs of different cameras, the larger ones first: flowers, a lake, a car, a patch of
// cloth, a cheetah.
const char *const kPhotographs[] = {"photos/flower_444_q85.jpg", "exif/lake.jpg",
                                    "plain/sos_news.jpeg", "plain/weird_components.jpg",
                                    "plain/huge_sof_number.jpg"};

// Sequential pictures, whose thumbnails have 160 x 120.
const char *const kExifFiles[] = {"exif/icc_profile_Lower_Left.jpg",
                                  "exif/icc_profile_Upper_Right.jpg", "exif/iptc.jpeg"};

// Width and height of the first frame header; false without one.
bool frameSize(const Bytes &stream, uint32_t *width, uint32_t *height) {
  for (size_t at = 2; at + 9 < stream.size();) {
    const uint32_t code = stream[at + 1];
    if (code >= 0xC0 && code <= 0xC2) {
      *height = static_cast<uint32_t>(stream[at + 5] << 8 | stream[at + 6]);
      *width = static_cast<uint32_t>(stream[at + 7] << 8 | stream[at + 8]);
      return true;
    }
    at += 2 + static_cast<size_t>(stream[at + 2] << 8 | stream[at + 3]);
  }
  return false;
}

bool readPhotograph(const std::string &name, Picture *p) {
  const Bytes stream = readFile(name);
  Output pixels;
  uint32_t width = 0, height = 0;
  if (!frameSize(stream, &width, &height)) return false;
  if (!codecs().libjpeg->decode(Job(), stream, &pixels)) return false;
  *p = Picture(width, height);
  if (pixels.size != p->pixels.size()) return false;
  std::memcpy(p->pixels.data(), pixels.bytes.data(), pixels.size);
  return true;
}

// Copies a square of a source, as it lies or mirrored; the seed chooses which.
void putTile(const std::vector<Picture> &sources, uint32_t seed, uint32_t left, uint32_t top,
             Picture *sheet) {
  const Picture &from = sources[seed % sources.size()];
  const uint32_t h = hashOf(seed, 0, 7);
  const uint32_t x0 = (h & 0xFFFF) % (from.width - kTile + 1);
  const uint32_t y0 = (h >> 16) % (from.height - kTile + 1);
  const bool mirrorX = (hashOf(seed, 1, 7) & 256) != 0, mirrorY = (hashOf(seed, 2, 7) & 256) != 0;
  for (uint32_t y = 0; y < kTile; y++) {
    const uint32_t sy = y0 + (mirrorY ? kTile - 1 - y : y);
    for (uint32_t x = 0; x < kTile; x++) {
      const uint32_t sx = x0 + (mirrorX ? kTile - 1 - x : x);
      std::memcpy(sheet->at(left + x, top + y), from.at(sx, sy), from.pixelBytes());
    }
  }
}

// Every sheet continues where the one before ended, so that their tiles differ.
std::vector<Picture> makeSheets(const std::vector<Picture> &sources, const SheetSize &size) {
  std::vector<Picture> sheets;
  uint32_t seed = 0;
  for (uint32_t i = 0; i < size.sheets; i++) {
    sheets.emplace_back(size.across * kTile, size.down * kTile, sources[0].channels,
                        sources[0].bits);
    for (uint32_t y = 0; y < size.down; y++) {
      for (uint32_t x = 0; x < size.across; x++) {
        putTile(sources, seed++, x * kTile, y * kTile, &sheets.back());
      }
    }
  }
  return sheets;
}

std::vector<Picture> mapped(const std::vector<Picture> &in, Picture (*change)(const Picture &)) {
  std::vector<Picture> out;
  for (const Picture &p : in) out.push_back(change(p));
  return out;
}

// A cache file of pictures: for each one four numbers and its samples.
Bytes packed(const std::vector<Picture> &pictures) {
  Bytes out;
  for (const Picture &p : pictures) {
    const uint32_t head[] = {p.width, p.height, p.channels, p.bits};
    const auto *bytes = reinterpret_cast<const uint8_t *>(head);
    out.insert(out.end(), bytes, bytes + sizeof(head));
    out.insert(out.end(), p.pixels.begin(), p.pixels.end());
  }
  return out;
}

std::vector<Picture> unpacked(const Bytes &data) {
  std::vector<Picture> pictures;
  uint32_t head[4];
  for (size_t at = 0; at + sizeof(head) < data.size();) {
    std::memcpy(head, &data[at], sizeof(head));
    at += sizeof(head);
    pictures.emplace_back(head[0], head[1], head[2], head[3]);
    Picture &p = pictures.back();
    if (p.pixels.size() > data.size() - at) return {};
    std::memcpy(p.pixels.data(), &data[at], p.pixels.size());
    at += p.pixels.size();
  }
  return pictures;
}

}  // namespace

template <typename Make>
Pictures Material::once(const std::string &name, Make make) {
  if (auto there = made_[name].lock()) return there;
  const std::string file = kept_ + "/" + name + ".raw";
  auto pictures = std::make_shared<std::vector<Picture>>();
  if (!kept_.empty()) *pictures = unpacked(readFile(file));
  if (pictures->empty()) {
    *pictures = make();
    if (!kept_.empty()) writeFile(file, packed(*pictures));
  }
  made_[name] = pictures;
  return pictures;
}

// At half the size, chroma that was 4:2:0 has full resolution again.
const std::vector<Picture> &Material::photographs() {
  if (!photographs_.empty()) return photographs_;
  for (const char *name : kPhotographs) {
    Picture p;
    if (readPhotograph(corpus_ + "/" + name, &p)) photographs_.push_back(std::move(p));
  }
  if (photographs_.empty()) photographs_.push_back(makePhotograph(2400, 1600));
  return photographs_;
}

Pictures Material::sheets(Content content, const SheetSize &size) {
  const char *kind = content == Content::kGray    ? "grey"
                     : content == Content::kWords ? "words"
                                                  : "colour";
  return once(std::string(kind) + " " + size.label, [&] {
    if (content == Content::kWords) return makeSheets(mapped(photographs(), boxedWords), size);
    if (content == Content::kGray) return mapped(*sheets(Content::kPhoto, size), toGray);
    const auto half = [](const Picture &p) { return boxed(p, 2); };
    return makeSheets(mapped(photographs(), half), size);
  });
}

Pictures Material::cuts(uint32_t side) {
  return once("cuts " + std::to_string(side), [&] {
    const Pictures sheet = sheets(Content::kPhoto, kSheetSizes[0]);
    std::vector<Picture> cuts;
    for (uint32_t i = 0; i < 16; i++) {
      const Picture &from = (*sheet)[i % sheet->size()];
      Picture p(side, side);
      const uint32_t left = hashOf(i, side, 8) % (from.width - side);
      const uint32_t top = hashOf(i, side, 9) % (from.height - side);
      for (uint32_t y = 0; y < side; y++) {
        std::memcpy(p.at(0, y), from.at(left, top + y), p.rowBytes());
      }
      cuts.push_back(std::move(p));
    }
    return cuts;
  });
}

Pictures Material::thumbnails() {
  return once("thumbnails", [&] {
    std::vector<Picture> out;
    for (const Picture &p : photographs()) {
      const uint32_t side = std::min(p.width / 160, p.height / 120);
      out.push_back(cropped(boxed(p, side), 160, 120));
    }
    return out;
  });
}

Pictures Material::made(Content content) {
  const bool noise = content == Content::kNoise;
  return once(noise ? "noise" : "screen", [&] {
    return std::vector<Picture>(1, noise ? makeNoise(1280, 800) : makeScreen(1280, 800));
  });
}

std::vector<Bytes> Material::exifFiles() const {
  std::vector<Bytes> files;
  for (const char *name : kExifFiles) {
    Bytes file = readFile(corpus_ + "/" + name);
    if (!file.empty()) files.push_back(std::move(file));
  }
  return files;
}

}  // namespace jpgbench
