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
  Limits limits;
  uint64_t scans = 0;      // progressive: the picture after so many scans; 0: all
  uint32_t openFlags = 0;  // of the prolog
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

  // The pixels as next() delivers them.
  const PixelFormat &format() const { return format_; }

  // Scans of a progressive file.
  uint64_t scanCount() const { return scanCount_; }

  // After the last row of a picture shown scan by scan: begins that with one more scan.
  void showNextScan() { done_ = 0; }

  // Decodes the next band; `rows` receives its rows.
  uint32_t next(uint32_t *rows);
  const uint8_t *band() const { return band_.data(); }

  // What a code of next() means, and where in the file the decoder stood.
  std::string whyFailed(uint32_t code) const;

 private:
  uint32_t describe(const std::string &file, std::string *why);
  uint32_t learnHeight(const std::string &file, std::string *why);
  uint32_t readLossless(JpgRect *rect, int32_t lines);
  uint32_t readProgressive(JpgRect *rect, int32_t lines);

  Reader reader_;
  Frame frame_;
  ReadSettings settings_;
  PixelFormat format_;
  std::vector<uint8_t> band_;
  uint32_t done_ = 0;
  uint64_t scanCount_ = 0;
  uint64_t scansSkipped_ = 0;
  bool heightFromDnl_ = false;
};

}  // namespace jpgtool

#endif
