// Picture files as the tool writes them: BMP, PGM, PPM and PAM.
#ifndef JPGTOOL_PICTURE_H
#define JPGTOOL_PICTURE_H

#include <cstdint>
#include <string>
#include <vector>

#include "files.h"

namespace jpgtool {

// Rows of interleaved samples: bytes for values up to 255, 16-bit words above.
struct PixelFormat {
  uint32_t width = 0;
  uint32_t height = 0;
  uint32_t channels = 0;  // 1 to 4
  uint32_t maxValue = 255;
  bool blueFirst = false;  // three channels: blue, green, red
};

inline uint32_t sampleBytes(const PixelFormat &format) { return format.maxValue > 255 ? 2 : 1; }
inline size_t rowBytes(const PixelFormat &format) {
  return size_t{format.width} * format.channels * sampleBytes(format);
}

enum class FileKind { kBmp, kPgm, kPpm, kPam };

// The kind of file by its name ("-": PGM, PPM or PAM by the channels). False, with the
// reason, when it can't hold the pixels.
bool chooseKind(const std::string &name, const PixelFormat &format, FileKind *kind,
                std::string *why);

// Writes rows from the top into a file, in constant memory.
class PictureWriter {
 public:
  PictureWriter(OutputFile *out, FileKind kind, const PixelFormat &format);

  bool begin();  // the header
  bool putRows(const uint8_t *rows, size_t stride, uint32_t count);

 private:
  bool beginBmp();
  bool beginNetpbm();
  void convertRow(const uint8_t *row);
  bool putRow(const uint8_t *row);

  OutputFile *out_;
  FileKind kind_;
  PixelFormat format_;
  std::vector<uint8_t> line_;  // a row as the file has it
  uint64_t pixelOffset_ = 0;   // of a BMP's rows
  uint32_t next_ = 0;          // next row from the top
};

}  // namespace jpgtool

#endif
