#include "encoderModel.h"

#include <array>
#include <cmath>
#include <map>

#include "support/modelFdct.h"

namespace jpgtest {
namespace {

// ---- Tables of T.81 Annex K -----------------------------------------------

constexpr int kLuminance[8][8] = {
    {16, 11, 10, 16, 24, 40, 51, 61},     {12, 12, 14, 19, 26, 58, 60, 55},
    {14, 13, 16, 24, 40, 57, 69, 56},     {14, 17, 22, 29, 51, 87, 80, 62},
    {18, 22, 37, 56, 68, 109, 103, 77},   {24, 35, 55, 64, 81, 104, 113, 92},
    {49, 64, 78, 87, 103, 121, 120, 101}, {72, 92, 95, 98, 112, 100, 103, 99}};

// K.2 is 99 outside its corner.
int chrominance(int row, int column) {
  constexpr int kCorner[4][4] = {
      {17, 18, 24, 47}, {18, 21, 26, 66}, {24, 26, 56, 99}, {47, 66, 99, 99}};
  return row < 4 && column < 4 ? kCorner[row][column] : 99;
}

struct Place {
  int row, column;
};

// The zig-zag walk: along the diagonals, turning at the edges.
std::vector<Place> zigZag() {
  std::vector<Place> places;
  int row = 0, column = 0;
  bool up = true;
  for (int k = 0; k < 64; k++) {
    places.push_back({row, column});
    if (up) {
      if (column == 7) {
        row++;
        up = false;
      } else if (row == 0) {
        column++;
        up = false;
      } else {
        row--;
        column++;
      }
    } else if (row == 7) {
      column++;
      up = true;
    } else if (column == 0) {
      row++;
      up = true;
    } else {
      row++;
      column--;
    }
  }
  return places;
}

struct Source {
  std::array<int, 16> counts;
  std::vector<int> symbols;
};

std::vector<int> parseHex(const std::string &text) {
  std::vector<int> out;
  for (size_t i = 0; i + 1 < text.size(); i += 2)
    out.push_back(std::stoi(text.substr(i, 2), nullptr, 16));
  return out;
}

std::vector<int> categories() { return {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}; }

const Source &source(bool ac, int id) {
  static const Source kDc0 = {{0, 1, 5, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0, 0, 0, 0}, categories()};
  static const Source kDc1 = {{0, 3, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0, 0}, categories()};
  static const Source kAc0 = {
      {0, 2, 1, 3, 3, 2, 4, 3, 5, 5, 4, 4, 0, 0, 1, 125},
      parseHex("0102030004110512213141061351610722711432819"
               "1A1082342B1C11552D1F02433627282090A161718191A25262728292A3435363738393A434445464"
               "748494A535455565758595A636465666768696A737475767778797A838485868788898A929394959"
               "69798999AA2A3A4A5A6A7A8A9AAB2B3B4B5B6B7B8B9BAC2C3C4C5C6C7C8C9CAD2D3D4D5D6D7D8D9D"
               "AE1E2E3E4E5E6E7E8E9EAF1F2F3F4F5F6F7F8F9FA")};
  static const Source kAc1 = {
      {0, 2, 1, 2, 4, 4, 3, 4, 7, 5, 4, 4, 0, 1, 2, 119},
      parseHex("0001020311040521310612415107617113223281081442"
               "91A1B1C109233352F0156272D10A162434E125F11718191A262728292A35363738393A4344454647"
               "48494A535455565758595A636465666768696A737475767778797A82838485868788898A92939495"
               "969798999AA2A3A4A5A6A7A8A9AAB2B3B4B5B6B7B8B9BAC2C3C4C5C6C7C8C9CAD2D3D4D5D6D7D8D9"
               "DAE2E3E4E5E6E7E8E9EAF2F3F4F5F6F7F8F9FA")};
  if (ac) return id == 0 ? kAc0 : kAc1;
  return id == 0 ? kDc0 : kDc1;
}

// Code words by symbol, as text of bits (T.81 Annex C).
std::map<int, std::string> codeWords(const Source &from) {
  std::map<int, std::string> words;
  unsigned code = 0;
  size_t next = 0;
  for (unsigned length = 1; length <= 16; length++) {
    for (int i = 0; i < from.counts[length - 1]; i++) {
      std::string word;
      for (unsigned bit = length; bit > 0; bit--) word += (code >> (bit - 1) & 1) != 0 ? '1' : '0';
      words[from.symbols[next++]] = word;
      code++;
    }
    code *= 2;
  }
  return words;
}

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

// The category of a value and its additional bits, as text.
std::string additional(int value, int *category) {
  *category = 0;
  for (int m = std::abs(value); m != 0; m /= 2) ++*category;
  const int raw = value < 0 ? value + (1 << *category) - 1 : value;
  std::string text;
  for (int bit = *category - 1; bit >= 0; bit--) text += (raw >> bit & 1) != 0 ? '1' : '0';
  return text;
}

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
      for (const Place &p : order_) steps_[t].push_back(step(t, p));
      dcWords_[t] = codeWords(source(false, t));
      acWords_[t] = codeWords(source(true, t));
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
  int step(int table, const Place &p) const {
    const int q = static_cast<int>(job_.quality);
    const int scale = q < 50 ? 5000 / q : 200 - 2 * q;
    const int base = table == 0 ? kLuminance[p.row][p.column] : chrominance(p.row, p.column);
    const int value = (base * scale + 50) / 100;
    return value == 0 ? 1 : std::min(value, 255);
  }

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
        const Source &from = source(ac, id);
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
    const std::string dc = additional(levels[0] - c->prediction, &category);
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
      const std::string bits = additional(levels[k], &category);
      out_.bits(words.at(run * 16 + category) + bits);
      run = 0;
    }
    if (run > 0) out_.bits(words.at(0));
  }

  EncodeJob job_;
  Bytes pixels_;
  std::vector<Place> order_;
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
  uint32_t seed = job.seed * 2654435761U + 1;
  for (uint32_t y = 0; y < job.height; y++) {
    for (uint32_t x = 0; x < job.width; x++) {
      for (uint32_t k = 0; k < job.channels; k++) {
        seed = seed * 1664525 + 1013904223;
        const uint32_t noise = seed >> 24;
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
