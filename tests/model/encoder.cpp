#include "model/encoder.h"

#include <array>
#include <cmath>
#include <map>

#include "model/encoderTables.h"
#include "model/fdct.h"
#include "support/random.h"

namespace jpgtest {
namespace {

// ---- Bits and segments ----------------------------------------------------

class Output {
 public:
  void bits(const std::string &text) {
    for (const char c : text) {
      pending_ += c;
      if (pending_.size() == 8) flushByte();
    }
  }
  // Pads with ones; then the marker.
  void marker(int code) {
    while (!pending_.empty()) bits("1");
    byte(0xFF);
    byte(code);
  }
  void segment(int code, const std::vector<int> &data) {
    marker(code);
    word(static_cast<int>(data.size()) + 2);
    for (const int d : data) byte(d);
  }
  void byte(int b) { bytes_.push_back(static_cast<uint8_t>(b)); }
  void word(int w) {
    byte(w >> 8);
    byte(w & 0xFF);
  }
  const Bytes &bytes() const { return bytes_; }

 private:
  void flushByte() {
    const int b = std::stoi(pending_, nullptr, 2);
    byte(b);
    if (b == 0xFF) byte(0);
    pending_.clear();
  }
  std::string pending_;
  Bytes bytes_;
};

// ---- Frame ----------------------------------------------------------------

struct Component {
  int h, v, table;
  int prediction = 0;
};

int floorDiv(int64_t n, int64_t d) {
  return static_cast<int>(n >= 0 ? n / d : -((-n + d - 1) / d));
}

class Model {
 public:
  explicit Model(const EncodeJob &job) : job_(job), pixels_(pixelsOf(job)), order_(zigZag()) {
    for (uint32_t i = 0; i < job.channels; i++) {
      const uint32_t byte =
          job.channels == 1 ? 0x11 : job.sampling >> (8 * (job.channels - 1 - i)) & 0xFF;
      Component c = {static_cast<int>(byte >> 4), static_cast<int>(byte & 15), i == 0 ? 0 : 1};
      hMax_ = std::max(hMax_, c.h);
      vMax_ = std::max(vMax_, c.v);
      components_.push_back(c);
    }
    for (int t = 0; t < 2; t++) {
      for (const ZigZagPlace &p : order_)
        steps_[t].push_back(quantStep(static_cast<int>(job.quality), t, p));
      dcWords_[t] = codeWords(annexK(false, t));
      acWords_[t] = codeWords(annexK(true, t));
    }
  }

  Bytes encode() {
    out_.marker(0xD8);
    headers();
    std::vector<uint32_t> bands = job_.bands;
    if (bands.empty()) bands.push_back(job_.height);
    uint32_t first = 0;
    for (const uint32_t lines : bands) {
      band(first, lines);
      first += lines;
    }
    if (job_.unknownHeight) {
      out_.segment(0xDC, {static_cast<int>(first >> 8), static_cast<int>(first & 0xFF)});
    }
    out_.marker(0xD9);
    return out_.bytes();
  }

 private:
  void headers() {
    std::vector<int> dqt;
    for (int t = 0; t < 2; t++) {
      dqt.push_back(t);
      dqt.insert(dqt.end(), steps_[t].begin(), steps_[t].end());
    }
    out_.segment(0xDB, dqt);
    for (const bool ac : {false, true}) {
      for (int id = 0; id < 2; id++) {
        std::vector<int> dht = {(ac ? 0x10 : 0) | id};
        const AnnexKTable &from = annexK(ac, id);
        dht.insert(dht.end(), from.counts.begin(), from.counts.end());
        dht.insert(dht.end(), from.symbols.begin(), from.symbols.end());
        out_.segment(0xC4, dht);
      }
    }
    const int height = job_.unknownHeight ? 0 : static_cast<int>(job_.height);
    const int width = static_cast<int>(job_.width);
    std::vector<int> sof = {8,          height >> 8, height & 255,
                            width >> 8, width & 255, static_cast<int>(components_.size())};
    std::vector<int> sos = {static_cast<int>(components_.size())};
    for (size_t i = 0; i < components_.size(); i++) {
      const Component &c = components_[i];
      const int id = job_.channels == 3 && job_.raw ? "RGB"[i] : static_cast<int>(i) + 1;
      sof.insert(sof.end(), {id, c.h * 16 + c.v, c.table});
      sos.insert(sos.end(), {id, c.table * 17});
    }
    out_.segment(0xC0, sof);
    if (job_.restart != 0) {
      out_.segment(0xDD,
                   {static_cast<int>(job_.restart >> 8), static_cast<int>(job_.restart & 255)});
    }
    sos.insert(sos.end(), {0, 63, 0});
    out_.segment(0xDA, sos);
  }

  // A component's sample of a pixel, level-shifted.
  int sample(uint32_t x, uint32_t y, size_t component) const {
    const uint8_t *p = &pixels_[(size_t{y} * job_.width + x) * job_.channels];
    if (job_.channels != 3) return p[component] - 128;
    if (job_.raw) return p[2 - component] - 128;
    const int b = p[0], g = p[1], r = p[2];
    if (component == 0) return floorDiv(1225 * r + 2404 * g + 467 * b + 2048, 4096) - 128;
    if (component == 1) return floorDiv(2048 * b - 691 * r - 1357 * g + 2048, 4096);
    return floorDiv(2048 * r - 1715 * g - 333 * b + 2048, 4096);
  }

  // A call: whole MCU rows. What an MCU lacks is what the one before it had there; the
  // area begins with zero bytes (which the level shift makes -128 where it comes later).
  void band(uint32_t first, uint32_t lines) {
    const int start = job_.channels == 3 ? 0 : -128;
    for (auto &plane : area_) {
      for (auto &row : plane) row.fill(start);
    }
    const uint32_t mcuWidth = 8 * static_cast<uint32_t>(hMax_);
    const uint32_t mcuHeight = 8 * static_cast<uint32_t>(vMax_);
    for (uint32_t y = 0; y < lines; y += mcuHeight) {
      for (uint32_t x = 0; x < job_.width; x += mcuWidth) {
        for (uint32_t dy = 0; dy < mcuHeight && y + dy < lines; dy++) {
          for (uint32_t dx = 0; dx < mcuWidth && x + dx < job_.width; dx++) {
            for (size_t k = 0; k < components_.size(); k++) {
              area_[k][dy][dx] = sample(x + dx, first + y + dy, k);
            }
          }
        }
        mcu();
      }
    }
  }

  void mcu() {
    for (size_t k = 0; k < components_.size(); k++) {
      Component &c = components_[k];
      const int stepX = hMax_ / c.h, stepY = vMax_ / c.v;
      for (int v = 0; v < c.v; v++) {
        for (int h = 0; h < c.h; h++) {
          int32_t block[8][8];
          for (int y = 0; y < 8; y++) {
            for (int x = 0; x < 8; x++) {
              block[y][x] = area_[k][static_cast<size_t>((8 * v + y) * stepY)]
                                 [static_cast<size_t>((8 * h + x) * stepX)];
            }
          }
          codeBlock(block, &c);
        }
      }
    }
    if (++sinceRestart_ != job_.restart) return;
    out_.marker(0xD0 + static_cast<int>(restarts_++ % 8));
    for (Component &c : components_) c.prediction = 0;
    sinceRestart_ = 0;
  }

  void codeBlock(int32_t (*block)[8], Component *c) {
    modelForwardDct(block);
    std::vector<int> levels;
    for (size_t k = 0; k < 64; k++) {
      const int q = 8 * steps_[c->table][k];
      const int value = block[order_[k].row][order_[k].column];
      const int level = (std::abs(value) + q / 2) / q;
      levels.push_back(value < 0 ? -level : level);
    }
    int category = 0;
    const std::string dc = additionalBits(levels[0] - c->prediction, &category);
    c->prediction = levels[0];
    out_.bits(dcWords_[c->table].at(category) + dc);
    const auto &words = acWords_[c->table];
    int run = 0;
    for (size_t k = 1; k < 64; k++) {
      if (levels[k] == 0) {
        run++;
        continue;
      }
      for (; run > 15; run -= 16) out_.bits(words.at(0xF0));
      const std::string bits = additionalBits(levels[k], &category);
      out_.bits(words.at(run * 16 + category) + bits);
      run = 0;
    }
    if (run > 0) out_.bits(words.at(0));
  }

  EncodeJob job_;
  Bytes pixels_;
  std::vector<ZigZagPlace> order_;
  std::vector<Component> components_;
  int hMax_ = 1, vMax_ = 1;
  std::vector<int> steps_[2];
  std::map<int, std::string> dcWords_[2], acWords_[2];
  std::array<std::array<std::array<int, 16>, 16>, 4> area_ = {};
  uint32_t sinceRestart_ = 0, restarts_ = 0;
  Output out_;
};

}  // namespace

std::string describe(const EncodeJob &job) {
  char text[160];
  std::snprintf(text, sizeof(text), "%ux%u, %u channels, sampling %08X, quality %u, restart %u%s%s",
                job.width, job.height, job.channels, job.sampling, job.quality, job.restart,
                job.raw ? ", raw" : "", job.unknownHeight ? ", DNL" : "");
  return text;
}

Bytes pixelsOf(const EncodeJob &job) {
  Bytes out;
  Random random(job.seed);
  for (uint32_t y = 0; y < job.height; y++) {
    for (uint32_t x = 0; x < job.width; x++) {
      for (uint32_t k = 0; k < job.channels; k++) {
        const uint32_t noise = random.byte();
        const uint32_t kind = (x / 8 + y / 8 + job.seed) % 4;
        const uint32_t value = kind == 0   ? noise
                               : kind == 1 ? 5 * x + 3 * y + 40 * k
                               : kind == 2 ? (k == 1 ? 255U : 0U)
                                           : (noise & 1U) * 255;
        out.push_back(static_cast<uint8_t>(value));
      }
    }
  }
  return out;
}

Bytes modelEncode(const EncodeJob &job) { return Model(job).encode(); }

}  // namespace jpgtest
