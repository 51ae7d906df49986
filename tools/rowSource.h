// Rows out of a JPEG file, from the top, whatever its coding process.
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
  uint64_t scans = 0;              // progressive: the picture after so many scans; 0: all
  uint32_t openFlags = 0;          // of the prolog
  uint32_t firstRow = 0;           // of the picture as delivered, that is at its scale
  uint32_t endRow = UINT32_MAX;    // behind the last row wanted; cut to the height
  Limits limits;
};

// Refuses, with the reason, progressive files of more or fewer scans than the settings allow;
// the library decodes as many as it is given, and a small file may have thousands. `count`
// receives the scans of a progressive file.
uint32_t checkScans(const std::string &file, const Frame &frame, const ReadSettings &settings,
                    uint64_t *count, std::string *why);

class RowSource {
 public:
  // 0, or the library's code; `why` says more where the tool itself refuses the file.
  uint32_t open(const std::string &file, const ReadSettings &settings, std::string *why);

  // The pixels as next() delivers them: the rows wanted.
  const PixelFormat &format() const { return format_; }

  // Scans of a progressive file.
  uint64_t scanCount() const { return scanCount_; }

  // After the last row of a picture shown scan by scan: begins that with one more scan.
  void showNextScan() { done_ = 0; }

  // Decodes the next band; `rows` receives its rows.
  uint32_t next(uint32_t *rows);
  const uint8_t *band() const { return band_.data() + bandOffset_; }

  // What a code of next() means, and where in the file that is, as far as can be found out.
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
  size_t bandOffset_ = 0;   // of the first row wanted in it, in bytes
  uint32_t height_ = 0;     // rows of the whole picture, of which format_ has those wanted
  uint32_t done_ = 0;       // of these, decoded or passed over
  uint32_t intervals_ = 0;  // restart intervals passed over
  uint64_t scanCount_ = 0;
  uint64_t scansSkipped_ = 0;
  bool heightFromDnl_ = false;
};

}  // namespace jpgtool

#endif
