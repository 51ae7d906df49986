// SPDX-License-Identifier: MIT
#include "whole/state/material.h"

#include <algorithm>
#include <map>

#include "model/losslessSource.h"
#include "support/picture.h"
#include "support/progressiveStream.h"
#include "support/random.h"
#include "support/tiffBuilder.h"

namespace jpgtest {
namespace {

uint16_t half(int32_t number) { return static_cast<uint16_t>(number); }

std::string number(size_t value) { return std::to_string(value); }

// An Exif segment with a thumbnail: none, compressed, uncompressed, or too short a structure.
Bytes anyExif(Random &random, std::string *what) {
  TiffBuilder tiff(random.oneIn(2) ? ByteOrder::kBig : ByteOrder::kLittle);
  const int32_t kind = random.between(0, 7);
  const int32_t width = random.between(1, 9), height = random.between(1, 9);
  uint32_t first = 0;
  if (kind < 4) {
    static const std::vector<std::vector<uint8_t>> layouts = {
        {0x22, 0x11, 0x11}, {0x11}, {0x11, 0x11, 0x11}, {0x11, 0x11, 0x11, 0x11}};
    const auto &layout = layouts[static_cast<size_t>(random.between(0, 3))];
    const Bytes jpeg = encode(makePicture(half(width), half(height), layout, Fill::kSmooth,
                                          static_cast<uint32_t>(random.between(1, 1000))));
    const uint32_t at = tiff.put(jpeg);
    first = tiff.putIfd({tiff.shortOf(259, 6), tiff.longOf(513, at),
                         tiff.longOf(514, static_cast<uint32_t>(jpeg.size()))});
    *what += ", Exif with a JPEG thumbnail of " + number(layout.size());
  } else if (kind < 6) {
    Bytes rgb;
    for (int32_t i = 0; i < width * height * 3; i++) {
      rgb.push_back(static_cast<uint8_t>(random.between(0, 255)));
    }
    const uint32_t at = tiff.put(rgb);
    const uint32_t photometric = random.oneIn(4) ? 6 : 2;
    first = tiff.putIfd({tiff.longOf(256, static_cast<uint32_t>(width)),
                         tiff.longOf(257, static_cast<uint32_t>(height)), tiff.shortOf(259, 1),
                         tiff.shortOf(262, photometric), tiff.longOf(273, at),
                         tiff.longOf(278, static_cast<uint32_t>(height)),
                         tiff.longOf(279, static_cast<uint32_t>(rgb.size()))});
    *what += ", Exif with an RGB thumbnail, photometric " + number(photometric);
  } else {
    *what += kind == 6 ? ", Exif without a thumbnail" : ", Exif of 7 bytes";
  }
  tiff.putZeroth({tiff.shortOf(274, 1)}, first);
  if (kind == 7) tiff.cut(7);
  return exifSegment(tiff.bytes());
}

Bytes anySegments(Random &random, std::string *what) {
  StreamBuilder builder;
  if (random.oneIn(3)) {
    builder.jfif(static_cast<uint8_t>(random.between(0, 2)), half(random.between(1, 600)), 300);
    *what += ", JFIF";
  }
  if (random.oneIn(5)) {
    const auto transform = static_cast<uint8_t>(random.between(0, 1));
    builder.adobe(transform);
    *what += ", Adobe " + number(transform);
  }
  if (random.oneIn(3)) builder.com("a comment of some bytes");
  if (random.oneIn(4)) builder.segment(kApp1, Bytes(static_cast<size_t>(random.between(6, 9)), 1));
  if (random.oneIn(3)) builder.raw(anyExif(random, what));
  return builder.bytes();
}

Picture anyPicture(Random &random, Material *m) {
  static const std::vector<std::vector<uint8_t>> layouts = {{0x11},
                                                            {0x11, 0x11, 0x11},
                                                            {0x22, 0x11, 0x11},
                                                            {0x21, 0x11, 0x11},
                                                            {0x12, 0x11, 0x11},
                                                            {0x11, 0x11, 0x11, 0x11},
                                                            {0x12, 0x11},
                                                            {0x22, 0x21, 0x12},
                                                            {0x22, 0x11, 0x11, 0x22}};
  const auto &layout = layouts[static_cast<size_t>(random.between(0, 8))];
  const Fill fill = random.oneIn(6) ? Fill::kDense : Fill::kSmooth;
  const int32_t most = random.oneIn(30) ? 64 : 40;
  Picture picture = makePicture(half(random.between(1, most)), half(random.between(1, most)),
                                layout, fill, static_cast<uint32_t>(random.between(0, 1 << 30)));
  const auto row = static_cast<int32_t>(picture.mcusPerRow());
  if (random.oneIn(4)) picture.restartInterval = half(random.between(1, 9));
  if (random.oneIn(2)) picture.restartInterval = half(row * random.between(1, 2));
  if (random.oneIn(9)) {
    for (size_t i = 0; i < layout.size() && layout.size() == 3; i++) {
      picture.components[i].id = static_cast<uint8_t>("RGB"[i]);
    }
  }
  m->width = picture.width;
  m->height = picture.height;
  m->channels = static_cast<int32_t>(layout.size());
  m->what += number(layout.size()) + " components, " + number(picture.width) + "x" +
             number(picture.height) + ", MCU " + number(picture.mcuWidth()) + "x" +
             number(picture.mcuHeight()) + ", restart " + number(picture.restartInterval);
  picture.before = anySegments(random, &m->what);
  return picture;
}

size_t placeOf(const Bytes &stream, uint8_t marker) {
  for (size_t i = 2; i + 4 < stream.size();) {
    if (stream[i + 1] == marker) return i;
    i += 2U + stream[i + 2] * 256U + stream[i + 3];
  }
  return stream.size();
}

// The coded data of the first scan.
size_t dataOf(const Bytes &stream) {
  const size_t sos = placeOf(stream, kSos);
  return sos + 2 + stream[sos + 3];
}

// The frame header doesn't tell the height.
void hideHeight(Material *m) {
  const size_t frame = placeOf(m->stream, static_cast<uint8_t>(m->sof));
  m->stream[frame + 5] = m->stream[frame + 6] = 0;
  m->what += ", height 0";
}

// A scan of the first component alone, which is refused.
void oneComponentOfSeveral(Material *m) {
  const size_t sos = placeOf(m->stream, kSos);
  const Bytes whole(m->stream.begin() + static_cast<std::ptrdiff_t>(sos), m->stream.end());
  m->stream.resize(sos);
  const Bytes alone = {0xFF, 0xDA, 0, 8, 1, whole[5], whole[6], 0, 63, 0};
  append(m->stream, alone);
  m->stream.insert(m->stream.end(), whole.begin() + 2 + whole[3], whole.end());
  m->what += ", one component in the scan";
}

void sequential(Random &random, Material *m) {
  m->what = "sequential, ";
  Picture picture = anyPicture(random, m);
  if (random.oneIn(4)) picture.sof = kSof1;
  picture.heightByDnl = random.oneIn(5);
  if (random.oneIn(3)) useAnnexKTables(picture);
  if (picture.sof == kSof1 && random.oneIn(4)) picture.precision = 12;
  if (picture.sof == kSof1) m->what += ", extended, " + number(picture.precision) + " bits";
  if (picture.heightByDnl) m->what += ", DNL";
  m->sof = 0xFF00U + picture.sof;
  m->stream = encode(picture);
  m->pieces = intervalsOf(picture);
  if (m->channels > 1 && random.oneIn(20)) oneComponentOfSeveral(m);
}

void progressive(Random &random, Material *m) {
  m->what = "progressive, ";
  Picture picture = anyPicture(random, m);
  picture.sof = kSof2;
  const size_t n = picture.components.size();
  const int32_t script = random.between(0, 2);
  m->what += ", script " + std::to_string(script);
  m->sof = 0xFFC2;
  m->stream = encodeProgressive(picture, script == 0   ? spectralScript(n)
                                         : script == 1 ? refiningScript(n)
                                                       : partedScript(n));
}

void lossless(Random &random, Material *m) {
  Source source;
  source.width = half(random.between(1, 24));
  source.height = half(random.between(1, 24));
  source.precision = static_cast<uint8_t>(random.oneIn(2) ? 8 : random.between(2, 16));
  source.predictor = static_cast<uint8_t>(random.between(1, 7));
  source.point = static_cast<uint8_t>(random.oneIn(5) ? random.between(0, 3) : 0);
  const int32_t rows = random.between(0, 3);
  source.restart = half(source.width * rows + (random.oneIn(6) ? 1 : 0));
  std::vector<unsigned> tables(static_cast<size_t>(random.between(1, 4)));
  for (unsigned &t : tables) t = static_cast<unsigned>(random.between(0, 3));
  source.useTables(tables);
  source.fill(static_cast<uint32_t>(random.between(0, 1 << 30)));
  const bool dnl = random.oneIn(5);
  if (dnl) {
    source.end = StreamBuilder().dnl(source.height).eoi().bytes();
  }
  m->stream = streamOf(source);
  m->sof = 0xFFC3;
  m->width = source.width;
  m->height = source.height;
  m->channels = static_cast<int32_t>(source.count());
  m->what = "lossless, " + number(source.count()) + " components, " + number(source.width) + "x" +
            number(source.height) + ", " + number(source.precision) + " bits, predictor " +
            number(source.predictor) + ", point " + number(source.point) + ", restart " +
            number(source.restart) + (dnl ? ", DNL" : "");
  if (dnl) hideHeight(m);
  if (m->channels > 1 && random.oneIn(20)) oneComponentOfSeveral(m);
  const Bytes before = anySegments(random, &m->what);
  m->stream.insert(m->stream.begin() + 2, before.begin(), before.end());
}

// The places of coded data that aren't part of a marker or of stuffing, nor of what stands between
// scans.
std::vector<size_t> codedPlaces(const Bytes &stream) {
  std::vector<size_t> places;
  for (size_t i = dataOf(stream); i + 3 < stream.size(); i++) {
    const uint8_t code = stream[i + 1];
    if (stream[i] != 0xFF) {
      places.push_back(i);
    } else if (code == 0 || (code >= kRst0 && code <= kEoi)) {
      i++;
    } else {
      i += 1U + stream[i + 2] * 256U + stream[i + 3];
    }
  }
  return places;
}

// Other values for bytes of the coded data, none of which begins a marker; or an early end.
void damage(Random &random, Material *m) {
  if (random.oneIn(3)) {
    const size_t first = std::min(dataOf(m->stream), m->stream.size());
    const auto left = static_cast<int32_t>(m->stream.size() - first);
    m->what += ", cut short";
    m->stream.resize(first + static_cast<size_t>(random.between(0, left)));
    return;
  }
  const std::vector<size_t> places = codedPlaces(m->stream);
  if (places.empty()) return;
  m->what += ", damaged";
  for (int32_t n = random.between(1, 4); n > 0; n--) {
    const int32_t place = random.between(0, static_cast<int32_t>(places.size()) - 1);
    m->stream[places[static_cast<size_t>(place)]] = static_cast<uint8_t>(random.between(0, 254));
  }
}

Material make(int32_t n) {
  Random random(static_cast<uint32_t>(n) * 2654435761U + 17);
  Material m;
  const int32_t kind = random.between(0, 9);
  if (kind < 5) {
    sequential(random, &m);
  } else if (kind < 8) {
    progressive(random, &m);
  } else {
    lossless(random, &m);
  }
  if (m.pieces.empty()) {
    const auto first = static_cast<std::ptrdiff_t>(std::min(dataOf(m.stream), m.stream.size()));
    m.pieces.emplace_back(m.stream.begin() + first, m.stream.end());
  }
  if (random.oneIn(6)) damage(random, &m);
  m.what = "stream " + std::to_string(n) + ": " + m.what;
  return m;
}

}  // namespace

const Material &material(int32_t number) {
  static std::map<int32_t, Material> kept;
  const auto found = kept.find(number);
  if (found != kept.end()) return found->second;
  if (kept.size() > 4000) kept.clear();
  return kept[number] = make(number);
}

}  // namespace jpgtest
