// SPDX-License-Identifier: MIT
#include "goldenCases.h"

#include <cstring>

#include "suite.h"

namespace golden {
namespace {

using Path = std::basic_string<JpgWChar>;

#if defined(_WIN32)
constexpr JpgWChar kPlainName[] = L"golden.jpg";
constexpr JpgWChar kWideName[] = L"g\u00F6ld\u00E9n \u4E2D\u6587 \U0001F5BC.jpg";
constexpr JpgWChar kMissingName[] = L"golden missing.jpg";
#else
constexpr JpgWChar kPlainName[] = u"golden.jpg";
constexpr JpgWChar kWideName[] = u"g\u00F6ld\u00E9n \u4E2D\u6587 \U0001F5BC.jpg";
constexpr JpgWChar kMissingName[] = u"golden missing.jpg";
#endif

// Bytes of a stream carried into a file by the library: inside an APP segment, whose data begin
// 6 bytes behind the start. It is then read from there.
constexpr int32_t kCarried = 6;

Stream carry(Suite &suite, Digest &digest, const Stream &stream, const Path &path) {
  uint8_t pixel = 0;
  JPGHANDLE h = nullptr;
  suite.result(digest, jpgWritePrologToFile(path.c_str(), 0, &h));
  const auto size = static_cast<uint32_t>(stream.bytes.size());
  suite.result(digest, jpgWriteWriteMarkerSegment(h, 0xFFE9, stream.bytes.data(), size));
  JpgRect rect = {};
  rect.width = rect.height = rect.stride = rect.channels = 1;
  rect.bitsPerPixel = rect.bitsPerSample = 8;
  rect.bits = &pixel;
  suite.result(digest, jpgWriteFromRect(h, &rect, 1));
  suite.result(digest, jpgWriteEpilogToFile(h));
  Stream carried = stream;
  carried.path = path;
  carried.offset = kCarried;
  carried.length = static_cast<int32_t>(size);
  return carried;
}

void runCarried(Suite &suite, const Path &path) {
  Digest sequential, scans, samples, damaged;
  readWhole(suite, sequential, carry(suite, sequential, encodeSample(suite, 3, 0x221111, 3), path));
  suite.emit("file.inside.sequential", sequential);
  const Stream progressive = carry(suite, scans, progressiveSample(3, 1), path);
  readProgressive(suite, scans, progressive, 16);
  readScanByScan(suite, scans, progressive);
  readDib(suite, scans, progressive, 24, DibWay::kProgressive, JPG_PROGRESSIVE_ALL_SCANS);
  suite.emit("file.inside.progressive", scans);
  readLossless(suite, samples, carry(suite, samples, losslessSample(suite, 12, 3, 5), path), 4);
  suite.emit("file.inside.lossless", samples);
  Stream cut = encodeSample(suite, 3, 0x221111, 3);
  cut = carry(suite, damaged, cut, path);
  cut.length = cut.length * 2 / 3;
  suite.setStrict(false);
  readWhole(suite, damaged, cut);
  suite.setStrict(true);
  suite.emit("file.inside.cut", damaged);
}

void runRefused(Suite &suite, const Path &prefix) {
  Digest digest;
  JPGHANDLE h = nullptr;
  const Path missing = prefix + kMissingName;
  digest.number(jpgReadPrologFromFile(missing.c_str(), 0, 0, 0, &h));
  const Path tooLong(300, JpgWChar('a'));
  digest.number(jpgReadPrologFromFile(tooLong.c_str(), 0, 0, 0, &h));
  digest.number(jpgWritePrologToFile(tooLong.c_str(), 0, &h));
  const Path plain = prefix + kPlainName;
  digest.number(jpgReadPrologFromFile(plain.c_str(), -1, 0, 0, &h));
  digest.number(jpgReadPrologFromFile(plain.c_str(), 0, 0x7FFFFFFF, 0, &h));
  digest.number(jpgReadPrologFromFile(plain.c_str(), 1, 0, JPG_READ_COMPLETE, &h));
  const Stream plainStream = encodeSample(suite, 3, 0x221111, 0);
  Digest unused;
  carry(suite, unused, plainStream, plain);
  for (const int32_t length : {100, 300, 0}) {  // the end marker lies behind the first two
    digest.number(jpgReadPrologFromFile(plain.c_str(), 0, length, 0, &h));
    digest.number(jpgReadEpilog(h));
  }
  suite.emit("file.refused", digest);
}

}  // namespace
}  // namespace golden

using namespace golden;

int runGolden(GoldenLine line, void *user) {
  Suite suite(line, user);
  runEncode(suite);
  runBuilt(suite);
  runLossless(suite);
  runProgressive(suite);
  runDibRead(suite);
  runDibWrite(suite);
  runExif(suite);
  runAccess(suite);
  runEdges(suite);
  runDamage(suite);
  return suite.failures();
}

int runGoldenFiles(const JpgWChar *prefix, GoldenLine line, void *user) {
  Suite suite(line, user);
  runEncodeFiles(suite, Path(prefix) + kPlainName);
  runCarried(suite, Path(prefix) + kWideName);
  runRefused(suite, prefix);
  return suite.failures();
}
