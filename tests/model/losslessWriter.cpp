#include "model/losslessWriter.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "support/random.h"

namespace jpgtest {
namespace {

class Output {
 public:
  void bits(const std::string &text) {
    for (const char c : text) {
      pending_ += c;
      if (pending_.size() < 8) continue;
      const int byte = std::stoi(pending_, nullptr, 2);
      put(byte);
      if (byte == 0xFF) put(0);
      pending_.clear();
    }
  }
  void marker(int code) {
    while (!pending_.empty()) bits("1");
    put(0xFF);
    put(code);
  }
  void segment(int code, const std::vector<int> &data) {
    marker(code);
    const int length = static_cast<int>(data.size()) + 2;
    put(length >> 8);
    put(length & 255);
    for (const int d : data) put(d);
  }
  Bytes bytes;

 private:
  void put(int b) { bytes.push_back(static_cast<uint8_t>(b)); }
  std::string pending_;
};

// Codes of a category: T.81 Table K.3, continued by a code of one more bit each.
std::string codeOf(int category) {
  static const char *const kFirst[] = {"00", "010", "011", "100", "101", "110"};
  return category < 6 ? kFirst[category]
                      : std::string(static_cast<size_t>(category) - 3, '1') + "0";
}

int floorHalf(int v) { return v >= 0 ? v / 2 : -((1 - v) / 2); }

int predictionOf(uint32_t predictor, int a, int b, int c) {
  switch (predictor) {
    case 1:
      return a;
    case 2:
      return b;
    case 3:
      return c;
    case 4:
      return a + b - c;
    case 5:
      return a + floorHalf(b - c);
    case 6:
      return b + floorHalf(a - c);
    default:
      return floorHalf(a + b);
  }
}

std::vector<int> huffmanTable(bool wide) {
  std::vector<int> dht = {0, 0, 1, 5};
  for (int length = 4; length <= 16; length++) dht.push_back(length <= (wide ? 14 : 9) ? 1 : 0);
  for (int v = 0; v <= (wide ? 16 : 11); v++) dht.push_back(v);
  return dht;
}

void putDifference(Output *out, int difference, bool wide) {
  if (wide) {  // modulo 65536, into -32767 .. 32768
    difference = ((difference % 65536) + 65536) % 65536;
    if (difference > 32768) difference -= 65536;
  }
  int category = 0;
  while (std::abs(difference) >> category != 0) category++;
  const int raw = difference < 0 ? difference - 1 : difference;
  std::string bits = codeOf(category);
  for (int bit = category - 1; bit >= 0; bit--) bits += (raw >> bit & 1) != 0 ? '1' : '0';
  out->bits(bits);
}

void putHeaders(Output *out, const SpatialJob &job) {
  out->marker(0xD8);
  out->segment(0xC4, huffmanTable(job.precision > 8));
  const int height = job.unknownHeight ? 0 : static_cast<int>(job.height);
  const int width = static_cast<int>(job.width), n = static_cast<int>(job.components);
  std::vector<int> sof = {
      static_cast<int>(job.precision), height >> 8, height & 255, width >> 8, width & 255, n};
  std::vector<int> sos = {n};
  for (int i = 1; i <= n; i++) {
    sof.insert(sof.end(), {i, 0x11, 0});
    sos.insert(sos.end(), {i, 0});
  }
  sos.insert(sos.end(), {static_cast<int>(job.predictor), 0, 0});
  out->segment(0xC3, sof);
  if (job.restart != 0) {
    out->segment(0xDD, {static_cast<int>(job.restart >> 8), static_cast<int>(job.restart & 255)});
  }
  out->segment(0xDA, sos);
}

}  // namespace

std::string describe(const SpatialJob &job) {
  char text[160];
  std::snprintf(text, sizeof(text),
                "%ux%u, %u components, %u bits, predictor %u, restart %u, kind %d", job.width,
                job.height, job.components, job.precision, job.predictor, job.restart,
                static_cast<int>(job.kind));
  return text;
}

Samples samplesOf(const SpatialJob &job) {
  Samples out;
  const int top = (1 << job.precision) - 1;
  Random random(job.precision * 977 + job.components);
  for (uint32_t y = 0; y < job.height; y++) {
    for (uint32_t x = 0; x < job.width; x++) {
      for (uint32_t k = 0; k < job.components; k++) {
        const int noise = random.between(0, top);
        const int smooth =
            static_cast<int>((x * 3 + y * 5 + k * 11) * static_cast<uint32_t>(top) / 200 +
                             random.below(4)) &
            top;
        const int extreme = (x + y + k) % 2 == 0 ? 0 : top;
        out.push_back(job.kind == Kind::kNoise    ? noise
                      : job.kind == Kind::kSmooth ? smooth
                                                  : extreme);
      }
    }
  }
  return out;
}

Bytes packed(const Samples &samples, uint32_t precision) {
  Bytes out;
  for (const int s : samples) {
    const auto word = static_cast<uint16_t>(s);
    uint8_t bytes[2];
    std::memcpy(bytes, &word, 2);
    if (precision > 8) {
      out.push_back(bytes[0]);
      out.push_back(bytes[1]);
    } else {
      out.push_back(static_cast<uint8_t>(s));
    }
  }
  return out;
}

size_t rowBytes(const SpatialJob &job) {
  return size_t{job.width} * job.components * (job.precision > 8 ? 2 : 1);
}

JpgRect rectOf(const SpatialJob &job, void *bits) {
  JpgRect rect = {};
  rect.width = static_cast<int32_t>(job.width);
  rect.height = job.unknownHeight ? 0 : static_cast<int32_t>(job.height);
  rect.channels = static_cast<int32_t>(job.components);
  rect.bitsPerSample = static_cast<int32_t>(job.precision);
  rect.stride = static_cast<int32_t>(rowBytes(job));
  rect.bits = bits;
  return rect;
}

Bytes modelSpatial(const SpatialJob &job) {
  Output out;
  putHeaders(&out, job);
  const Samples s = samplesOf(job);
  const uint32_t n = job.components, row = job.width * n;
  bool first = true;
  uint32_t pixels = 0;
  int restarts = 0;
  for (uint32_t y = 0; y < job.height; y++) {
    for (uint32_t x = 0; x < job.width; x++) {
      for (uint32_t k = 0; k < n; k++) {
        const uint32_t i = y * row + x * n + k;
        int prediction = 0;
        if (first) {
          prediction = x == 0 ? 1 << (job.precision - 1) : s[i - n];
        } else if (x == 0) {
          prediction = s[i - row];
        } else {
          prediction = predictionOf(job.predictor, s[i - n], s[i - row], s[i - row - n]);
        }
        putDifference(&out, s[i] - prediction, job.precision > 8);
      }
    }
    first = false;
    pixels += job.width;
    if (pixels == job.restart) {
      out.marker(0xD0 + restarts++ % 8);
      pixels = 0;
      first = true;
    }
  }
  if (job.unknownHeight) {
    out.segment(0xDC, {static_cast<int>(job.height >> 8), static_cast<int>(job.height & 255)});
  }
  out.marker(0xD9);
  return out.bytes;
}

}  // namespace jpgtest
