#include "decodeBitmap.h"

#include "damage.h"
#include "dib.h"
#include "report.h"

namespace jpgtool {
namespace {

// One call of the library; without bits it only describes the bitmap.
uint32_t readBitmap(JPGHANDLE handle, const Frame &frame, int32_t scale, Dib *dib) {
  if (frame.process == JPG_PROCESS_PROGRESSIVE) {
    return jpgReadProgressiveToWinDIBits(handle, dib->rows(), dib->bits(), dib->bmi(),
                                         JPG_PROGRESSIVE_ALL_SCANS);
  }
  return jpgReadScaleOutputToWinDIBits(handle, dib->rows(), dib->bits(), dib->bmi(), scale);
}

// The reason why the bitmap functions can't decode the frame, if any.
void checkFrame(const Frame &frame, uint16_t bits, const ReadSettings &settings, std::string *why) {
  const bool progressive = frame.process == JPG_PROCESS_PROGRESSIVE;
  if (frame.process == JPG_PROCESS_LOSSLESS) {
    *why = "--bits takes no lossless file";
  } else if (progressive && settings.scale != JPG_SCALE_FULL) {
    *why = "--scale needs a sequential file";
  } else if (frame.height == 0) {
    *why = "--bits needs the height in the frame header";
  } else if (frame.channels != 3 && !(frame.channels == 1 && bits == 8)) {
    *why =
        frame.channels == 1 ? "grey files need --bits 8" : "--bits takes grey or three components";
  }
}

}  // namespace

int decodeBitmap(const std::string &in, const std::string &out, uint16_t bits,
                 const ReadSettings &settings) {
  if (const int status = checkBitmapFile(in, out); status != kExitOk) return status;
  Reader reader;
  Frame frame;
  std::string why;
  uint32_t r = reader.open(in, settings.openFlags, settings.limits, &why);
  if (r == JPG_OK) r = readFrame(reader.handle(), &frame);
  if (r == JPG_OK) r = checkPixels(settings.limits, frame.width, frame.height, &why);
  if (r != JPG_OK) return why.empty() ? fail(in, r) : fail(in, why, r);
  uint64_t scans = 0;
  checkFrame(frame, bits, settings, &why);
  if (why.empty()) checkScans(in, frame, settings, &scans, &why);
  if (!why.empty()) return fail(in, why, JPG_E_UNSUPPORTED);
  Dib dib(bits);
  r = readBitmap(reader.handle(), frame, settings.scale, &dib);
  if (r == JPG_OK) r = checkMemory(settings.limits, dib.bytes(), &why);
  if (!why.empty()) return fail(in, why, r);
  if (r == JPG_OK) r = dib.allocate();
  if (r == JPG_E_UNSUPPORTED) return fail(in, "the picture is too large for a .bmp file", r);
  if (r == JPG_OK) r = readBitmap(reader.handle(), frame, settings.scale, &dib);
  if (r == JPG_OK) return saveBitmap(dib, out);
  return fail(in, meaningOf(r) + placeOfDamage({in, frame, 0, r}), r);
}

}  // namespace jpgtool
