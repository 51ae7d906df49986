// SPDX-License-Identifier: MIT
#include "read/jpgRPicture.h"

#include "kernels/jpgKernels.h"
#include "read/jpgRHold.h"
#include "read/jpgRInOrder.h"
#include "read/jpgRLossless.h"
#include "read/jpgRPlanes.h"
#include "read/jpgRStore.h"
#include "share/jpgArith.h"
#include "share/jpgMarkers.h"

namespace jpg {
namespace {

constexpr uint32_t kBytePrecision = 8;

bool isDeep(const JpgContext &c) { return c.precision > kBytePrecision; }

InverseKernel transformOf(const JpgContext &c) {
  const bool accurate = (c.options & kOptionAccurate) != 0;
  const Transform kind = isDeep(c)  ? Transform::kWide
                         : accurate ? Transform::kAccurate
                                    : Transform::kUsual;
  return c.kernels->inverseTransform[static_cast<uint32_t>(kind)][c.scanState];
}

uint32_t scaledLength(uint32_t length, uint32_t scale) {
  const uint32_t shift = kScaleFull - scale;
  return (length + (1U << shift) - 1) >> shift;
}

// Rows of pixels that an MCU row gives at the scale of the reading under way.
uint32_t rowsOfMcu(const JpgContext &c) {
  const uint32_t scale = c.scanState == kScanStateNone ? kScaleFull : c.scanState;
  return c.mcuHeight >> (kScaleFull - scale);
}

// ---- Pixels -----------------------------------------------------------------

PlaneFormat formatOfFour(const JpgContext &c, bool whole) {
  const bool ycck = (c.flags & kFlagAdobeSeen) != 0 && c.adobeTransform == 2;
  if (whole) return ycck ? PlaneFormat::kYcckToCmyk : PlaneFormat::kCmyk;
  return ycck ? PlaneFormat::kYcckToBgr : PlaneFormat::kCmykToBgr;
}

PlaneFormat convertedFormat(const JpgContext &c, bool whole) {
  if (c.numComponents < 3) return PlaneFormat::kGray;
  if (c.numComponents == kMaxComponents) return formatOfFour(c, whole);
  return (c.flags & kFlagYcbcrToRgb) != 0 ? PlaneFormat::kYccToBgr : PlaneFormat::kRgbToBgr;
}

// False if the rectangle doesn't take the picture's components as they are.
bool chooseOutput(const JpgContext &c, const JpgRect &rect, PlaneOutput *output) {
  const bool wide = isDeep(c) && rect.bitsPerSample == 16;
  const int32_t componentBits = wide ? 16 : 8;
  const bool fits = rect.bitsPerPixel == componentBits * static_cast<int32_t>(c.numComponents);
  const bool raw = (c.flags & kFlagNoColorConversion) != 0;
  output->wide = wide;
  output->inverted = (c.flags & kFlagAdobeSeen) != 0;
  output->format = raw ? PlaneFormat::kComponents : convertedFormat(c, fits);
  return !raw || fits;
}

// ---- Rows -------------------------------------------------------------------

Result readRow(JpgContext *c, Planes *planes, uint32_t mcuRow, void * /*state*/) {
  const InverseKernel transform = transformOf(*c);
  if (c->read.lenient->store == nullptr) return readRowInOrder(c, planes, mcuRow, transform);
  readRowFromStore(c, planes, mcuRow, transform);
  return JPG_OK;
}

// A scan may name a component twice, and so not have all of them.
bool scanHoldsAll(const JpgContext &c) {
  const LenientScan &scan = c.read.lenient->scan;
  uint32_t held = 0;
  for (uint32_t k = 0; k < scan.count; k++) held |= 1U << scan.frameIndex[k];
  return scan.count == c.numComponents && held == (1U << c.numComponents) - 1;
}

bool needsStore(const JpgContext &c) { return c.sofMarker == kMarkerSof2 || !scanHoldsAll(c); }

// Ahead of rows.
Result beginReading(JpgContext *c) {
  const LenientRead *state = c->read.lenient;
  if (const Result r = returnToPicture(c); r != JPG_OK) return r;
  if (state->store != nullptr || c->coefBuffer != nullptr) return JPG_OK;
  return needsStore(*c) ? makeStore(c) : beginInOrder(c);
}

// A change of the scale begins the picture again.
void changeScale(JpgContext *c, uint32_t scale) {
  if (c->scanState == scale) return;
  const uint32_t sought = c->scanState == kScanStateNone ? pictureRow(*c) : 0;
  c->scanState = scale;
  c->rowPosition = sought * rowsOfMcu(*c);
}

Result decodeAllScans(JpgContext *c) {
  while (!storeIsComplete(*c->read.lenient)) {
    if (const Result r = decodeStoreScan(c); r != JPG_OK) return r;
  }
  return JPG_OK;
}

Result putRows(JpgContext *c, const JpgRect &rect, int32_t lines, int32_t width) {
  PlaneOutput output = {};
  if (!chooseOutput(*c, rect, &output)) return JPG_E_UNSUPPORTED;
  if (const Result r = makePlanes(c, isDeep(*c)); r != JPG_OK) return r;
  const auto left = asSigned(scaledLength(c->height, c->scanState) - c->rowPosition);
  if (lines > left) lines = left;
  seekPlanes(c->planes, c->rowPosition);
  if (lines > 0) {
    const Result r = putPlaneRows(c, c->planes, {readRow, nullptr}, output, rect, lines, width);
    if (r != JPG_OK) return r;
  }
  return c->read.lenient->damage.code != JPG_OK ? JPG_E_DAMAGED : JPG_OK;
}

bool rowsRemain(const JpgContext &c, uint32_t scale) {
  return c.rowPosition < scaledLength(c.height, scale);
}

}  // namespace

Result readPicture(JpgContext *c, const JpgRect &rect, int32_t lines, uint32_t scale) {
  if (c->sofMarker == kMarkerSof3) {
    const Result r = returnToPicture(c);
    return r != JPG_OK ? r : readLosslessPicture(c, rect, lines);
  }
  changeScale(c, scale);
  const bool full = scale == kScaleFull;
  if (!rowsRemain(*c, scale)) return full ? JPG_E_FAIL : JPG_E_INVALID_PARAMETER;
  if (const Result r = beginReading(c); r != JPG_OK) return r;
  if (c->read.lenient->store != nullptr) {
    if (const Result r = decodeAllScans(c); r != JPG_OK) return r;
  }
  const auto width = full ? rect.width : static_cast<int32_t>(scaledLength(c->width, scale));
  return putRows(c, rect, lines, width);
}

Result readProgressivePicture(JpgContext *c, const JpgRect &rect, int32_t lines, bool incremental) {
  changeScale(c, kScaleFull);
  if (!rowsRemain(*c, kScaleFull)) {
    if ((c->flags & kFlagIncrementalActive) == 0) return JPG_E_FAIL;
    if (!incremental) c->flags &= ~kFlagIncrementalActive;
    c->rowPosition = 0;
  } else if (c->rowPosition == 0 && incremental) {
    c->flags |= kFlagIncrementalActive;
  }
  if (const Result r = beginReading(c); r != JPG_OK) return r;
  // A restart seek may have led away from row 0, where a pass begins.
  if (c->rowPosition == 0 || storeIsEmpty(*c->read.lenient)) {
    resetPlanes(c);
    const Result r = incremental ? decodeStoreScan(c) : decodeAllScans(c);
    if (r != JPG_OK) return r;
  }
  return putRows(c, rect, lines, rect.width);
}

uint32_t pictureChannels(const JpgContext &c) { return c.numComponents < 3 ? 1 : 3; }

void leavePicture(JpgContext *c) {
  LenientRead *state = c->read.lenient;
  if (state->left != 0) return;
  state->left = 1;
  state->place = leavePlace(&c->stream);
}

Result returnToPicture(JpgContext *c) {
  LenientRead *state = c->read.lenient;
  c->flags &= ~kFlagMarkerAccessUsed;
  if (state->left == 0) return JPG_OK;
  c->segLength = 0;
  c->segConsumed = 0;
  const Result r = returnToPlace(&c->stream, state->place);
  if (r == JPG_OK) state->left = 0;
  return r;
}

void seekPictureRow(JpgContext *c, uint32_t row) { c->rowPosition = row * rowsOfMcu(*c); }

uint32_t pictureRow(const JpgContext &c) { return c.rowPosition / rowsOfMcu(c); }

Result tellDamage(const JpgContext &c, uint16_t *what, uint32_t *offset) {
  const Damage &damage = c.read.lenient->damage;
  *what = static_cast<uint16_t>(damage.code);
  *offset = damage.offset;
  return damage.code != JPG_OK ? JPG_OK : JPG_NO_DATA;
}

}  // namespace jpg
