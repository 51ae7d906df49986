// SPDX-License-Identifier: MIT
// The progressive reader beside a plain model of it: results and pixels, of sound streams and of
// damaged ones.
#include <gtest/gtest.h>

#include <vector>

#include "model/reader.h"
#include "support/canvas.h"
#include "support/progressiveStream.h"
#include "support/random.h"
#include "support/reader.h"

namespace {

using namespace jpgtest;

int32_t pixelBytes(const Picture &p) { return p.components.size() < 3 ? 1 : 3; }

// What a call returned and the memory of the canvas behind it.
struct Outcome {
  uint32_t result = JPG_OK;
  Bytes memory;
};

bool operator==(const Outcome &a, const Outcome &b) {
  return a.result == b.result && a.memory == b.memory;
}

std::ostream &operator<<(std::ostream &out, const Outcome &o) { return out << nameOf(o.result); }

// Where the stream goes on behind a scan header that was refused nobody says.
bool refusesScan(uint32_t r) { return r == JPG_E_UNSUPPORTED || r == JPG_E_NOT_JPEG; }

// A band asked for.
struct Call {
  int32_t first, lines, mode;
};

std::vector<Outcome> throughLibrary(const Bytes &stream, const Picture &p,
                                    const std::vector<Call> &calls) {
  const Reader reader = Reader::ofMemory(stream, JPG_READ_COMPLETE);
  if (reader.result() != JPG_OK) return {{reader.result(), {}}};
  std::vector<Outcome> all;
  for (const Call &call : calls) {
    Canvas canvas(p.width, p.height, pixelBytes(p));
    const JpgRect rect = canvas.rect(call.first);
    const uint32_t r = jpgReadProgressiveToRect(reader.handle(), &rect, call.lines, call.mode);
    all.push_back({r, canvas.memory()});
    if (refusesScan(r)) break;
  }
  return all;
}

std::vector<Outcome> throughModel(const Bytes &stream, const Picture &p,
                                  const std::vector<Call> &calls, bool *lost = nullptr) {
  Model model;
  const uint32_t opened = model.openMemory(stream, JPG_READ_COMPLETE);
  if (opened != JPG_OK) return {{opened, {}}};
  std::vector<Outcome> all;
  for (const Call &call : calls) {
    Canvas canvas(p.width, p.height, pixelBytes(p));
    const uint32_t r = model.progressiveToRect(canvas.rect(call.first), call.lines, call.mode);
    all.push_back({r, canvas.memory()});
    if (refusesScan(r)) break;
  }
  if (lost != nullptr) *lost = model.lostItsWay();
  return all;
}

const std::vector<std::vector<uint8_t>> kLayouts = {{0x11},
                                                    {0x22},
                                                    {0x11, 0x11},
                                                    {0x22, 0x11},
                                                    {0x11, 0x11, 0x11},
                                                    {0x21, 0x11, 0x11},
                                                    {0x12, 0x11, 0x11},
                                                    {0x22, 0x11, 0x11},
                                                    {0x22, 0x21, 0x12},
                                                    {0x11, 0x22, 0x11},
                                                    {0x21, 0x12, 0x11},
                                                    {0x22, 0x11, 0x11, 0x22},
                                                    {0x11, 0x11, 0x11, 0x11}};

std::vector<Script> scriptsFor(size_t components) {
  return {spectralScript(components), refiningScript(components), partedScript(components)};
}

TEST(ProgressiveModel, SoundStreamsOfEveryLayoutSizeAndScriptGiveTheSamePixels) {
  uint32_t seed = 1;
  for (const auto &layout : kLayouts) {
    for (const uint16_t width : {uint16_t{1}, uint16_t{9}, uint16_t{31}, uint16_t{48}}) {
      for (const uint16_t height : {uint16_t{7}, uint16_t{17}, uint16_t{32}}) {
        for (const uint16_t interval : {uint16_t{0}, uint16_t{3}}) {
          Picture p = makePicture(width, height, layout, Fill::kSparse, seed++);
          p.restartInterval = interval;
          for (const Script &script : scriptsFor(layout.size())) {
            const Bytes stream = encodeProgressive(p, script);
            const std::vector<Call> whole = {{0, height, 0}};
            const auto expected = throughModel(stream, p, whole);
            ASSERT_EQ(expected[0].result, JPG_OK);
            ASSERT_EQ(throughLibrary(stream, p, whole), expected)
                << layout.size() << " components, " << width << "x" << height << ", interval "
                << interval;
          }
        }
      }
    }
  }
}

TEST(ProgressiveModel, AnyCallsGiveTheSameBandsAndResults) {
  const Picture p = makePicture(20, 45, {0x22, 0x11, 0x11});
  const std::vector<std::vector<Call>> kSequences = {
      {{0, 45, 0}, {0, 45, 0}, {0, 45, 1}, {0, 45, 0}},
      {{0, 16, 0}, {16, 16, 0}, {32, 16, 0}, {0, 1, 0}},
      {{0, 20, 0}, {20, 16, 0}, {36, 9, 0}},
      {{0, 1, 0}, {1, 1, 0}, {2, 40, 0}, {2, 40, 0}, {2, 40, 0}},
      {{0, 0, 0}, {0, 45, 0}},
      {{0, -3, 1}, {0, 45, 1}, {0, 16, 0}, {16, 29, 0}, {0, 45, 0}},
      {{0, 5, 1}, {5, 40, 1}, {0, 45, 1}, {0, 45, 0}, {0, 45, 0}},
      {{0, 16, 1}, {16, 16, 0}, {32, 13, 1}, {0, 45, 1}, {0, 45, 1}},
      {{0, 45, 1},
       {0, 45, 1},
       {0, 45, 1},
       {0, 45, 1},
       {0, 45, 1},
       {0, 45, 1},
       {0, 45, 1},
       {0, 45, 1},
       {0, 45, 1}},
      {{0, 45, 3}, {0, 45, 2}, {0, 45, 2}},
      {{0, 45, -1}, {0, 45, -2}},
      {{0, 0x7FFFFFFF, 0}, {0, INT32_MIN, 0}},
  };
  for (const Script &script : scriptsFor(3)) {
    const Bytes stream = encodeProgressive(p, script);
    for (size_t i = 0; i < kSequences.size(); i++) {
      EXPECT_EQ(throughLibrary(stream, p, kSequences[i]), throughModel(stream, p, kSequences[i]))
          << "sequence " << i;
    }
  }
}

TEST(ProgressiveModel, MissingRepeatedAndReorderedScansGiveTheSamePixels) {
  const Picture p = makePicture(25, 25, {0x11, 0x11, 0x11}, Fill::kSparse);
  Random random(7);
  for (int i = 0; i < 300; i++) {
    const Script whole = scriptsFor(3)[static_cast<size_t>(i) % 3];
    Script script;
    const int count = random.between(1, 12);
    for (int n = 0; n < count; n++) {
      script.push_back(
          whole[static_cast<size_t>(random.between(0, static_cast<int32_t>(whole.size()) - 1))]);
    }
    const Bytes stream = encodeProgressive(p, script);
    const std::vector<Call> calls = {{0, 25, 1}, {0, 25, 1}, {0, 25, 0}, {0, 25, 0}};
    ASSERT_EQ(throughLibrary(stream, p, calls), throughModel(stream, p, calls)) << i;
  }
}

TEST(ProgressiveModel, ScansEndedAnywhereEndAlike) {
  const Picture p = makePicture(17, 17, {0x21, 0x11, 0x11}, Fill::kSparse);
  const size_t headers = progressiveHeaders(p).size();
  for (const Script &script : scriptsFor(3)) {
    const Bytes whole = encodeProgressive(p, script);
    for (size_t n = headers + 14; n < whole.size(); n++) {
      const Bytes stream(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(n));
      const std::vector<Call> calls = {{0, 17, 0}, {0, 17, 0}};
      ASSERT_EQ(throughLibrary(stream, p, calls), throughModel(stream, p, calls)) << n;
    }
  }
}

TEST(ProgressiveModel, DamagedStreamsGiveTheSameResultsAndPixels) {
  Random random(11);
  int compared = 0, failed = 0, open = 0;
  for (int i = 0; i < 6000; i++) {
    const auto &layout = kLayouts[static_cast<size_t>(i) % kLayouts.size()];
    Picture p = makePicture(19, 23, layout, Fill::kSparse, static_cast<uint32_t>(i % 40 + 1));
    p.restartInterval = static_cast<uint16_t>(i % 4 == 0 ? 2 : 0);
    Bytes stream = encodeProgressive(p, scriptsFor(layout.size())[static_cast<size_t>(i / 13) % 3]);
    const auto headers = static_cast<int32_t>(progressiveHeaders(p).size());
    for (int n = random.between(1, 3); n > 0; n--) {
      stream[static_cast<size_t>(
          random.between(headers, static_cast<int32_t>(stream.size()) - 1))] =
          static_cast<uint8_t>(random.between(0, 255));
    }
    const std::vector<Call> calls = {{0, 23, 1}, {0, 23, 0}, {0, 23, 0}};
    bool lost = false;
    const auto expected = throughModel(stream, p, calls, &lost);
    const auto got = throughLibrary(stream, p, calls);
    if (lost) {
      open++;
      continue;
    }
    ASSERT_EQ(got, expected) << i;
    compared++;
    for (const Outcome &o : expected) failed += o.result != JPG_OK ? 1 : 0;
  }
  EXPECT_GT(compared, 5000);
  EXPECT_GT(failed, 1000);
  EXPECT_LT(open, 900);
}

}  // namespace
