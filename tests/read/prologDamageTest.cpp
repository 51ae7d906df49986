// SPDX-License-Identifier: MIT
// Headers with bytes changed, inserted and left out: the library and the model agree on what is
// refused, with which code, and on what is decoded from the rest.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "support/random.h"
#include "support/twin.h"

namespace jpgtest {
namespace {

Picture anyPicture(Random &random) {
  const std::vector<uint8_t> samplings =
      random.oneIn(2) ? std::vector<uint8_t>{0x11} : std::vector<uint8_t>{0x22, 0x11, 0x11};
  const auto seed = static_cast<uint32_t>(random.between(0, 1 << 20));
  Picture picture = makePicture(20, 20, samplings, Fill::kSmooth, seed);
  if (random.oneIn(2)) picture.restartInterval = static_cast<uint16_t>(random.between(1, 4));
  if (random.oneIn(2)) picture.before = StreamBuilder().jfif().com("hello").adobe(1).bytes();
  if (random.oneIn(2)) useAnnexKTables(picture);
  return picture;
}

void damage(Bytes &stream, int32_t headers, Random &random) {
  const auto at = stream.begin() + random.between(2, headers);
  switch (random.between(0, 3)) {
    case 0:
      *at ^= static_cast<uint8_t>(1 << random.between(0, 7));
      break;
    case 1:
      *at = static_cast<uint8_t>(random.between(0, 255));
      break;
    case 2:
      stream.insert(at, static_cast<uint8_t>(random.between(0, 255)));
      break;
    default:
      stream.erase(at);
  }
}

TEST(PrologDamage, OfOneToThreeBytesIsMetAlike) {
  int opened = 0;
  int refused = 0;
  for (uint32_t seed = 0; seed < 8000; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    const Picture picture = anyPicture(random);
    Bytes stream = encode(picture);
    const auto headers = static_cast<int32_t>(headersOf(picture).size());
    for (int n = random.between(1, 3); n > 0; --n) damage(stream, headers, random);
    Twin twin(stream, JPG_READ_COMPLETE);
    ++(twin.prologResult() == JPG_OK ? opened : refused);
    uint32_t width = 0, height = 0;
    if (twin.prologResult() != JPG_OK || !twin.modelKnowsPixels()) continue;
    jpgReadGetImageSize(twin.handle(), &width, &height);
    if (width > 3000 || height > 3000) continue;  // for the sake of time
    twin.decode({20, 40, 4}, 40);
    twin.decode({20, 40, 4}, 40);
    if (HasFailure()) return;
  }
  // The damage is neither fatal throughout nor harmless throughout.
  EXPECT_GT(opened, 1000);
  EXPECT_GT(refused, 1000);
}

}  // namespace
}  // namespace jpgtest
