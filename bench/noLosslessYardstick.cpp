// For programs that compare lossy coding only: no libraries of lossless codecs.
#include "losslessYardstick.h"

namespace jpgbench {

bool decodeWithAvcodec(const Bytes & /*stream*/, Bytes * /*pixels*/) { return false; }

bool encodeWithAvcodec(const Picture & /*picture*/, int /*predictor*/, Bytes * /*stream*/) {
  return false;
}

bool encodeWithDcmtk(const Picture & /*picture*/, int /*predictor*/, Bytes * /*stream*/) {
  return false;
}

}  // namespace jpgbench
