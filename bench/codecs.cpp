// SPDX-License-Identifier: MIT
// The list of codecs; the build defines JPG_BENCH_... for those it has besides the library and
// Debian's libjpeg.
#include "codec.h"

namespace jpgbench {

const Codec *oursCodec();
const Codec *libjpegCodec();

#ifdef JPG_BENCH_BASE
const Codec *baseCodec();
#else
static const Codec *baseCodec() { return nullptr; }
#endif
#ifdef JPG_BENCH_NEW_LIBJPEG
const Codec *newLibjpegCodec();
#else
static const Codec *newLibjpegCodec() { return nullptr; }
#endif
#ifdef JPG_BENCH_LOSSLESS
const Codec *avcodecCodec();
const Codec *dcmtkCodec();
#else
static const Codec *avcodecCodec() { return nullptr; }
static const Codec *dcmtkCodec() { return nullptr; }
#endif

const Codecs &codecs() {
  static const Codecs all = {oursCodec(),       baseCodec(),    libjpegCodec(),
                             newLibjpegCodec(), avcodecCodec(), dcmtkCodec()};
  return all;
}

}  // namespace jpgbench
