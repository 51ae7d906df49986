// SPDX-License-Identifier: MIT
// Makes the seed inputs of the fuzz targets: makeSeeds FOLDER. They are small streams that the
// library writes, in every layout, and hand-made ones of kinds that it doesn't write, each after
// the bytes that choose the calls.
//
// makeSeeds FOLDER TARGET FILE... makes inputs for a target from small JPEG files instead.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "jpg.h"

namespace {

using Bytes = std::vector<uint8_t>;

constexpr uint8_t kWidth = 21, kHeight = 19;  // of every picture
constexpr unsigned kBlocks = 9;               // of a grey one

struct Seed {
  const char *name;
  uint32_t sampling;
  int32_t channels;
  int32_t restart;
  bool lossless;
  uint8_t calls;  // for fuzzRead
};

constexpr Seed kSeeds[] = {
    {"gray", 0x11, 1, 0, false, 0},          {"444", 0x00111111, 3, 0, false, 1},
    {"422", 0x00211111, 3, 2, false, 2},     {"440", 0x00121111, 3, 0, false, 4},
    {"420", 0x00221111, 3, 3, false, 8},     {"four", 0x11111111, 4, 0, false, 4},
    {"bitmap", 0x00221111, 3, 0, false, 64}, {"lossless", 0, 3, 0, true, 0},
    {"losslessRestart", 0, 1, 21, true, 1},
};

// Byte by byte: gcc gives a false warning for insert().
void append(Bytes *out, const Bytes &bytes) {
  for (const uint8_t byte : bytes) out->push_back(byte);
}

std::vector<uint8_t> makeStream(const Seed &seed) {
  std::vector<uint8_t> pixels(size_t{kWidth} * kHeight * 4);
  for (size_t i = 0; i < pixels.size(); i++) pixels[i] = static_cast<uint8_t>(i * i / 7);
  JpgRect rect = {};
  rect.width = kWidth;
  rect.height = kHeight;
  rect.channels = seed.channels;
  rect.bitsPerSample = 8;
  rect.stride = kWidth * seed.channels;
  rect.bits = pixels.data();
  JPGHANDLE h = nullptr;
  jpgWritePrologToMemory(0, &h);
  jpgWriteSetSubsamplingFactor(h, seed.sampling);
  jpgWriteSetRestartInterval(h, seed.restart);
  if (seed.lossless) {
    jpgWriteSpatialFromRect(h, &rect, kHeight);
  } else {
    jpgWriteFromRect(h, &rect, kHeight);
  }
  void *data = nullptr;
  uint32_t size = 0;
  jpgWriteEpilogToMemory(h, &data, &size);
  const auto *bytes = static_cast<uint8_t *>(data);
  Bytes stream = {0, seed.calls, 15, 0};
  append(&stream, Bytes(bytes, bytes + size));
  jpgWriteFreeBitstream(data);
  return stream;
}

void putSegment(Bytes *out, uint8_t code, const Bytes &data) {
  const size_t length = data.size() + 2;
  append(out, {0xFF, code, static_cast<uint8_t>(length >> 8), static_cast<uint8_t>(length)});
  append(out, data);
}

// A DHT entry with one code, 0, for the symbol 0: DC category 0, AC end of block.
Bytes oneCodeTable(uint8_t classAndId) {
  Bytes table(18, 0);
  table[0] = classAndId;
  table[1] = 1;
  return table;
}

// The headers of a grey picture up to its first scan.
Bytes putHeaders(uint8_t sof, uint8_t height) {
  Bytes stream = {0xFF, 0xD8}, quantisers(65, 16);
  quantisers[0] = 0;
  putSegment(&stream, 0xDB, quantisers);
  putSegment(&stream, sof, {8, 0, height, 0, kWidth, 1, 1, 0x11, 0});
  putSegment(&stream, 0xC4, oneCodeTable(0x00));
  putSegment(&stream, 0xC4, oneCodeTable(0x10));
  return stream;
}

// A scan of zero bits, `bitsPerBlock` for each block, padded with ones.
void putScan(Bytes *stream, const Bytes &spectrum, unsigned bitsPerBlock) {
  Bytes header = {1, 1, 0x00};
  append(&header, spectrum);
  putSegment(stream, 0xDA, header);
  const unsigned bits = bitsPerBlock * kBlocks;
  Bytes data(bits / 8, 0);
  if (bits % 8 != 0) data.push_back(static_cast<uint8_t>(0xFF >> bits % 8));
  append(stream, data);
}

// Four scans: DC, AC and the last bit of both.
Bytes makeProgressive() {
  Bytes stream = putHeaders(0xC2, kHeight);
  putScan(&stream, {0, 0, 0x01}, 1);
  putScan(&stream, {1, 63, 0x01}, 1);
  putScan(&stream, {0, 0, 0x10}, 1);
  putScan(&stream, {1, 63, 0x10}, 1);
  append(&stream, {0xFF, 0xD9});
  return stream;
}

Bytes makeSequential() {
  Bytes stream = putHeaders(0xC0, kHeight);
  putScan(&stream, {0, 63, 0}, 2);
  append(&stream, {0xFF, 0xD9});
  return stream;
}

// A picture whose height is given by a DNL segment.
Bytes makeDnl() {
  Bytes stream = putHeaders(0xC0, 0);
  putScan(&stream, {0, 63, 0}, 2);
  putSegment(&stream, 0xDC, {0, kHeight});
  append(&stream, {0xFF, 0xD9});
  return stream;
}

// A directory entry of one value.
void putEntry(Bytes *out, uint16_t tag, uint8_t type, uint8_t value) {
  const bool isShort = type == 3;  // its value is in the first two bytes
  append(out, {static_cast<uint8_t>(tag >> 8), static_cast<uint8_t>(tag), 0, type, 0, 0, 0, 1});
  append(out, isShort ? Bytes{0, value, 0, 0} : Bytes{0, 0, 0, value});
}

// A TIFF structure whose second directory describes a JPEG thumbnail.
Bytes makeTiff() {
  constexpr uint8_t kSecondAt = 26, kThumbnailAt = 68;  // in the TIFF block
  const Bytes thumbnail = makeSequential();
  Bytes tiff = {'M', 'M', 0, 42, 0, 0, 0, 8, 0, 1};
  putEntry(&tiff, 0x0112, 3, 1);  // orientation
  append(&tiff, {0, 0, 0, kSecondAt, 0, 3});
  putEntry(&tiff, 0x0103, 3, 6);  // compression: JPEG
  putEntry(&tiff, 0x0201, 4, kThumbnailAt);
  putEntry(&tiff, 0x0202, 4, static_cast<uint8_t>(thumbnail.size()));
  append(&tiff, {0, 0, 0, 0});
  append(&tiff, thumbnail);
  return tiff;
}

// A TIFF structure with all five directories and an uncompressed thumbnail of 4 x 4 pixels in two
// strips.
Bytes makeRgbTiff() {
  constexpr uint8_t kFirstAt = 38, kExifAt = 128, kGpsAt = 146, kInteropAt = 164;
  constexpr uint8_t kTablesAt = 182, kPixelsAt = 198;
  Bytes tiff = {'M', 'M', 0, 42, 0, 0, 0, 8, 0, 2};
  putEntry(&tiff, 0x8769, 4, kExifAt);
  putEntry(&tiff, 0x8825, 4, kGpsAt);
  append(&tiff, {0, 0, 0, kFirstAt, 0, 7});
  putEntry(&tiff, 0x0100, 4, 4);  // width and height
  putEntry(&tiff, 0x0101, 4, 4);
  putEntry(&tiff, 0x0103, 3, 1);  // uncompressed
  putEntry(&tiff, 0x0106, 3, 2);  // RGB
  putEntry(&tiff, 0x0111, 4, kTablesAt);
  tiff[tiff.size() - 5] = 2;      // two offsets, ...
  putEntry(&tiff, 0x0116, 3, 2);  // of two rows each, ...
  putEntry(&tiff, 0x0117, 4, kTablesAt + 8);
  tiff[tiff.size() - 5] = 2;  // and two sizes
  append(&tiff, {0, 0, 0, 0, 0, 1});
  putEntry(&tiff, 0xA005, 4, kInteropAt);
  append(&tiff, {0, 0, 0, 0, 0, 1});
  putEntry(&tiff, 0x0000, 1, 2);
  append(&tiff, {0, 0, 0, 0, 0, 1});
  putEntry(&tiff, 0x0001, 2, 'R');
  append(&tiff, {0, 0, 0, 0});
  append(&tiff, {0, 0, 0, kPixelsAt + 24, 0, 0, 0, kPixelsAt, 0, 0, 0, 24, 0, 0, 0, 24});
  append(&tiff, Bytes(48, 0x5A));
  return tiff;
}

// A picture with an Exif segment.
Bytes makeExif() {
  Bytes exif = {'E', 'x', 'i', 'f', 0, 0};
  append(&exif, makeTiff());
  Bytes stream = {0xFF, 0xD8};
  putSegment(&stream, 0xE1, exif);
  const Bytes picture = makeProgressive();
  stream.insert(stream.end(), picture.begin() + 2, picture.end());
  return stream;
}

Bytes withChoices(uint8_t flags, uint8_t calls, const Bytes &stream) {
  Bytes input = {flags, calls, 15, 0};
  append(&input, stream);
  return input;
}

// Input for fuzzExif.
Bytes withChoice(uint8_t choice, const Bytes &tiff) {
  Bytes input = {choice};
  append(&input, tiff);
  return input;
}

// Input for fuzzApi: a program of calls, then a stream.
Bytes withProgram(const Bytes &program, const Bytes &stream) {
  Bytes input = {static_cast<uint8_t>(program.size())};
  append(&input, program);
  append(&input, stream);
  return input;
}

// A program that opens the stream and reads Exif attributes, thumbnail, segments and rows with all
// decoders.
Bytes readingProgram() {
  Bytes program = {0, 0, 0, 0};                      // prolog, slot 0, from its start
  append(&program, {39, 0, 0, 41, 0, 0, 24});        // attributes, thumbnail in 24 bits
  append(&program, {10, 0, 0, 0, 11, 0, 0, 40, 0});  // the first segment and its data
  for (const uint8_t decoder :
       {uint8_t{15}, uint8_t{16}, uint8_t{18}, uint8_t{19}}) {  // 16 rows each
    append(&program, {decoder, 0, 0, 7, 5, 3, 0, 5, 0});
  }
  append(&program, {20, 0, 0, 1, 5, 24, 16, 200, 0});  // into a bitmap
  append(&program, {13, 0, 0, 1, 0, 4, 0, 0});         // restart seek, epilog
  return program;
}

// A program for a memory handle: settings, a segment, rows, a partial bitstream, and the rest.
Bytes writingProgram() {
  Bytes program = {2, 0, 2};
  append(&program, {25, 0, 0, 0, 1, 0, 27, 0, 0, 200});          // sampling, quality
  append(&program, {32, 0, 0, 20, 0, 0xE5});                     // a segment of 20 bytes
  append(&program, {33, 0, 0, 0, 0, 100, 100, 4, 1, 0, 16, 0});  // rows
  append(&program, {36, 0, 0, 0, 0, 38, 0, 0, 0, 0});
  return program;
}

// Input for fuzzModel: number of the model, flags, calls, and a stream or bytes that generate one.
Bytes withModelCalls(uint8_t model, uint8_t flags, const Bytes &calls, const Bytes &rest) {
  Bytes input = {model, flags};
  append(&input, calls);
  append(&input, rest);
  return input;
}

// Bands; a restart seek and a band; a piece and a band; a walk over the segments.
const std::vector<Bytes> kModelCalls = {{65, 65, 65, 65, 65, 65, 65, 65},
                                        {45, 65, 69, 65, 0, 77, 49, 0},
                                        {62, 65, 102, 65, 198, 65, 65, 0},
                                        {3, 20, 11, 100, 11, 28, 0, 0}};

// Bytes for generated headers and pseudo-random coded data.
Bytes modelBytes(unsigned seed) {
  Bytes bytes(200);
  for (size_t i = 0; i < bytes.size(); i++) bytes[i] = static_cast<uint8_t>((i + seed) * i * 37);
  return bytes;
}

Bytes contentsOf(const char *name) {
  constexpr size_t kMost = size_t{1} << 14;  // longer files make slow seeds
  Bytes bytes(kMost + 1);
  std::FILE *file = std::fopen(name, "rb");
  if (file == nullptr) return {};
  bytes.resize(std::fread(bytes.data(), 1, bytes.size(), file));
  std::fclose(file);
  return bytes.size() <= kMost ? bytes : Bytes();
}

// The TIFF structure of a stream's Exif segment; empty without one.
Bytes tiffOf(const Bytes &stream) {
  const Bytes name = {'E', 'x', 'i', 'f', 0, 0};
  const auto found = std::search(stream.begin(), stream.end(), name.begin(), name.end());
  if (found == stream.end()) return {};
  return {found + static_cast<std::ptrdiff_t>(name.size()), stream.end()};
}

// The n-th file as an input of the target; empty when the target can't use it.
Bytes inputOf(const std::string &target, const Bytes &stream, size_t n) {
  constexpr uint8_t kCalls[] = {0, 1, 2, 4, 8, 16, 32, 64};  // for fuzzRead
  if (stream.empty()) return {};
  if (target == "fuzzModel") return withModelCalls(0, 4, kModelCalls[n % 4], stream);
  if (target == "fuzzApi") return withProgram(readingProgram(), stream);
  if (target == "fuzzExif") {
    const Bytes tiff = tiffOf(stream);
    return tiff.empty() ? tiff : withChoice(static_cast<uint8_t>(n), tiff);
  }
  return withChoices(4, kCalls[n % 8], stream);
}

bool save(const std::string &folder, const char *name, const Bytes &input) {
  std::FILE *file = std::fopen((folder + "/" + name).c_str(), "wb");
  if (file == nullptr) return false;
  const bool written = std::fwrite(input.data(), 1, input.size(), file) == input.size();
  return std::fclose(file) == 0 && written;
}

}  // namespace

int main(int argc, char **argv) {
  if (argc < 2) return 2;
  bool saved = true;
  for (int i = 3; i < argc; i++) {
    const auto n = static_cast<size_t>(i);
    const Bytes input = inputOf(argv[2], contentsOf(argv[i]), n);
    if (!input.empty()) saved = save(argv[1], std::to_string(n).c_str(), input) && saved;
  }
  if (argc > 2) return saved ? 0 : 1;
  for (const Seed &seed : kSeeds) saved = save(argv[1], seed.name, makeStream(seed)) && saved;
  saved = save(argv[1], "progressive", withChoices(0, 0, makeProgressive())) && saved;
  saved = save(argv[1], "progressiveByScan", withChoices(0, 16, makeProgressive())) && saved;
  saved = save(argv[1], "dnl", withChoices(0, 0, makeDnl())) && saved;
  saved = save(argv[1], "partial", withChoices(2, 0, makeSequential())) && saved;
  saved = save(argv[1], "pieces", withChoices(0x32, 2, makeSequential())) && saved;
  saved = save(argv[1], "bottomUp", withChoices(4, 128, makeSequential())) && saved;
  saved = save(argv[1], "exif", withChoices(0, 32, makeExif())) && saved;
  saved = save(argv[1], "tiff", withChoice(2, makeTiff())) && saved;
  saved = save(argv[1], "tiffRgb", withChoice(2, makeRgbTiff())) && saved;
  saved = save(argv[1], "apiRead", withProgram(readingProgram(), makeSequential())) && saved;
  saved = save(argv[1], "apiProgressive", withProgram(readingProgram(), makeExif())) && saved;
  saved = save(argv[1], "apiWrite", withProgram(writingProgram(), makeSequential())) && saved;
  saved = save(argv[1], "diffWrite", withChoices(1, 1, Bytes(2000, 0x35))) && saved;
  for (size_t i = 0; i < kModelCalls.size(); i++) {
    const std::string n = std::to_string(i);
    const uint8_t flags = i == 2 ? JPG_READ_PARTIAL_BITSTREAM : 0;
    const Bytes stream = makeStream(kSeeds[4]), picture(stream.begin() + 4, stream.end());
    const Bytes rule = modelBytes(static_cast<unsigned>(i));
    saved = save(argv[1], ("modelSequential" + n).c_str(),
                 withModelCalls(0, flags, kModelCalls[i], picture)) &&
            saved;
    saved =
        save(argv[1], ("modelProgressive" + n).c_str(), withModelCalls(2, 1, {}, rule)) && saved;
    saved = save(argv[1], ("modelLossless" + n).c_str(), withModelCalls(3, 30, {}, rule)) && saved;
  }
  return saved ? 0 : 1;
}
