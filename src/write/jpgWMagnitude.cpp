// SPDX-License-Identifier: MIT
#include "write/jpgWMagnitude.h"

namespace jpg {
namespace {

constexpr MagnitudeTable makeMagnitudes() {
  MagnitudeTable t{};
  uint32_t category = 0;
  for (int32_t v = 1; v <= kMaxMagnitude; v++) {
    if (v >> category != 0) category++;
    const uint32_t mask = (1U << category) - 1, bits = static_cast<uint32_t>(v);
    t.entry[kMaxMagnitude + v] = {bits << 16 | category};
    t.entry[kMaxMagnitude - v] = {(~bits & mask) << 16 | category};
  }
  return t;
}

}  // namespace

constexpr MagnitudeTable jpgMagnitudes = makeMagnitudes();

}  // namespace jpg
