// SPDX-License-Identifier: MIT
#include "decoded.h"

#include <gtest/gtest.h>

namespace jpgtest {

Decoded decodeStream(const Bytes &stream) {
  Decoded d;
  JPGHANDLE h = nullptr;
  uint32_t process = 0;
  d.result = jpgReadPrologFromMemory(stream.data(), static_cast<int32_t>(stream.size()), 0, &h);
  if (d.result != JPG_OK) return d;
  jpgReadGetCodingProcess(h, &process);
  jpgReadGetImageSize(h, &d.width, &d.height);
  jpgReadGetNumberOfChannels(h, &d.channels);
  jpgReadGetSamplePrecision(h, &d.precision);
  const size_t row = size_t{d.width} * d.channels * (d.precision > 8 ? 2 : 1);
  d.samples.resize(row * (d.height + 1));
  JpgRect rect = {};
  rect.stride = static_cast<int32_t>(row);
  rect.bits = d.samples.data();
  d.result = process == JPG_PROCESS_LOSSLESS
                 ? jpgReadSpatialToRect(h, &rect, static_cast<int32_t>(d.height))
                 : JPG_E_INVALID_PARAMETER;
  d.samples.resize(row * d.height);
  EXPECT_EQ(jpgReadEpilog(h), JPG_OK);
  return d;
}

}  // namespace jpgtest
