// SPDX-License-Identifier: MIT
// The law of work: calls run no more code than their bytes and the rows asked for account for,
// with sound streams, with damaged ones and with those that are made to cost much.
#include <gtest/gtest.h>
#include <jpg.h>

#include <algorithm>
#include <cstdio>

#include "support/picture.h"
#include "support/random.h"
#include "whole/damage/smallStreams.h"
#include "whole/limits/bombs.h"
#include "whole/work/workLaw.h"

namespace jpgtest {
namespace {

constexpr int32_t kRows = 64;            // of a call
constexpr uint64_t kMaxWidth = 1 << 12;  // damaged headers may claim more: 2^24 samples take long
constexpr uint64_t kMaxBlocks = 1 << 12;

// How near to the law calls of a kind came.
struct Closest {
  uint64_t calls = 0;
  double share = 0;
  void note(uint64_t work, uint64_t law) {
    calls++;
    share = std::max(share, static_cast<double>(work) / static_cast<double>(law));
  }
};

class WorkLaw : public testing::Test {
 protected:
  void TearDown() override {
    const auto print = [](const char *what, const Closest &c) {
      if (c.calls != 0) {
        std::printf("work of %s: %llu calls, at most %.3f of the law\n", what,
                    static_cast<unsigned long long>(c.calls), c.share);
      }
    };
    print("opening", opening_);
    print("rows", rows_);
    print("scaled rows", scaled_);
    print("progressive pictures", progressive_);
    print("lossless rows", lossless_);
    print("segments", segments_);
    print("encoding", encoding_);
  }

  static void hold(Closest &closest, uint64_t law) {
    const uint64_t work = takeWork();
    ASSERT_LE(work, law);
    closest.note(work, law);
  }

  // Opens, walks, decodes; each call by itself is held to the law.
  void use(const Bytes &stream) {
    use(stream, 0);
    use(stream, JPG_READ_ACCURATE | JPG_READ_SMOOTH);
  }

  Closest opening_, rows_, scaled_, progressive_, lossless_, segments_, encoding_;

 private:
  void use(const Bytes &stream, uint32_t options) {
    const Burden burden = burdenOf(stream);
    JPGHANDLE h = nullptr;
    takeWork();
    const auto size = static_cast<int32_t>(stream.size());
    jpgReadPrologFromMemory(stream.data(), size, JPG_READ_COMPLETE | options, &h);
    hold(opening_, openingWork(burden));
    if (h == nullptr) return;
    walk(h, burden);
    decode(h, burden);
    EXPECT_EQ(jpgReadEpilog(h), JPG_OK);
  }

  void walk(JPGHANDLE h, const Burden &burden) {
    uint16_t marker = 0;
    uint32_t length = 0;
    takeWork();
    jpgReadSeekMarkerSegment(h, JPG_SEGMENT_FIRST, &marker, &length);
    hold(segments_, segmentWork(burden));
    jpgReadSeekMarkerSegment(h, JPG_SEGMENT_NEXT, &marker, &length);
    hold(segments_, segmentWork(burden));
    JPGEXIFHANDLE exif = nullptr;
    jpgReadExifReadAttributeProlog(h, &exif);
    hold(segments_, segmentWork(burden));
    if (exif != nullptr) jpgReadExifReadAttributeEpilog(exif);
  }

  void decode(JPGHANDLE h, const Burden &burden) {
    uint32_t width = 0, height = 0, components = 0, process = 0;
    jpgReadGetImageSize(h, &width, &height);
    jpgReadGetNumberOfChannels(h, &components);
    jpgReadGetCodingProcess(h, &process);
    if (width > kMaxWidth) return;
    Bytes row(size_t{8} * (width + 16));
    const JpgRect rect = {static_cast<int32_t>(width), 0, 0, 24, 3, 8, row.data(), 0, 0};
    // Behind its end a stream goes on for ever, and a band comes out of nothing.
    const Extent band = {width, kRows, components};
    takeWork();
    if (process == JPG_PROCESS_LOSSLESS) {
      jpgReadSpatialToRect(h, &rect, kRows);
      hold(lossless_, losslessWork(band, burden));
    } else if (process == JPG_PROCESS_PROGRESSIVE) {
      const Extent frame = {width, height, components};
      if (uint64_t{width} * height / 64 > kMaxBlocks) return;
      jpgReadProgressiveToRect(h, &rect, kRows, JPG_PROGRESSIVE_ALL_SCANS);
      hold(progressive_, progressiveWork(frame, burden));
    } else {
      jpgReadToRect(h, &rect, kRows);
      hold(rows_, rowsWork(band, burden));
      jpgReadScaleOutputToRect(h, &rect, kRows / 8, JPG_SCALE_EIGHTH);
      hold(scaled_, rowsWork(band, burden));
    }
  }
};

TEST_F(WorkLaw, BoundsCallsOnSoundStreams) {
  for (const SmallStream &stream : smallStreams()) use(stream.bytes);
  for (const auto &samplings : std::vector<std::vector<uint8_t>>{
           {0x11}, {0x11, 0x11, 0x11}, {0x22, 0x11, 0x11}, {0x11, 0x22, 0x12, 0x21}}) {
    for (const Fill fill : {Fill::kZero, Fill::kDense, Fill::kExtreme}) {
      use(encode(makePicture(160, 120, samplings, fill)));
    }
  }
  EXPECT_GT(rows_.calls, 20U);
  EXPECT_GT(rows_.share, 0.02);  // the law says something
}

TEST_F(WorkLaw, BoundsCallsOnStreamsCutShortOrChanged) {
  for (const SmallStream &stream : smallStreams()) {
    for (size_t i = 0; i < stream.bytes.size(); i++) {
      use({stream.bytes.begin(), stream.bytes.begin() + static_cast<std::ptrdiff_t>(i + 1)});
      for (const unsigned value : {0xFFU, stream.bytes[i] ^ 0x80U, stream.bytes[i] + 1U}) {
        Bytes changed = stream.bytes;
        changed[i] = static_cast<uint8_t>(value);
        use(changed);
        if (HasFatalFailure()) {
          ADD_FAILURE() << stream.name << ", byte " << i << ", value " << value;
          return;
        }
      }
    }
  }
  EXPECT_GT(opening_.calls, 20000U);
  EXPECT_GT(opening_.share, 0.02);
  EXPECT_GT(segments_.share, 0.02);
}

TEST_F(WorkLaw, BoundsCallsOnStreamsThatAreMadeToCostMuch) {
  use(endlessStream(kSof0, 4000, 65500, 3));
  use(endlessStream(kSof3, 4000, 65500, 3));
  use(manyScans(512, 500, false));
  use(manyScans(64, 500, true));
  use(manyScanHeaders(2000));
  // Tables of 18 bytes whose only code is as long as can be, eight ahead of every scan.
  HuffTable deep;
  deep.counts[15] = 1;
  deep.values = {0};
  StreamBuilder s = endlessHeaders(kSof0, 8, 16, 1);
  s.dri(1).sos({{1, 0}}).raw({0});
  for (int i = 0; i < 100; i++) {
    for (uint8_t t = 0; t < 4; t++) s.dht(t, deep).dht(0x10 | t, deep);
    s.sos({{1, 0}});
  }
  use(s.raw({0}).eoi().bytes());
  // Restart markers in a row.
  StreamBuilder restarts = endlessHeaders(kSof0, 8, 16, 1);
  restarts.dri(1).sos({{1, 0}}).raw({0});
  for (unsigned i = 0; i < 5000; i++) restarts.rst(i);
  use(restarts.eoi().bytes());
  EXPECT_GT(progressive_.share, 0.02);
  EXPECT_GT(lossless_.share, 0.02);
}

TEST_F(WorkLaw, BoundsEncoders) {
  for (const bool lossless : {false, true}) {
    Bytes samples(size_t{3} * 200 * kRows);
    Random random(3);
    for (uint8_t &s : samples) s = static_cast<uint8_t>(random.between(0, 255));
    JpgRect rect = {200, kRows, 600, 24, 3, 8, samples.data(), 0, 0};
    JPGHANDLE h = nullptr;
    ASSERT_EQ(jpgWritePrologToMemory(0, &h), JPG_OK);
    EXPECT_EQ(jpgWriteSetQuantizationFactor(h, 100), JPG_OK);
    takeWork();
    EXPECT_EQ(
        lossless ? jpgWriteSpatialFromRect(h, &rect, kRows) : jpgWriteFromRect(h, &rect, kRows),
        JPG_OK);
    hold(encoding_, encodingWork({200, kRows, 3}, lossless));
    void *data = nullptr;
    uint32_t size = 0;
    EXPECT_EQ(jpgWriteEpilogToMemory(h, &data, &size), JPG_OK);
    EXPECT_EQ(jpgWriteFreeBitstream(data), JPG_OK);
  }
  EXPECT_GT(encoding_.share, 0.02);
}

}  // namespace
}  // namespace jpgtest
