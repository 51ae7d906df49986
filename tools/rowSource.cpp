#include "rowSource.h"

#include <algorithm>

#include "damage.h"
#include "report.h"

namespace jpgtool {
namespace {

// Rows of a band: a multiple of every MCU's height, also of the scaled ones.
constexpr uint32_t kBandRows = 16;

bool isSequential(const Frame &frame) {
  return frame.process == JPG_PROCESS_BASELINE || frame.process == JPG_PROCESS_EXTENDED;
}

bool isLossless(const Frame &frame) { return frame.process == JPG_PROCESS_LOSSLESS; }

}  // namespace

uint32_t checkScans(const std::string &file, const Frame &frame, const ReadSettings &settings,
                    uint64_t *count, std::string *why) {
  if (frame.process != JPG_PROCESS_PROGRESSIVE) {
    if (settings.scans == 0) return JPG_OK;
    *why = "--scans needs a progressive file";
    return JPG_E_UNSUPPORTED;
  }
  StreamScan scan;
  if (scanStream(file, &scan)) *count = scan.scanOffsets.size();
  const std::string has = "the file has " + std::to_string(*count) + " scans, ";
  if (*count > settings.maxScans) {
    *why = has + "more than --max-scans " + std::to_string(settings.maxScans);
  } else if (*count < settings.scans) {
    *why = has + "fewer than --scans " + std::to_string(settings.scans);
  }
  return why->empty() ? JPG_OK : JPG_E_UNSUPPORTED;
}

uint32_t RowSource::open(const std::string &file, const ReadSettings &settings, std::string *why) {
  file_ = file;
  settings_ = settings;
  uint32_t r = reader_.open(file, settings.openFlags, settings.limits, why);
  if (r == JPG_OK) r = readFrame(reader_.handle(), &frame_);
  if (r == JPG_OK) r = learnHeight(file, why);
  if (r == JPG_OK) r = checkPixels(settings.limits, frame_.width, frame_.height, why);
  if (r == JPG_OK) r = checkScans(file, frame_, settings, &scanCount_, why);
  if (r == JPG_OK && settings.raw) r = jpgReadSetNoColorConversion(reader_.handle());
  if (r == JPG_OK) r = describe(why);
  return r == JPG_OK ? chooseRows(file, why) : r;
}

// If the header's height is 0, takes the height from the DNL segment behind the scan.
uint32_t RowSource::learnHeight(const std::string &file, std::string *why) {
  if (frame_.height != 0) return JPG_OK;
  StreamScan scan;
  if (scanStream(file, &scan) && scan.dnlLines != 0) {
    frame_.height = scan.dnlLines;
    heightFromDnl_ = true;
    return JPG_OK;
  }
  *why = "no height in the frame header and no DNL segment after the scan";
  return JPG_E_UNSUPPORTED;
}

uint32_t RowSource::describe(std::string *why) {
  format_.width = frame_.width;
  format_.height = frame_.height;
  if (settings_.scale != JPG_SCALE_FULL) {
    if (!isSequential(frame_)) {
      *why = "--scale needs a sequential file";
      return JPG_E_UNSUPPORTED;
    }
    if (heightFromDnl_) {
      *why = "--scale needs the height in the frame header";
      return JPG_E_UNSUPPORTED;
    }
    const uint32_t r = jpgReadScaleOutputGetImageSize(reader_.handle(), &format_.width,
                                                      &format_.height, settings_.scale);
    if (r != JPG_OK) return r;
  }
  const bool asCoded = settings_.raw || isLossless(frame_);
  format_.channels = asCoded ? frame_.channels : frame_.channels < 3 ? 1 : 3;
  format_.blueFirst = !asCoded && format_.channels == 3;
  if (isLossless(frame_)) format_.maxValue = (1U << frame_.precision) - 1;
  // One row more: the lossless decoder reads the row behind the band.
  // One byte more: never empty, not even for a picture without columns.
  band_.assign(rowBytes(format_) * (kBandRows + 1) + 1, 0);
  return JPG_OK;
}

// Checks the rows asked for, counted in the output, and goes to the first of them.
uint32_t RowSource::chooseRows(const std::string &file, std::string *why) {
  height_ = format_.height;
  const uint32_t end = std::min(settings_.endRow, height_);
  if (settings_.firstRow == 0) {
    format_.height = end;
    return JPG_OK;
  }
  if (settings_.firstRow >= end) {
    *why = "the picture has " + std::to_string(height_) + " rows";
    return JPG_E_INVALID_PARAMETER;
  }
  format_.height = end - settings_.firstRow;
  seekRow(file);
  return JPG_OK;
}

// Rows of the picture in a restart interval; 0 when intervals can't be used to reach a row: there
// are none, or they don't end with an MCU row (T.81 allows both).
uint32_t RowSource::rowsPerInterval() const {
  constexpr uint32_t kBlock = 8;
  Headers headers;
  if (readHeaders(reader_.handle(), &headers) != JPG_OK || frame_.width == 0) return 0;
  uint32_t h = 1, v = 1;
  for (const Component &c : headers.components) {
    if (headers.components.size() == 1) break;  // counts as 1 x 1
    h = std::max(h, c.h);
    v = std::max(v, c.v);
  }
  const uint32_t mcusPerRow =
      isLossless(frame_) ? frame_.width : (frame_.width + kBlock * h - 1) / (kBlock * h);
  if (headers.restartInterval % mcusPerRow != 0) return 0;
  const uint32_t mcuRows = headers.restartInterval / mcusPerRow;
  const uint32_t divisor = 8U >> settings_.scale;
  return mcuRows * (isLossless(frame_) ? 1 : kBlock * v / divisor);
}

// True if the scan has exactly the restart markers that its headers promise: only then interval n
// begins at the n-th marker. Some writers also end the last interval with one.
bool RowSource::hasAllRestarts(const std::string &file, uint32_t perInterval) const {
  const uint32_t intervals = (height_ + perInterval - 1) / perInterval;
  StreamScan scan;
  if (!scanStream(file, &scan) || !scan.restartsInOrder) return false;
  return scan.restarts + 1 == intervals || scan.restarts == intervals;
}

// Skips the restart intervals that end before the first row asked for, without decoding them.
// Rows that can't be skipped are decoded and dropped.
void RowSource::seekRow(const std::string &file) {
  if (!isSequential(frame_) && !isLossless(frame_)) return;
  const uint32_t perInterval = rowsPerInterval();
  const uint32_t intervals = perInterval != 0 ? settings_.firstRow / perInterval : 0;
  if (intervals == 0 || !hasAllRestarts(file, perInterval)) return;
  const uint32_t r = jpgReadSeekRestartMarker(reader_.handle(), static_cast<int32_t>(intervals),
                                              JPG_RESTART_FROM_START);
  if (r == JPG_OK) {
    intervals_ = intervals;
    done_ = intervals * perInterval;
    return;
  }
  jpgReadSeekRestartMarker(reader_.handle(), 0, JPG_RESTART_FROM_START);
}

// After the band, a call without lines makes the band's last row the one from which the next band
// is predicted. While the library doesn't know the height, a call delivers one row and saves it.
uint32_t RowSource::readLossless(JpgRect *rect, int32_t lines) {
  for (int32_t i = 0; heightFromDnl_ && i < lines; i++) {
    rect->bits = band_.data() + rowBytes(format_) * static_cast<uint32_t>(i);
    if (const uint32_t r = jpgReadSpatialToRect(reader_.handle(), rect, 1); r != JPG_OK) return r;
  }
  if (heightFromDnl_) return JPG_OK;
  const uint32_t r = jpgReadSpatialToRect(reader_.handle(), rect, lines);
  const bool last = done_ + static_cast<uint32_t>(lines) >= height_;
  if (r != JPG_OK || last) return r;
  rect->bits = band_.data() + rowBytes(format_) * static_cast<uint32_t>(lines - 1);
  return jpgReadSpatialToRect(reader_.handle(), rect, 0);
}

// A call for 0 rows decodes a scan and stays at the top; the call for the first band decodes the
// last scan asked for.
uint32_t RowSource::readProgressive(JpgRect *rect, int32_t lines) {
  const bool incremental = settings_.scans != 0;
  for (; incremental && scansSkipped_ + 1 < settings_.scans; scansSkipped_++) {
    const uint32_t r =
        jpgReadProgressiveToRect(reader_.handle(), rect, 0, JPG_PROGRESSIVE_NEXT_SCAN);
    if (r != JPG_OK) return r;
  }
  return jpgReadProgressiveToRect(
      reader_.handle(), rect, lines,
      incremental ? JPG_PROGRESSIVE_NEXT_SCAN : JPG_PROGRESSIVE_ALL_SCANS);
}

uint32_t RowSource::readBand(uint32_t count) {
  const auto lines = static_cast<int32_t>(count);
  JpgRect rect = {};
  rect.width = static_cast<int32_t>(format_.width);
  rect.height = lines;
  rect.stride = static_cast<int32_t>(rowBytes(format_));
  rect.bitsPerPixel = static_cast<int32_t>(8 * format_.channels * sampleBytes(format_));
  rect.bits = band_.data();
  if (isLossless(frame_)) return readLossless(&rect, lines);
  if (!isSequential(frame_)) return readProgressive(&rect, lines);
  return jpgReadScaleOutputToRect(reader_.handle(), &rect, lines, settings_.scale);
}

uint32_t RowSource::next(uint32_t *rows) {
  const uint32_t end = settings_.firstRow + format_.height;
  for (;;) {
    const uint32_t top = done_;
    const uint32_t count = std::min(height_ - top, kBandRows);
    if (const uint32_t r = readBand(count); r != JPG_OK) return r;
    done_ += count;
    if (done_ <= settings_.firstRow) continue;
    const uint32_t first = std::max(top, settings_.firstRow);
    bandOffset_ = rowBytes(format_) * (first - top);
    *rows = std::min(done_, end) - first;
    return JPG_OK;
  }
}

std::string RowSource::whyFailed(uint32_t code) const {
  return meaningOf(code) + placeOfDamage({file_, frame_, intervals_, code});
}

}  // namespace jpgtool
