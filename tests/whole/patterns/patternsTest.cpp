// SPDX-License-Identifier: MIT
// What heap blocks hold ahead of the first store must not show: every byte that a call stores
// comes from the stream or is a stated constant. Everything runs over blocks of two patterns
// and must give the same results, pictures and streams.
#include <gtest/gtest.h>
#include <jpg.h>

#include <set>
#include <string>
#include <utility>

#include "faulty.h"
#include "support/progressiveStream.h"
#include "support/reader.h"
#include "whole/damage/smallStreams.h"
#include "whole/golden/goldenCases.h"
#include "whole/patterns/steps.h"

namespace jpgtest {
namespace {

namespace faulty = jpg::faulty;

using Chosen = std::vector<const Step *>;

// How many calls follow each other: JPG_CALLS, fewer where a run takes long.
constexpr size_t kCalls = JPG_CALLS;

// What work gives over each pattern.
template <typename Work>
auto overPatterns(const Work &work) {
  faulty::fillWith(0x00);
  auto first = work();
  faulty::fillWith(0xA5);
  auto second = work();
  return std::make_pair(std::move(first), std::move(second));
}

std::string namesOf(const Chosen &chosen) {
  std::string names;
  for (const Step *step : chosen)
    names += (names.empty() ? "" : ", then ") + std::string(step->name);
  return names;
}

// Every choice of `count` steps, one behind another.
template <typename Use>
void choose(const std::vector<Step> &steps, size_t count, Chosen &chosen, const Use &use) {
  if (chosen.size() == count) {
    use(chosen);
    return;
  }
  for (const Step &step : steps) {
    chosen.push_back(&step);
    choose(steps, count, chosen, use);
    chosen.pop_back();
  }
}
template <typename Use>
void chooseAll(const std::vector<Step> &steps, size_t count, const Use &use) {
  Chosen chosen;
  choose(steps, count, chosen, use);
}

// Compares; only the first few differences are told.
class Patterns : public testing::TestWithParam<SmallStream> {
 protected:
  void compareReading(const Bytes &stream, uint32_t flags, const Chosen &chosen,
                      const std::string &what) {
    const auto [first, second] = overPatterns([&] { return readBySteps(stream, flags, chosen); });
    if (first != second && differences_++ < 5) ADD_FAILURE() << namesOf(chosen) << what;
  }
  void TearDown() override { EXPECT_EQ(0u, differences_); }

  uint32_t differences_ = 0;
};

TEST_P(Patterns, DoNotShowWhateverCallsFollowEachOther) {
  const Bytes &stream = GetParam().bytes;
  chooseAll(readerSteps(), kCalls,
            [&](const Chosen &chosen) { compareReading(stream, JPG_READ_COMPLETE, chosen, ""); });
}

TEST_P(Patterns, DoNotShowInPiecesOfAStream) {
  const Bytes &stream = GetParam().bytes;
  chooseAll(readerSteps(), 2, [&](const Chosen &chosen) {
    compareReading(stream, JPG_READ_PARTIAL_BITSTREAM, chosen, " in pieces");
  });
}

TEST_P(Patterns, DoNotShowInStreamsCutShort) {
  const Bytes &whole = GetParam().bytes;
  for (size_t size = 0; size < whole.size(); size++) {
    const Bytes stream(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(size));
    chooseAll(readerSteps(), 1, [&](const Chosen &chosen) {
      compareReading(stream, JPG_READ_COMPLETE, chosen, " of " + std::to_string(size) + " bytes");
    });
  }
}

TEST_P(Patterns, DoNotShowInStreamsWithAnotherByte) {
  Bytes stream = GetParam().bytes;
  for (size_t at = 0; at < stream.size(); at++) {
    const uint8_t kept = stream[at];
    for (const int change : {0x01, 0xFF}) {
      stream[at] = static_cast<uint8_t>(kept ^ change);
      chooseAll(readerSteps(), 1, [&](const Chosen &chosen) {
        compareReading(stream, JPG_READ_COMPLETE, chosen, ", byte " + std::to_string(at));
      });
    }
    stream[at] = kept;
  }
}

std::string nameOfParam(const testing::TestParamInfo<SmallStream> &info) { return info.param.name; }

// Those of the sweeps, and a progressive one of which a restart seek finds intervals: a row of
// MCUs each.
std::vector<SmallStream> allStreams() {
  std::vector<SmallStream> all = smallStreams();
  Picture picture = makePicture(17, 17, {0x11}, Fill::kSparse, 5);
  picture.restartInterval = 3;
  all.push_back({"ProgressiveRowIntervals", encodeProgressive(picture, spectralScript(1))});
  return all;
}

INSTANTIATE_TEST_SUITE_P(SmallStreams, Patterns, testing::ValuesIn(allStreams()), nameOfParam);

TEST(WriterPatterns, DoNotShowWhateverCallsFollowEachOther) {
  uint32_t differences = 0;
  chooseAll(writerSteps(), kCalls, [&](const Chosen &chosen) {
    const auto [first, second] = overPatterns([&] { return writeBySteps(chosen); });
    if (first != second && differences++ < 5) ADD_FAILURE() << namesOf(chosen);
  });
  EXPECT_EQ(0u, differences);
}

TEST(WriterPatterns, DoNotShowWithAnyOptions) {
  uint32_t differences = 0;
  for (uint32_t options = 1; options < 8; options++) {
    const uint32_t flags = 0x4A500000 | options << 8;
    chooseAll(writerSteps(), 2, [&](const Chosen &chosen) {
      const auto [first, second] = overPatterns([&] { return writeBySteps(chosen, flags); });
      if (first != second && differences++ < 5) ADD_FAILURE() << namesOf(chosen) << ", " << options;
    });
  }
  EXPECT_EQ(0u, differences);
}

void addLine(void *user, const char *name, uint64_t digest) {
  static_cast<std::set<std::pair<std::string, uint64_t>> *>(user)->emplace(name, digest);
}

TEST(GoldenPatterns, DoNotShowInTheGoldenCases) {
  const std::basic_string<JpgWChar> prefix =
      widePath(testing::TempDir() + "jpg_patterns_" + std::to_string(getpid()) + "_");
  const auto [first, second] = overPatterns([&] {
    std::set<std::pair<std::string, uint64_t>> lines;
    EXPECT_EQ(0, runGolden(addLine, &lines));
    EXPECT_EQ(0, runGoldenFiles(prefix.c_str(), addLine, &lines));
    return lines;
  });
  EXPECT_GT(first.size(), 400u);
  EXPECT_EQ(first, second);
}

}  // namespace

void PrintTo(const SmallStream &stream, std::ostream *os) { *os << stream.name; }

}  // namespace jpgtest
