// SPDX-License-Identifier: MIT
// Calls in any order: the library and the model go the same way.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "support/random.h"
#include "support/twin.h"

namespace jpgtest {
namespace {

Picture anyPicture(Random &random) {
  static const std::vector<std::vector<uint8_t>> layouts = {
      {0x11}, {0x11, 0x11, 0x11}, {0x22, 0x11, 0x11}, {0x21, 0x11, 0x12, 0x11}, {0x12, 0x11}};
  const auto &samplings = layouts[static_cast<size_t>(random.between(0, 4))];
  Picture picture = makePicture(static_cast<uint16_t>(random.between(1, 40)),
                                static_cast<uint16_t>(random.between(1, 60)), samplings,
                                Fill::kSmooth, static_cast<uint32_t>(random.between(0, 1 << 30)));
  switch (random.between(0, 3)) {
    case 0:
      break;
    case 1:
      picture.restartInterval = static_cast<uint16_t>(random.between(1, 9));
      break;
    default:
      picture.restartInterval =
          static_cast<uint16_t>(picture.mcusPerRow() * static_cast<unsigned>(random.between(1, 2)));
  }
  picture.heightByDnl = picture.restartInterval != 0 && random.oneIn(4);
  if (random.oneIn(2)) picture.before = StreamBuilder().com("a comment").jfif().bytes();
  if (random.oneIn(2)) useAnnexKTables(picture);
  return picture;
}

// Whether calls go to later restart intervals.
enum class Seeks { kStay, kForward };

void anyCall(Twin &twin, const Picture &picture, Random &random, Seeks seeks) {
  // The converting writers store up to 3 bytes, the others demand a byte per component.
  const auto channels = static_cast<int32_t>(picture.components.size());
  const int32_t pixelBytes = random.oneIn(5) ? channels : std::max(channels, 3);
  switch (random.between(0, 11)) {
    case 0:
      twin.seekSegment(random.oneIn(3) ? JPG_SEGMENT_FIRST : JPG_SEGMENT_NEXT);
      break;
    case 1:
      twin.readData(static_cast<uint32_t>(random.between(1, 70)));
      break;
    case 2:
      twin.seekData();
      break;
    case 3:
    case 4:
      twin.seekRestart(random.between(-1, seeks == Seeks::kForward ? 5 : 0),
                       static_cast<uint32_t>(random.between(0, 1)));
      break;
    case 5:
      if (random.oneIn(4)) twin.setNoColorConversion();
      break;
    default: {
      const int32_t lines = random.between(-9, 40);
      twin.decode({random.between(0, 50), 64, pixelBytes}, lines);
    }
  }
}

void compareCalls(uint32_t seeds, Seeks seeks) {
  for (uint32_t seed = 0; seed < seeds; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    const Picture picture = anyPicture(random);
    Twin twin(encode(picture), random.oneIn(3) ? JPG_READ_COMPLETE : 0);
    for (int call = 0; call < 8; ++call) anyCall(twin, picture, random, seeks);
    if (testing::Test::HasFailure()) return;
  }
}

TEST(Sequences, OfAnyCallsOnAnyPictureAgreeWithTheModel) { compareCalls(1500, Seeks::kStay); }

TEST(Sequences, WithRestartIntervalsOnTheWayAgreeWithTheModel) {
  compareCalls(1500, Seeks::kForward);
}

TEST(Sequences, OfAnyPiecesAgreeWithTheModel) {
  for (uint32_t seed = 0; seed < 300; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    const Picture picture = anyPicture(random);
    const std::vector<Bytes> pieces = intervalsOf(picture);
    Twin twin(encode(picture), JPG_READ_PARTIAL_BITSTREAM);
    for (int call = 0; call < 8; ++call) {
      if (random.oneIn(3)) {
        const auto n =
            static_cast<size_t>(random.between(0, static_cast<int32_t>(pieces.size()) - 1));
        if (!pieces[n].empty()) twin.setPartial(pieces[n] + Bytes{0xFF, 0xD0});
      } else {
        anyCall(twin, picture, random, Seeks::kStay);
      }
    }
    if (HasFailure()) return;
  }
}

}  // namespace
}  // namespace jpgtest
