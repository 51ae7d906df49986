// Where only lossy coding is compared: without the libraries of the lossless codecs.
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
