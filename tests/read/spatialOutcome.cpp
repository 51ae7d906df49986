// SPDX-License-Identifier: MIT
#include "read/spatialOutcome.h"

#include <gtest/gtest.h>

#include "model/reader.h"

namespace jpgtest {

Outcome readAll(const Bytes &stream) {
  Outcome o;
  JPGHANDLE h = nullptr;
  o.opened = jpgReadPrologFromMemory(stream.data(), static_cast<int32_t>(stream.size()),
                                     JPG_READ_COMPLETE, &h);
  if (o.opened != JPG_OK) return o;
  uint32_t width = 0, height = 0, components = 0, precision = 0;
  EXPECT_EQ(jpgReadGetImageSize(h, &width, &height), JPG_OK);
  EXPECT_EQ(jpgReadGetNumberOfChannels(h, &components), JPG_OK);
  EXPECT_EQ(jpgReadGetSamplePrecision(h, &precision), JPG_OK);
  const size_t row = size_t{width} * components * (precision > 8 ? 2U : 1U);
  // A call for no rows keeps the row that it finds.
  o.samples.assign(row * (height != 0 ? height : 1) + 1, 0xEE);
  JpgRect rect = {};
  rect.stride = static_cast<int32_t>(row);
  rect.bits = o.samples.data();
  o.result = jpgReadSpatialToRect(h, &rect, static_cast<int32_t>(height));
  EXPECT_EQ(o.samples.back(), 0xEE);  // nothing is stored behind the last row
  o.samples.resize(row * height);
  EXPECT_EQ(jpgReadEpilog(h), JPG_OK);
  return o;
}

Outcome modelAll(const Bytes &stream) {
  Outcome o;
  Model model;
  EXPECT_EQ(model.openMemory(stream, JPG_READ_COMPLETE), JPG_OK);
  o.samples.assign(model.rowBytes() * (model.height() + 1), 0xEE);
  JpgRect rect = {};
  rect.stride = static_cast<int32_t>(model.rowBytes());
  rect.bits = o.samples.data();
  o.result = model.spatialToRect(rect, static_cast<int32_t>(model.height()));
  o.samples.resize(model.rowBytes() * model.height());
  return o;
}

}  // namespace jpgtest
