// SPDX-License-Identifier: MIT
// Rows of a JPEG file of any coding process, from the top.
#ifndef JPGTOOL_ROWSOURCE_H
#define JPGTOOL_ROWSOURCE_H

#include <cstdint>
#include <string>
#include <vector>

#include "options.h"
#include "picture.h"
#include "reader.h"
#include "turn.h"

namespace jpgtool {

struct ReadSettings {
  bool raw = false;                // no colour conversion
  bool orient = false;             // turned as Exif says; not with firstRow and endRow
  bool keepGoing = false;          // rows missing from a damaged file are grey
  bool keepNothing = false;        // with keepGoing: even when all are missing
  int32_t scale = JPG_SCALE_FULL;  // a JPG_SCALE_ value
  uint64_t maxScans = 1000;        // of a progressive file
  uint64_t scans = 0;              // progressive: number of scans to decode; 0: all
  uint32_t openFlags = 0;          // of the prolog
  uint32_t firstRow = 0;           // first row to deliver, counted at the output's scale
  uint32_t endRow = UINT32_MAX;    // row behind the last one; cut to the height
  Limits limits;
};

// Takes the flags from the options --strict and --no-eoi. Without --strict the library opens and
// delivers whatever it can, and rows that it can't deliver become grey.
void takeReadOptions(const Options &options, ReadSettings *settings);

// Refuses, with the reason, progressive files of more or fewer scans than the settings allow;
// the library itself has no limit, and a small file may have thousands. `count`
// receives the scans of a progressive file.
uint32_t checkScans(const Input &input, const Frame &frame, const ReadSettings &settings,
                    uint64_t *count, std::string *why);

class RowSource {
 public:
  // 0, or the library's code; `why` gives the reason when the tool itself refuses the file. The
  // input must outlive the source.
  uint32_t open(const Input &input, const ReadSettings &settings, std::string *why);

  // The format of the pixels that next() delivers; its height is the number of rows asked for.
  const PixelFormat &format() const { return format_; }

  // Scans of a progressive file.
  uint64_t scanCount() const { return scanCount_; }

  // After the last row: delivers the picture again from the top, with one scan more.
  void showNextScan();

  // Decodes the next band; `rows` receives its rows.
  uint32_t next(uint32_t *rows);
  const uint8_t *band() const { return deliver_; }

  // The code of damage that was met and passed over, else JPG_OK.
  uint32_t damage() const { return damage_; }

  // The meaning of a code of next() or damage(), with the offset in the file if it can be found.
  std::string whyFailed(uint32_t code) const;

 private:
  uint32_t describe();
  uint32_t learnHeight(std::string *why);
  uint32_t chooseScale();
  uint32_t chooseRows(std::string *why);
  uint32_t prepareTurn(std::string *why);
  uint32_t rowsPerInterval() const;
  bool hasAllRestarts(uint32_t perInterval) const;
  void seekRow();
  uint32_t nextBand(uint32_t *rows);
  uint32_t turnAll();
  uint32_t readBand(uint32_t count);
  uint32_t readReduced(uint32_t count);
  uint32_t readRows(uint8_t *to, uint32_t count);
  uint32_t readLossless(JpgRect *rect, int32_t lines);
  uint32_t readProgressive(JpgRect *rect, int32_t lines);
  bool passOver(uint32_t code);

  const Input *input_ = nullptr;
  Reader reader_;
  Frame frame_;
  ReadSettings settings_;
  PixelFormat coded_;       // of the rows that the library delivers
  PixelFormat format_;      // of those that go out
  uint32_t reduction_ = 1;  // output pixels are means of so many squared, where the library can't
                            // scale
  std::vector<uint8_t> band_;
  std::vector<uint8_t> wide_;    // a band ahead of its reduction
  std::vector<uint8_t> turned_;  // the whole picture
  Turn turn_;
  const uint8_t *deliver_ = nullptr;
  uint32_t turnedRows_ = 0;  // of the turned picture, delivered
  uint32_t height_ = 0;      // rows of the whole picture, at the output's scale
  uint32_t done_ = 0;        // of these, decoded or skipped
  uint32_t codedDone_ = 0;   // rows of the library's
  uint32_t intervals_ = 0;   // restart intervals skipped
  uint32_t damage_ = JPG_OK;
  bool broken_ = false;  // the rest is grey
  uint64_t scanCount_ = 0;
  uint64_t scansSkipped_ = 0;
  bool heightFromDnl_ = false;
};

}  // namespace jpgtool

#endif
