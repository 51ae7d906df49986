// SPDX-License-Identifier: MIT
// Planes by themselves: any sampling factors, scales, depths and formats, beside sums by exact
// fractions.
#include "read/jpgRPlanes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "model/colour.h"
#include "platform/faulty/faulty.h"
#include "support/random.h"

namespace {

// Bytes of a pixel.
uint32_t pixelBytesOf(const JpgContext &c, const jpg::PlaneOutput &output) {
  const uint32_t word = output.wide ? 2 : 1;
  switch (output.format) {
    case jpg::PlaneFormat::kGray:
      return word;
    case jpg::PlaneFormat::kComponents:
      return word * c.numComponents;
    case jpg::PlaneFormat::kCmyk:
    case jpg::PlaneFormat::kYcckToCmyk:
      return word * 4;
    default:
      return word * 3;
  }
}

using namespace jpg;
using jpgtest::Random;

struct Frame {
  uint32_t width, height;
  std::vector<uint8_t> sampling;
  uint32_t scale = 3;
  bool wide = false, smooth = false;
};

int64_t ceilDiv(int64_t n, int64_t d) { return (n + d - 1) / d; }
int64_t floorDiv(int64_t n, int64_t d) { return n >= 0 ? n / d : -ceilDiv(-n, d); }

// A record of a frame, and samples for it of which each is known.
class Scene {
 public:
  Scene(const Frame &frame, uint32_t seed)
      : frame_(frame), context_(std::make_unique<JpgContext>()) {
    JpgContext *c = context_.get();
    c->kernels = bestKernels();
    c->options = frame.smooth ? kOptionSmooth : 0;
    c->numComponents = static_cast<uint32_t>(frame.sampling.size());
    c->width = frame.width;
    c->height = frame.height;
    c->scanState = frame.scale;
    for (uint32_t i = 0; i < c->numComponents; i++) {
      c->scanComponents[i].sampling = frame.sampling[i];
      c->hMax = std::max(c->hMax, h(i));
      c->vMax = std::max(c->vMax, v(i));
    }
    c->mcusPerRow = static_cast<uint32_t>(ceilDiv(frame.width, 8 * c->hMax));
    c->mcuRows = static_cast<uint32_t>(ceilDiv(frame.height, 8 * c->vMax));
    scatter(seed);
  }
  ~Scene() { freePlanes(c()); }
  Scene(const Scene &) = delete;
  Scene &operator=(const Scene &) = delete;

  JpgContext *c() const { return context_.get(); }
  uint32_t h(uint32_t k) const { return c()->numComponents == 1 ? 1 : frame_.sampling[k] >> 4; }
  uint32_t v(uint32_t k) const { return c()->numComponents == 1 ? 1 : frame_.sampling[k] & 15U; }
  uint32_t cell() const { return 1U << frame_.scale; }
  uint32_t scaled(uint32_t length) const {
    return static_cast<uint32_t>(ceilDiv(length, 8 >> frame_.scale));
  }
  int most() const { return frame_.wide ? 4095 : 255; }

  // A sample as the planes hold it.
  int sample(uint32_t k, int64_t x, int64_t y) const {
    return samples_[k][static_cast<size_t>(y) * rowLength(k) + static_cast<size_t>(x)];
  }
  size_t rowLength(uint32_t k) const { return size_t{c()->mcusPerRow} * h(k) * cell(); }

  static Result read(JpgContext * /*c*/, Planes *p, uint32_t mcuRow, void *state) {
    return static_cast<Scene *>(state)->put(p, mcuRow);
  }
  McuRowSource source() { return {read, this}; }

  // What a pixel has of a component, by exact fractions.
  int pixel(uint32_t k, int64_t x, int64_t y) const {
    const int64_t hMax = c()->hMax, vMax = c()->vMax;
    const bool across = frame_.smooth && h(k) != hMax, down = frame_.smooth && v(k) != vMax;
    if (!across && !down) return sample(k, x * h(k) / hMax, y * v(k) / vMax);
    const int64_t width = ceilDiv(int64_t{scaled(frame_.width)} * h(k), hMax);
    const int64_t height = ceilDiv(int64_t{scaled(frame_.height)} * v(k), vMax);
    const Part column = partOf(x, h(k), hMax, across), row = partOf(y, v(k), vMax, down);
    int64_t sum = 0;
    for (int dy = 0; dy < 2; dy++) {
      for (int dx = 0; dx < 2; dx++) {
        int64_t sx = column.first + dx, sy = row.first + dy;
        const int64_t weight = column.weight[dx] * row.weight[dy];
        if (weight == 0) continue;
        if (across) sx = std::clamp<int64_t>(sx, 0, width - 1);
        if (down) sy = std::clamp<int64_t>(sy, 0, height - 1);
        sum += weight * sample(k, sx, sy);
      }
    }
    const int64_t whole = column.whole() * row.whole();
    const bool odd = across ? x % 2 != 0 : y % 2 != 0;
    const bool halvesUp = odd != (across && down);
    const int64_t rest = sum % whole;
    const bool up = 2 * rest > whole || (2 * rest == whole && halvesUp);
    return static_cast<int>(sum / whole + (up ? 1 : 0));
  }

  uint32_t failing = UINT32_MAX;  // a row of MCUs that can't be had
  std::vector<uint32_t> asked;    // rows of MCUs

 private:
  struct Part {
    int64_t first, weight[2];
    int64_t whole() const { return weight[0] + weight[1]; }
  };
  static Part partOf(int64_t pixel, int64_t part, int64_t whole, bool interpolates) {
    if (!interpolates) return {pixel * part / whole, {1, 0}};
    const int64_t n = (2 * pixel + 1) * part - whole, first = floorDiv(n, 2 * whole);
    const int64_t right = n - first * 2 * whole;
    return {first, {2 * whole - right, right}};
  }

  void scatter(uint32_t seed) {
    Random r(seed);
    for (uint32_t k = 0; k < c()->numComponents; k++) {
      samples_.emplace_back(rowLength(k) * c()->mcuRows * v(k) * cell());
      const bool ends = r.oneIn(4);
      for (int &s : samples_.back()) {
        const int any = r.between(0, most());
        s = !ends ? any : any % 2 != 0 ? most() : 0;
      }
    }
  }

  Result put(Planes *p, uint32_t mcuRow) {
    asked.push_back(mcuRow);
    if (mcuRow == failing) return JPG_E_BAD_AC_CODE;
    for (uint32_t mcu = 0; mcu < c()->mcusPerRow; mcu++) {
      std::vector<int16_t> blocks;
      for (uint32_t k = 0; k < c()->numComponents; k++) {
        for (uint32_t b = 0; b < h(k) * v(k); b++) {
          const std::array<int16_t, 64> block = blockOf(k, mcuRow, b / h(k), mcu * h(k) + b % h(k));
          if (mcu % 2 != 0) putBlock(p, k, mcuRow, b / h(k), mcu * h(k) + b % h(k), block.data());
          blocks.insert(blocks.end(), block.begin(), block.end());
        }
      }
      if (mcu % 2 == 0) putMcu(p, mcuRow, mcu, blocks.data());
    }
    return JPG_OK;
  }

  std::array<int16_t, 64> blockOf(uint32_t k, uint32_t mcuRow, uint32_t row,
                                  uint32_t column) const {
    std::array<int16_t, 64> block;
    block.fill(32000);
    for (uint32_t y = 0; y < cell(); y++) {
      for (uint32_t x = 0; x < cell(); x++) {
        const int s = sample(k, column * cell() + x, (mcuRow * v(k) + row) * cell() + y);
        block[8 * y + x] = static_cast<int16_t>(s - (most() + 1) / 2);
      }
    }
    return block;
  }

  Frame frame_;
  std::unique_ptr<JpgContext> context_;
  std::vector<std::vector<int>> samples_;
};

// ---- Formats ----------------------------------------------------------------

using Words = std::vector<int>;

int rounded(double v, int most) {
  return std::clamp(static_cast<int>(std::floor(v + 0.5)), 0, most);
}

// Red, green, blue. Of 12 bits to the nearest level, which fixed point may miss by one.
std::array<int, 3> lightOf(const Words &s, int most) {
  if (most == 255) {
    const auto bgr = jpgtest::modelYccToBgr(s[0] - 128, s[1] - 128, s[2] - 128);
    return {bgr[2], bgr[1], bgr[0]};
  }
  const double cb = s[1] - 2048, cr = s[2] - 2048;
  return {rounded(s[0] + 1.402 * cr, most), rounded(s[0] - 0.34414 * cb - 0.71414 * cr, most),
          rounded(s[0] + 1.772 * cb, most)};
}

Words inkOf(const Words &s, const PlaneOutput &o, int most) {
  Words ink = s;
  if (o.format == PlaneFormat::kYcckToCmyk || o.format == PlaneFormat::kYcckToBgr) {
    const auto light = lightOf(s, most);
    for (size_t i = 0; i < 3; i++) ink[i] = most - light[i];
  }
  if (o.inverted) {
    for (int &v : ink) v = most - v;
  }
  return ink;
}

Words expectedPixel(const Words &s, const PlaneOutput &o, int most) {
  switch (o.format) {
    case PlaneFormat::kGray:
      return {s[0]};
    case PlaneFormat::kComponents:
      return s;
    case PlaneFormat::kRgbToBgr:
      return {s[2], s[1], s[0]};
    case PlaneFormat::kYccToBgr: {
      const auto light = lightOf(s, most);
      return {light[2], light[1], light[0]};
    }
    case PlaneFormat::kCmykToBgr:
    case PlaneFormat::kYcckToBgr: {
      const Words ink = inkOf(s, o, most);
      Words bgr;
      for (const size_t i : {2U, 1U, 0U}) {
        bgr.push_back(rounded(double(most - ink[i]) * (most - ink[3]) / most, most));
      }
      return bgr;
    }
    default:
      return inkOf(s, o, most);
  }
}

// The rows of a picture by way of planes, in bands of so many rows.
std::vector<uint8_t> rowsOf(Scene *scene, const PlaneOutput &output, int32_t width, int32_t band) {
  JpgContext *c = scene->c();
  const bool wide = scene->most() != 255;
  EXPECT_EQ(makePlanes(c, wide), JPG_OK);
  const auto height = static_cast<int32_t>(scene->scaled(c->height));
  const size_t stride = size_t{pixelBytesOf(*c, output)} * static_cast<size_t>(width) + 3;
  std::vector<uint8_t> out(stride * static_cast<size_t>(height) + 1, 0xA5);
  for (int32_t y = 0; y < height; y += band) {
    JpgRect rect = {};
    rect.stride = static_cast<int32_t>(stride);
    rect.bits = out.data() + 1 + stride * static_cast<size_t>(y);
    const int32_t rows = std::min(band, height - y);
    EXPECT_EQ(putPlaneRows(c, c->planes, scene->source(), output, rect, rows, width), JPG_OK);
    EXPECT_EQ(c->rowPosition, static_cast<uint32_t>(y + rows));
  }
  return out;
}

void expectRows(const Frame &frame, const PlaneOutput &output, int32_t band, uint32_t seed,
                const std::string &what) {
  Scene scene(frame, seed);
  const auto width = static_cast<int32_t>(scene.scaled(frame.width));
  const std::vector<uint8_t> made = rowsOf(&scene, output, width, band);
  const size_t bytes = pixelBytesOf(*scene.c(), output), word = output.wide ? 2 : 1;
  const size_t stride = bytes * static_cast<size_t>(width) + 3;
  const int most = output.wide ? 4095 : 255;
  for (size_t y = 0; y < scene.scaled(frame.height); y++) {
    const uint8_t *row = made.data() + 1 + stride * y;
    for (size_t x = 0; x < static_cast<size_t>(width); x++) {
      Words s;
      for (uint32_t k = 0; k < frame.sampling.size(); k++) {
        const int value = scene.pixel(k, static_cast<int64_t>(x), static_cast<int64_t>(y));
        s.push_back(frame.wide && !output.wide ? std::min((value + 8) / 16, 255) : value);
      }
      const Words expected = expectedPixel(s, output, most);
      ASSERT_EQ(expected.size() * word, bytes) << what;
      for (size_t i = 0; i < expected.size(); i++) {
        uint16_t value = row[bytes * x + i];
        if (output.wide) memcpy(&value, row + bytes * x + 2 * i, 2);
        ASSERT_NEAR(value, expected[i], output.wide ? 1 : 0)
            << what << ", pixel " << x << ", " << y << ", channel " << i;
      }
    }
    for (size_t i = 0; i < 3; i++) ASSERT_EQ(row[bytes * static_cast<size_t>(width) + i], 0xA5);
  }
}

std::string nameOf(const Frame &f) {
  std::string name = "layout";
  for (const uint8_t s : f.sampling) {
    name += " " + std::to_string(s >> 4) + "x" + std::to_string(s & 15);
  }
  return name + ", " + std::to_string(f.width) + " x " + std::to_string(f.height) +
         ", scale code " + std::to_string(f.scale) + (f.smooth ? ", smooth" : "") +
         (f.wide ? ", 12 bits" : "");
}

PlaneFormat anyFormat(size_t components, Random *r) {
  static constexpr PlaneFormat kOfThree[] = {PlaneFormat::kGray, PlaneFormat::kComponents,
                                             PlaneFormat::kRgbToBgr, PlaneFormat::kYccToBgr};
  static constexpr PlaneFormat kOfFour[] = {PlaneFormat::kGray,      PlaneFormat::kComponents,
                                            PlaneFormat::kYccToBgr,  PlaneFormat::kCmykToBgr,
                                            PlaneFormat::kYcckToBgr, PlaneFormat::kCmyk,
                                            PlaneFormat::kYcckToCmyk};
  if (components == 4) return kOfFour[r->below(7)];
  return kOfThree[r->below(components == 3 ? 4 : 2)];
}

TEST(Planes, OfAnySamplingScaleDepthAndFormatGiveTheRowsOfExactFractions) {
  Random r(1);
  for (uint32_t n = 0; n < 3000; n++) {
    Frame f;
    f.width = r.below(90) + 1;
    f.height = r.below(90) + 1;
    f.scale = r.oneIn(2) ? 3 : r.below(3);
    f.smooth = !r.oneIn(3);
    f.wide = r.oneIn(4);
    const uint32_t largest = r.oneIn(2) ? 4 : 2;
    const uint32_t components = r.below(4) + 1;
    for (uint32_t i = 0; i < components; i++) {
      f.sampling.push_back(
          static_cast<uint8_t>((r.below(largest) + 1) * 16 + r.below(largest) + 1));
    }
    const PlaneOutput output = {anyFormat(components, &r), r.oneIn(2), f.wide && r.oneIn(2)};
    expectRows(f, output, r.between(1, 40), n, nameOf(f));
    if (HasFatalFailure()) return;
  }
}

TEST(Planes, OfTheUsualLayoutsGiveTheRowsOfExactFractions) {
  uint32_t seed = 0;
  for (const bool smooth : {false, true}) {
    for (const uint8_t luma : {uint8_t{0x11}, uint8_t{0x21}, uint8_t{0x12}, uint8_t{0x22}}) {
      for (const uint32_t width : {1U, 2U, 31U, 32U, 33U, 64U, 100U}) {
        for (uint32_t scale = 0; scale <= 3; scale++) {
          const Frame f = {width, 37, {luma, 0x11, 0x11}, scale, false, smooth};
          expectRows(f, {PlaneFormat::kYccToBgr, false, false}, 11, ++seed, nameOf(f));
        }
      }
    }
  }
}

TEST(Planes, AskForEachRowOfMcusOnceAndRunAheadByOne) {
  Scene scene({40, 80, {0x22, 0x11, 0x11}, 3, false, true}, 1);
  JpgContext *c = scene.c();
  ASSERT_EQ(makePlanes(c, false), JPG_OK);
  std::vector<uint8_t> out(3 * 40);
  JpgRect rect = {};
  rect.bits = out.data();
  const auto put = [&](int32_t rows) {
    return putPlaneRows(c, c->planes, scene.source(), {PlaneFormat::kYccToBgr, false, false}, rect,
                        rows, 40);
  };
  EXPECT_EQ(put(15), JPG_OK);
  EXPECT_EQ(scene.asked, (std::vector<uint32_t>{0}));
  EXPECT_EQ(put(1), JPG_OK);  // takes samples of the next row
  EXPECT_EQ(scene.asked, (std::vector<uint32_t>{0, 1}));
  EXPECT_EQ(put(64), JPG_OK);
  EXPECT_EQ(scene.asked, (std::vector<uint32_t>{0, 1, 2, 3, 4}));
}

TEST(Planes, WithoutInterpolationNothingRunsAhead) {
  Scene scene({40, 80, {0x22, 0x11, 0x11}, 3, false, false}, 1);
  JpgContext *c = scene.c();
  ASSERT_EQ(makePlanes(c, false), JPG_OK);
  JpgRect rect = {};
  std::vector<uint8_t> out(3 * 40);
  rect.bits = out.data();
  EXPECT_EQ(putPlaneRows(c, c->planes, scene.source(), {PlaneFormat::kYccToBgr, false, false}, rect,
                         16, 40),
            JPG_OK);
  EXPECT_EQ(scene.asked, (std::vector<uint32_t>{0}));
}

TEST(Planes, AFailureAheadIsToldOnceByTheCallThatWantsItsRows) {
  Scene scene({40, 80, {0x22, 0x11, 0x11}, 3, false, true}, 1);
  JpgContext *c = scene.c();
  ASSERT_EQ(makePlanes(c, false), JPG_OK);
  std::vector<uint8_t> out(3 * 40);
  JpgRect rect = {};
  rect.bits = out.data();
  const auto put = [&](int32_t rows) {
    return putPlaneRows(c, c->planes, scene.source(), {PlaneFormat::kYccToBgr, false, false}, rect,
                        rows, 40);
  };
  scene.failing = 1;
  EXPECT_EQ(put(16), JPG_OK);
  EXPECT_EQ(put(1), JPG_E_BAD_AC_CODE);
  EXPECT_EQ(scene.asked, (std::vector<uint32_t>{0, 1}));
  EXPECT_EQ(put(1), JPG_E_BAD_AC_CODE);  // the source is asked again
  EXPECT_EQ(scene.asked, (std::vector<uint32_t>{0, 1, 1}));
  EXPECT_EQ(c->rowPosition, 16U);
  scene.failing = UINT32_MAX;
  EXPECT_EQ(put(64), JPG_OK);
  EXPECT_EQ(c->rowPosition, 80U);
}

// With four rows of pixels to a sample, two of a row of MCUs take samples of the next one.
TEST(Planes, AfterAFailureAheadOtherRowsDontAskAgain) {
  Scene scene({40, 96, {0x14, 0x11, 0x11}, 3, false, true}, 1);
  JpgContext *c = scene.c();
  ASSERT_EQ(makePlanes(c, false), JPG_OK);
  std::vector<uint8_t> out(3 * 40);
  JpgRect rect = {};
  rect.bits = out.data();
  scene.failing = 1;
  EXPECT_EQ(putPlaneRows(c, c->planes, scene.source(), {PlaneFormat::kYccToBgr, false, false}, rect,
                         33, 40),
            JPG_E_BAD_AC_CODE);
  EXPECT_EQ(scene.asked, (std::vector<uint32_t>{0, 1}));
  EXPECT_EQ(c->rowPosition, 32U);
}

TEST(Planes, OfAHandleThatReadsPiecesDontRunAhead) {
  Scene scene({40, 80, {0x22, 0x11, 0x11}, 3, false, true}, 1);
  JpgContext *c = scene.c();
  c->flags = kFlagPartialBitstream;
  ASSERT_EQ(makePlanes(c, false), JPG_OK);
  std::vector<uint8_t> out(3 * 40);
  JpgRect rect = {};
  rect.bits = out.data();
  EXPECT_EQ(putPlaneRows(c, c->planes, scene.source(), {PlaneFormat::kYccToBgr, false, false}, rect,
                         16, 40),
            JPG_OK);
  EXPECT_EQ(scene.asked, (std::vector<uint32_t>{0}));
}

TEST(Planes, WithoutColumnsStoreNothing) {
  for (const uint32_t width : {0U, 40U}) {
    Scene scene({width, 80, {0x22, 0x11, 0x11}, 3, false, true}, 1);
    JpgContext *c = scene.c();
    ASSERT_EQ(makePlanes(c, false), JPG_OK);
    for (const int32_t asked : {0, -1, INT32_MIN}) {
      uint8_t out[16];
      memset(out, 0xA5, sizeof(out));
      JpgRect rect = {};
      rect.bits = out + 8;
      EXPECT_EQ(putPlaneRows(c, c->planes, scene.source(), {PlaneFormat::kYccToBgr, false, false},
                             rect, 20, asked),
                JPG_OK);
      for (const uint8_t byte : out) EXPECT_EQ(byte, 0xA5);
    }
    EXPECT_EQ(c->rowPosition, 60U);
  }
}

TEST(Planes, CanBeSoughtToAnyRow) {
  const Frame f = {40, 80, {0x22, 0x11, 0x11}, 3, false, true};
  const PlaneOutput output = {PlaneFormat::kYccToBgr, false, false};
  Scene whole(f, 1), sought(f, 1);
  const std::vector<uint8_t> all = rowsOf(&whole, output, 40, 80);
  JpgContext *c = sought.c();
  ASSERT_EQ(makePlanes(c, false), JPG_OK);
  for (const uint32_t row : {0U, 79U, 16U, 15U, 40U, 41U, 3U}) {
    std::vector<uint8_t> out(3 * 40);
    JpgRect rect = {};
    rect.bits = out.data();
    seekPlanes(c->planes, row);
    seekPlanes(c->planes, row);
    ASSERT_EQ(putPlaneRows(c, c->planes, sought.source(), output, rect, 1, 40), JPG_OK);
    EXPECT_TRUE(std::equal(out.begin(), out.end(), all.begin() + 1 + 123 * static_cast<int>(row)))
        << row;
  }
}

TEST(Planes, AreOneBlockThatIsKeptWhileItFits) {
  faulty::reset();
  const size_t before = faulty::liveBlocks();
  {
    Scene scene({40, 80, {0x22, 0x11, 0x11}, 3, false, true}, 1);
    JpgContext *c = scene.c();
    resetPlanes(c);  // without planes: nothing
    ASSERT_EQ(makePlanes(c, false), JPG_OK);
    const Planes *first = c->planes;
    EXPECT_EQ(faulty::liveBlocks(), before + 1);
    ASSERT_EQ(makePlanes(c, false), JPG_OK);
    EXPECT_EQ(c->planes, first);
    c->scanState = 1;
    ASSERT_EQ(makePlanes(c, false), JPG_OK);
    ASSERT_EQ(makePlanes(c, true), JPG_OK);
    EXPECT_EQ(faulty::liveBlocks(), before + 1);
    c->scanState = 3;
    faulty::arm(faulty::Operation::kAlloc, faulty::Fault::kFail,
                faulty::calls(faulty::Operation::kAlloc) + 1);
    EXPECT_EQ(makePlanes(c, true), JPG_E_OUT_OF_MEMORY);
    EXPECT_EQ(c->planes, nullptr);
    faulty::arm(faulty::Operation::kAlloc, faulty::Fault::kNone, 0);
  }
  EXPECT_EQ(faulty::liveBlocks(), before);
}

}  // namespace
