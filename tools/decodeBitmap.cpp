// SPDX-License-Identifier: MIT
#include "decodeBitmap.h"

#include "damage.h"
#include "dib.h"
#include "exifHandle.h"
#include "report.h"

namespace jpgtool {
namespace {

// One call of the library; without bits it only describes the bitmap.
uint32_t readBitmap(JPGHANDLE handle, const Frame &frame, int32_t scale, Dib *dib) {
  if (frame.process == JPG_PROCESS_PROGRESSIVE && scale == JPG_SCALE_FULL) {
    return jpgReadProgressiveToWinDIBits(handle, dib->rows(), dib->bits(), dib->bmi(),
                                         JPG_PROGRESSIVE_ALL_SCANS);
  }
  return jpgReadScaleOutputToWinDIBits(handle, dib->rows(), dib->bits(), dib->bmi(), scale);
}

// The reason why the bitmap functions can't decode the frame, if any.
void checkFrame(const Frame &frame, uint16_t bits, const ReadSettings &settings, std::string *why) {
  const bool lenient = (settings.openFlags & JPG_READ_LENIENT) == JPG_READ_LENIENT;
  const bool progressive = frame.process == JPG_PROCESS_PROGRESSIVE;
  if (frame.process == JPG_PROCESS_LOSSLESS) {
    *why = "--bits takes no lossless file";
  } else if (progressive && settings.scale != JPG_SCALE_FULL && !lenient) {
    *why = "with --bits and --strict, --scale needs a sequential file";
  } else if (frame.height == 0) {
    *why = "--bits needs the height in the frame header";
  } else if (frame.channels != 3 && !(frame.channels == 1 && bits == 8)) {
    *why =
        frame.channels == 1 ? "grey files need --bits 8" : "--bits takes grey or three components";
  }
}

}  // namespace

int decodeBitmap(const Input &in, const std::string &out, uint16_t bits,
                 const ReadSettings &settings) {
  Reader reader;
  Frame frame;
  std::string why;
  uint32_t r = reader.open(in, settings.openFlags, settings.limits, &why);
  if (r == JPG_OK) r = readFrame(reader.handle(), &frame);
  if (r == JPG_OK) r = checkPixels(settings.limits, frame.width, frame.height, &why);
  if (r != JPG_OK) return why.empty() ? fail(in.name(), r) : fail(in.name(), why, r);
  uint64_t scans = 0;
  checkFrame(frame, bits, settings, &why);
  if (why.empty()) checkScans(in, frame, settings, &scans, &why);
  if (!why.empty()) return fail(in.name(), why, JPG_E_UNSUPPORTED);
  Dib dib(bits);
  r = readBitmap(reader.handle(), frame, settings.scale, &dib);
  if (r == JPG_OK) r = checkMemory(settings.limits, dib.bytes(), &why);
  if (!why.empty()) return fail(in.name(), why, r);
  if (r == JPG_OK) r = dib.allocate();
  if (r == JPG_E_UNSUPPORTED) return fail(in.name(), "the picture is too large for a .bmp file", r);
  if (r == JPG_OK) r = readBitmap(reader.handle(), frame, settings.scale, &dib);
  const uint32_t damage = r;
  if (r == JPG_E_DAMAGED) r = JPG_OK;
  if (r == JPG_OK && settings.orient) r = dib.turn(orientationOf(in));
  if (r == JPG_OK) {
    const int status = saveBitmap(dib, out);
    if (damage == JPG_OK || status != kExitOk) return status;
  }
  const uint32_t code = r == JPG_OK ? damage : r;
  fail(in.name(), whyFailed(reader.handle(), {&in, frame, 0, code}), code);
  return r == JPG_OK ? kExitDamaged : kExitFailed;
}

}  // namespace jpgtool
