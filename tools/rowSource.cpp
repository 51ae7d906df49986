// SPDX-License-Identifier: MIT
#include "rowSource.h"

#include <algorithm>

#include "damage.h"
#include "exifHandle.h"
#include "report.h"

namespace jpgtool {
namespace {

// Rows of a band: a multiple of every MCU's height, also of the scaled ones.
constexpr uint32_t kBandRows = 16;

bool isSequential(const Frame &frame) {
  return frame.process == JPG_PROCESS_BASELINE || frame.process == JPG_PROCESS_EXTENDED;
}

bool isLossless(const Frame &frame) { return frame.process == JPG_PROCESS_LOSSLESS; }

// Means of squares of samples, those at the right and lower edge of what there is of them.
void reduceRow(const PixelFormat &from, const PixelFormat &to, uint32_t factor, const uint8_t *rows,
               uint32_t rowCount, uint8_t *out) {
  const uint32_t bytes = sampleBytes(from);
  for (uint32_t x = 0; x < to.width; x++) {
    const uint32_t columns = std::min(factor, from.width - x * factor);
    for (uint32_t k = 0; k < to.channels; k++, out += bytes) {
      uint32_t sum = 0;
      for (uint32_t i = 0; i < rowCount * columns; i++) {
        const uint8_t *row = rows + rowBytes(from) * (i / columns);
        sum += sampleAt(from, row, size_t{x * factor + i % columns} * from.channels + k);
      }
      const uint32_t count = rowCount * columns;
      putSample(out, bytes, (sum + count / 2) / count);
    }
  }
}

void fillGrey(const PixelFormat &format, uint8_t *rows, size_t bytes) {
  const uint32_t size = sampleBytes(format), grey = (format.maxValue + 1) / 2;
  for (size_t i = 0; i + size <= bytes; i += size) putSample(rows + i, size, grey);
}

}  // namespace

void takeReadOptions(const Options &options, ReadSettings *settings) {
  const uint32_t complete = options.has("--no-eoi") ? JPG_READ_COMPLETE : 0;
  const bool strict = options.has("--strict");
  settings->openFlags =
      strict ? complete
             : JPG_READ_COMPLETE | JPG_READ_ACCURATE | JPG_READ_SMOOTH | JPG_READ_LENIENT;
  settings->keepGoing = !strict;
}

uint32_t checkScans(const Input &input, const Frame &frame, const ReadSettings &settings,
                    uint64_t *count, std::string *why) {
  if (frame.process != JPG_PROCESS_PROGRESSIVE) {
    if (settings.scans == 0) return JPG_OK;
    *why = "--scans needs a progressive file";
    return JPG_E_UNSUPPORTED;
  }
  *count = scanStream(input).scanOffsets.size();
  const std::string has = "the file has " + std::to_string(*count) + " scans, ";
  if (*count > settings.maxScans) {
    *why = has + "more than --max-scans " + std::to_string(settings.maxScans);
  } else if (*count < settings.scans) {
    *why = has + "fewer than --scans " + std::to_string(settings.scans);
  }
  return why->empty() ? JPG_OK : JPG_E_UNSUPPORTED;
}

uint32_t RowSource::open(const Input &input, const ReadSettings &settings, std::string *why) {
  input_ = &input;
  settings_ = settings;
  uint32_t r = reader_.open(input, settings.openFlags, settings.limits, why);
  if (r == JPG_OK) r = readFrame(reader_.handle(), &frame_);
  if (r == JPG_OK) r = learnHeight(why);
  if (r == JPG_OK) r = checkPixels(settings.limits, frame_.width, frame_.height, why);
  if (r == JPG_OK) r = checkScans(input, frame_, settings, &scanCount_, why);
  if (r == JPG_OK && settings.raw) r = jpgReadSetNoColorConversion(reader_.handle());
  if (r == JPG_OK) r = describe();
  if (r == JPG_OK) r = chooseRows(why);
  return r == JPG_OK ? prepareTurn(why) : r;
}

// If the header's height is 0, takes the height from the DNL segment behind the scan.
uint32_t RowSource::learnHeight(std::string *why) {
  if (frame_.height != 0) return JPG_OK;
  frame_.height = scanStream(*input_).dnlLines;
  heightFromDnl_ = frame_.height != 0;
  if (heightFromDnl_) return JPG_OK;
  *why = "no height in the frame header and no DNL segment after the scan";
  return JPG_E_UNSUPPORTED;
}

// The library scales sequential files whose height it knows, and with lenient reading progressive
// ones, when all their scans count; others are decoded and reduced.
uint32_t RowSource::chooseScale() {
  if (settings_.scale == JPG_SCALE_FULL) return JPG_OK;
  const bool lenient = (settings_.openFlags & JPG_READ_LENIENT) == JPG_READ_LENIENT;
  const bool progressive = lenient && !isLossless(frame_) && settings_.scans == 0;
  if ((isSequential(frame_) || progressive) && !heightFromDnl_ && !settings_.raw) {
    return jpgReadScaleOutputGetImageSize(reader_.handle(), &coded_.width, &coded_.height,
                                          settings_.scale);
  }
  reduction_ = 8U >> settings_.scale;
  settings_.scale = JPG_SCALE_FULL;
  return JPG_OK;
}

uint32_t RowSource::describe() {
  coded_.width = frame_.width;
  coded_.height = frame_.height;
  if (const uint32_t r = chooseScale(); r != JPG_OK) return r;
  const bool asCoded = settings_.raw || isLossless(frame_);
  coded_.channels = asCoded ? frame_.channels : frame_.channels < 3 ? 1 : 3;
  coded_.blueFirst = !asCoded && coded_.channels == 3;
  if (isLossless(frame_)) coded_.maxValue = (1U << frame_.precision) - 1;
  format_ = coded_;
  format_.width = (coded_.width + reduction_ - 1) / reduction_;
  format_.height = (coded_.height + reduction_ - 1) / reduction_;
  // One row more: the lossless decoder reads the row behind the band.
  // One byte more: never empty, not even for a picture without columns.
  band_.assign(rowBytes(format_) * (kBandRows + 1) + 1, 0);
  if (reduction_ != 1) wide_.assign(rowBytes(coded_) * (size_t{kBandRows} * reduction_ + 1) + 1, 0);
  return JPG_OK;
}

// Checks the rows asked for, counted in the output, and goes to the first of them.
uint32_t RowSource::chooseRows(std::string *why) {
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
  seekRow();
  return JPG_OK;
}

// A picture that is turned needs all of its memory.
uint32_t RowSource::prepareTurn(std::string *why) {
  const bool all = settings_.firstRow == 0 && format_.height == height_;
  const uint32_t orientation = settings_.orient && all ? orientationOf(*input_) : 1;
  const uint64_t memory = uint64_t{rowBytes(format_)} * format_.height;
  if (memory == 0) return JPG_OK;
  turn_ = Turn(orientation, format_.width, format_.height, rowBytes(format_) / format_.width);
  if (turn_.isNone()) return JPG_OK;
  if (const uint32_t r = checkMemory(settings_.limits, memory, why); r != JPG_OK) return r;
  turned_.resize(static_cast<size_t>(memory));
  format_.width = turn_.width();
  format_.height = turn_.height();
  return JPG_OK;
}

// Rows of the picture in a restart interval; 0 when intervals can't be used to reach a row: there
// are none, or they don't end with an MCU row (T.81 allows both).
uint32_t RowSource::rowsPerInterval() const {
  constexpr uint32_t kBlock = 8;
  const Headers headers = headersOf(*input_);
  if (frame_.width == 0 || reduction_ != 1) return 0;
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
bool RowSource::hasAllRestarts(uint32_t perInterval) const {
  const uint32_t intervals = (height_ + perInterval - 1) / perInterval;
  const StreamScan scan = scanStream(*input_);
  if (!scan.restartsInOrder) return false;
  return scan.restarts + 1 == intervals || scan.restarts == intervals;
}

// Skips the restart intervals that end before the first row asked for, without decoding them.
// Rows that can't be skipped are decoded and dropped.
void RowSource::seekRow() {
  if (!isSequential(frame_) && !isLossless(frame_)) return;
  const uint32_t perInterval = rowsPerInterval();
  uint32_t intervals = perInterval != 0 ? settings_.firstRow / perInterval : 0;
  // Interpolated chroma depends on the rows above.
  const bool smooth = (settings_.openFlags & JPG_READ_SMOOTH) == JPG_READ_SMOOTH;
  if (smooth && settings_.scale != JPG_SCALE_FULL) return;
  if (smooth && intervals > 0) intervals--;
  if (intervals == 0 || !hasAllRestarts(perInterval)) return;
  const uint32_t r = jpgReadSeekRestartMarker(reader_.handle(), static_cast<int32_t>(intervals),
                                              JPG_RESTART_FROM_START);
  if (r == JPG_OK) {
    intervals_ = intervals;
    done_ = codedDone_ = intervals * perInterval;
    return;
  }
  jpgReadSeekRestartMarker(reader_.handle(), 0, JPG_RESTART_FROM_START);
}

// After the band, a call without lines makes the band's last row the one from which the next band
// is predicted. While the library doesn't know the height, a call delivers one row and saves it.
uint32_t RowSource::readLossless(JpgRect *rect, int32_t lines) {
  auto *rows = static_cast<uint8_t *>(rect->bits);
  for (int32_t i = 0; heightFromDnl_ && i < lines; i++) {
    rect->bits = rows + rowBytes(coded_) * static_cast<uint32_t>(i);
    if (const uint32_t r = jpgReadSpatialToRect(reader_.handle(), rect, 1); r != JPG_OK) return r;
  }
  if (heightFromDnl_) return JPG_OK;
  const uint32_t r = jpgReadSpatialToRect(reader_.handle(), rect, lines);
  const bool last = codedDone_ + static_cast<uint32_t>(lines) >= coded_.height;
  if (r != JPG_OK || last) return r;
  rect->bits = rows + rowBytes(coded_) * static_cast<uint32_t>(lines - 1);
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

// Rows of the library's.
uint32_t RowSource::readRows(uint8_t *to, uint32_t count) {
  const auto lines = static_cast<int32_t>(count);
  JpgRect rect = {};
  rect.width = static_cast<int32_t>(coded_.width);
  rect.height = lines;
  rect.stride = static_cast<int32_t>(rowBytes(coded_));
  rect.bitsPerPixel = static_cast<int32_t>(8 * coded_.channels * sampleBytes(coded_));
  rect.bits = to;
  if (isLossless(frame_)) return readLossless(&rect, lines);
  const bool full = settings_.scale == JPG_SCALE_FULL;
  if (!isSequential(frame_) && full) return readProgressive(&rect, lines);
  return jpgReadScaleOutputToRect(reader_.handle(), &rect, lines, settings_.scale);
}

uint32_t RowSource::readReduced(uint32_t count) {
  const uint32_t rows = std::min(count * reduction_, coded_.height - codedDone_);
  const uint32_t r = readRows(wide_.data(), rows);
  if (r != JPG_OK && r != JPG_E_DAMAGED) return r;
  codedDone_ += rows;
  for (uint32_t y = 0; y < count; y++) {
    const uint32_t first = y * reduction_;
    reduceRow(coded_, format_, reduction_, wide_.data() + rowBytes(coded_) * first,
              std::min(reduction_, rows - first), band_.data() + rowBytes(format_) * y);
  }
  return r;
}

// The next rows of the output, of the width before it is turned.
uint32_t RowSource::readBand(uint32_t count) {
  if (reduction_ != 1) return readReduced(count);
  const uint32_t r = readRows(band_.data(), count);
  codedDone_ += count;
  return r;
}

// Notes damage. False when the work ends there.
bool RowSource::passOver(uint32_t code) {
  if (code == JPG_OK || code == JPG_E_DAMAGED) {
    if (code != JPG_OK) damage_ = code;
    return true;
  }
  const bool nothing = done_ <= settings_.firstRow && done_ == 0;
  if (!settings_.keepGoing || (nothing && !settings_.keepNothing)) return false;
  damage_ = code;
  broken_ = true;
  return true;
}

uint32_t RowSource::nextBand(uint32_t *rows) {
  const bool turned = !turn_.isNone();
  const uint32_t end = turned ? height_ : settings_.firstRow + format_.height;
  const size_t bytes = turned ? turned_.size() / height_ : rowBytes(format_);
  for (;;) {
    const uint32_t top = done_;
    const uint32_t count = std::min(height_ - top, kBandRows);
    if (!broken_) {
      if (const uint32_t r = readBand(count); !passOver(r)) return r;
    }
    if (broken_) fillGrey(format_, band_.data(), bytes * count);
    done_ += count;
    if (done_ <= settings_.firstRow) continue;
    const uint32_t first = std::max(top, settings_.firstRow);
    deliver_ = band_.data() + bytes * (first - top);
    *rows = std::min(done_, end) - first;
    return JPG_OK;
  }
}

uint32_t RowSource::turnAll() {
  const size_t bytes = turned_.size() / height_;
  while (done_ < height_) {
    const uint32_t first = done_;
    uint32_t rows = 0;
    if (const uint32_t r = nextBand(&rows); r != JPG_OK) return r;
    for (uint32_t y = 0; y < rows; y++) {
      turn_.putRow(first + y, deliver_ + bytes * y, turned_.data());
    }
  }
  return JPG_OK;
}

uint32_t RowSource::next(uint32_t *rows) {
  if (turn_.isNone()) return nextBand(rows);
  if (turnedRows_ == 0) {
    if (const uint32_t r = turnAll(); r != JPG_OK) return r;
  }
  deliver_ = turned_.data() + rowBytes(format_) * turnedRows_;
  *rows = std::min(kBandRows, format_.height - turnedRows_);
  turnedRows_ += *rows;
  return JPG_OK;
}

void RowSource::showNextScan() {
  done_ = 0;
  codedDone_ = 0;
  turnedRows_ = 0;
}

std::string RowSource::whyFailed(uint32_t code) const {
  return jpgtool::whyFailed(reader_.handle(), {input_, frame_, intervals_, code});
}

}  // namespace jpgtool
