// SPDX-License-Identifier: MIT
// What the golden cases share: digests, pictures by rule, streams and the ways to read them.
#ifndef JPG_TESTS_WHOLE_GOLDEN_SUITE_H
#define JPG_TESTS_WHOLE_GOLDEN_SUITE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "goldenCases.h"
#include "support/bytes.h"

namespace golden {

using jpgtest::Bytes;

// FNV-1a with 64 bits. Numbers go in low byte first, on every target.
class Digest {
 public:
  void byte(uint32_t value);
  void number(uint32_t value);
  void bytes(const void *data, size_t size);
  void bytes(const Bytes &data) { bytes(data.data(), data.size()); }
  uint64_t value() const { return state_; }

 private:
  uint64_t state_ = 0xCBF29CE484222325U;
};

// Collects lines and counts failures.
class Suite {
 public:
  Suite(GoldenLine line, void *user) : line_(line), user_(user) {}

  void emit(const std::string &name, const Digest &digest);
  // Folds a result code in. While the suite is strict, all but JPG_OK is a failure.
  void result(Digest &digest, uint32_t code);
  // Counts a failure unless `good`.
  void require(bool good) { failures_ += good ? 0 : 1; }
  // Damaged streams may give any code.
  void setStrict(bool strict) { strict_ = strict; }
  bool isStrict() const { return strict_; }
  int failures() const { return failures_; }

 private:
  GoldenLine line_;
  void *user_;
  bool strict_ = true;
  int failures_ = 0;
};

// Numbers by rule: a linear congruence modulo 2^32.
class Rule {
 public:
  explicit Rule(uint32_t seed) : state_(seed * 2654435761U + 1) {}
  uint32_t next() {
    state_ = state_ * 1664525U + 1013904223U;
    return state_ >> 8;
  }
  // low..high, both included; their distance stays below 2^24.
  int32_t between(int32_t low, int32_t high) {
    return low + static_cast<int32_t>(next() % static_cast<uint32_t>(high - low + 1));
  }

 private:
  uint32_t state_;
};

// Pixels by rule: gradients, edges and some noise, 0 to 255.
Bytes makePixels(int32_t width, int32_t height, int32_t channels, uint32_t seed);

// A JPEG stream, in memory or in a file, and what a reader knows of it beforehand.
struct Stream {
  Bytes bytes;
  int32_t width = 0;
  int32_t height = 0;
  int32_t components = 1;
  std::basic_string<JpgWChar> path;  // of the file; empty: memory
  int32_t offset = 0;                // in the file
  int32_t length = 0;                // in the file, 0 = all

  uint32_t open(uint32_t flags, JPGHANDLE *handle) const;
};

// An open read handle, its result and what the getters tell folded in.
class Opened {
 public:
  Opened(Suite &suite, Digest &digest, const Stream &stream, uint32_t flags = 0);
  Opened(const Opened &) = delete;
  Opened &operator=(const Opened &) = delete;
  ~Opened();
  // False when the stream was refused, or damage has made it another picture, for which the
  // buffers have no room.
  bool isReadable() const { return readable_; }
  JPGHANDLE handle() const { return handle_; }

 private:
  bool matches(const Stream &stream) const;

  Suite &suite_;
  Digest &digest_;
  JPGHANDLE handle_ = nullptr;
  uint32_t width_ = 0, height_ = 0, components_ = 0;
  bool readable_ = false;
};

// A pixel buffer with guard bytes around its rows; room for 8 bytes a pixel.
class Plane {
 public:
  Plane(int32_t width, int32_t rows, bool bottomUp = false);
  JpgRect rect(int32_t firstRow, int32_t pixelBytes);
  void fold(Digest &digest) const { digest.bytes(memory_); }
  const uint8_t *row(int32_t y) const { return memory_.data() + offset(y); }

 private:
  size_t offset(int32_t row) const;

  int32_t width_, rows_, pitch_;
  bool bottomUp_;
  Bytes memory_;
};

// Bytes a pixel of converted output.
int32_t pixelBytesOf(const Stream &stream);

// The ways to read a sequential stream; each opens it anew.
void readWhole(Suite &suite, Digest &digest, const Stream &stream, bool bottomUp = false);
void readBands(Suite &suite, Digest &digest, const Stream &stream, int32_t lines);
void readRaw(Suite &suite, Digest &digest, const Stream &stream);
// `lines` counts full-size rows a call; 0: all at once.
void readScaled(Suite &suite, Digest &digest, const Stream &stream, int32_t scale, int32_t lines);
// The ways to read a progressive stream: all scans, by bands; scan by scan.
void readProgressive(Suite &suite, Digest &digest, const Stream &stream, int32_t lines);
void readScanByScan(Suite &suite, Digest &digest, const Stream &stream);
// A lossless stream by bands, 0: at once. The samples as they lie, words folded low byte first.
void readLossless(Suite &suite, Digest &digest, const Stream &stream, int32_t lines);
// The bitmap of a stream at a depth: its description and its pixels. The entries that the
// palette takes from the screen are left out.
enum class DibWay { kSequential, kProgressive, kScaled };
void readDib(Suite &suite, Digest &digest, const Stream &stream, uint16_t depth, DibWay way,
             int32_t argument);

// Two lines for all ways to read a sequential stream: at full size, and scaled.
void emitReads(Suite &suite, const std::string &name, const Stream &stream);

// Streams that other groups use too.
Stream encodeSample(Suite &suite, int32_t channels, uint32_t sampling, int32_t restart);
Stream losslessSample(Suite &suite, int32_t precision, int32_t channels, int32_t predictor);
Stream progressiveSample(int32_t components, int32_t script);
Stream noHeightSample(Suite &suite);
Stream newTablesSample();  // progressive, its tables told again ahead of every scan

// What an epilog has handed over, released.
Bytes takeBlock(Suite &suite, void *data, uint32_t size);

// The groups of cases.
void runEncode(Suite &suite);
void runEncodeFiles(Suite &suite, const std::basic_string<JpgWChar> &path);
void runBuilt(Suite &suite);
void runLossless(Suite &suite);
void runProgressive(Suite &suite);
void runDibRead(Suite &suite);
void runDibWrite(Suite &suite);
void runExif(Suite &suite);
void runAccess(Suite &suite);
void runEdges(Suite &suite);
void runDamage(Suite &suite);

}  // namespace golden

#endif  // JPG_TESTS_WHOLE_GOLDEN_SUITE_H
