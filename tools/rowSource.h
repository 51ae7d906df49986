// Rows of a JPEG file of any coding process, from the top.
#ifndef JPGTOOL_ROWSOURCE_H
#define JPGTOOL_ROWSOURCE_H

#include <cstdint>
#include <string>
#include <vector>

#include "picture.h"
#include "reader.h"

namespace jpgtool {

struct ReadSettings {
  bool raw = false;                // no colour conversion
  int32_t scale = JPG_SCALE_FULL;  // a JPG_SCALE_ value
  uint64_t maxScans = 1000;        // of a progressive file
  uint64_t scans = 0;              // progressive: number of scans to decode; 0: all
  uint32_t openFlags = 0;          // of the prolog
  uint32_t firstRow = 0;           // first row to deliver, counted at the output's scale
  uint32_t endRow = UINT32_MAX;    // row behind the last one; cut to the height
  Limits limits;
};

// Refuses, with the reason, progressive files of more or fewer scans than the settings allow;
// the library itself has no limit, and a small file may have thousands. `count`
// receives the scans of a progressive file.
uint32_t checkScans(const std::string &file, const Frame &frame, const ReadSettings &settings,
                    uint64_t *count, std::string *why);

class RowSource {
 public:
  // 0, or the library's code; `why` gives the reason when the tool itself refuses the file.
  uint32_t open(const std::string &file, const ReadSettings &settings, std::string *why);

  // The format of the pixels that next() delivers; its height is the number of rows asked for.
  const PixelFormat &format() const { return format_; }

  // Scans of a progressive file.
  uint64_t scanCount() const { return scanCount_; }

  // After the last row: delivers the picture again from the top, with one scan more.
  void showNextScan() { done_ = 0; }

  // Decodes the next band; `rows` receives its rows.
  uint32_t next(uint32_t *rows);
  const uint8_t *band() const { return band_.data() + bandOffset_; }

  // The meaning of a code of next(), with the offset in the file if it can be found.
  std::string whyFailed(uint32_t code) const;

 private:
  uint32_t describe(std::string *why);
  uint32_t learnHeight(const std::string &file, std::string *why);
  uint32_t chooseRows(const std::string &file, std::string *why);
  uint32_t rowsPerInterval() const;
  bool hasAllRestarts(const std::string &file, uint32_t perInterval) const;
  void seekRow(const std::string &file);
  uint32_t readBand(uint32_t count);
  uint32_t readLossless(JpgRect *rect, int32_t lines);
  uint32_t readProgressive(JpgRect *rect, int32_t lines);

  std::string file_;
  Reader reader_;
  Frame frame_;
  ReadSettings settings_;
  PixelFormat format_;
  std::vector<uint8_t> band_;
  size_t bandOffset_ = 0;   // of the first row to deliver in the band, in bytes
  uint32_t height_ = 0;     // rows of the whole picture
  uint32_t done_ = 0;       // of these, decoded or skipped
  uint32_t intervals_ = 0;  // restart intervals skipped
  uint64_t scanCount_ = 0;
  uint64_t scansSkipped_ = 0;
  bool heightFromDnl_ = false;
};

}  // namespace jpgtool

#endif
