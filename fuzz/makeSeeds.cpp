// Makes the seed inputs of the fuzz targets: makeSeeds FOLDER. Small streams that the
// library writes, in every layout, behind the bytes that choose the calls.
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "jpg.h"

namespace {

struct Seed {
  const char *name;
  uint32_t sampling;
  int32_t channels;
  int32_t restart;
  bool lossless;
  uint8_t calls;  // as fuzzRead takes them
};

constexpr Seed kSeeds[] = {
    {"gray", 0x11, 1, 0, false, 0},          {"444", 0x00111111, 3, 0, false, 1},
    {"422", 0x00211111, 3, 2, false, 2},     {"440", 0x00121111, 3, 0, false, 4},
    {"420", 0x00221111, 3, 3, false, 8},     {"four", 0x11111111, 4, 0, false, 4},
    {"bitmap", 0x00221111, 3, 0, false, 64}, {"lossless", 0, 3, 0, true, 0},
    {"losslessRestart", 0, 1, 21, true, 1},
};

std::vector<uint8_t> makeStream(const Seed &seed) {
  constexpr int32_t kWidth = 21, kHeight = 19;
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
  std::vector<uint8_t> stream = {0, seed.calls, 15, 0};
  stream.insert(stream.end(), bytes, bytes + size);
  jpgWriteFreeBitstream(data);
  return stream;
}

}  // namespace

int main(int argc, char **argv) {
  if (argc != 2) return 2;
  for (const Seed &seed : kSeeds) {
    const std::vector<uint8_t> stream = makeStream(seed);
    std::FILE *file = std::fopen((std::string(argv[1]) + "/" + seed.name).c_str(), "wb");
    if (file == nullptr) return 1;
    std::fwrite(stream.data(), 1, stream.size(), file);
    std::fclose(file);
  }
  return 0;
}
