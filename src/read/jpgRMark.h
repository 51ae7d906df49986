// SPDX-License-Identifier: MIT
// Markers among the entropy-coded data: the handler that the decoders run where a
// restart interval ends.
#ifndef JPG_READ_RMARK_H
#define JPG_READ_RMARK_H

#include "read/jpgRFastBits.h"
#include "share/jpgShare.h"

namespace jpg {

// Handles the markers at the stream's position: RSTn resets the DC predictors, DNL supplies
// the height, EOI is recorded in lastMarker but not consumed, and any other marker sets up
// the next scan. Does nothing if there is no marker. Errors of DNL and of the scan set-up
// end the handler but don't stop decoding.
void handleMarkers(JpgContext *c);

// Handles the markers at the end of a restart interval or of a scan.
void endInterval(JpgContext *c, BitWindow *w, bool endsScan);

// Counts an MCU. At the end of a restart interval the marker handler runs; after the last MCU of a
// scan without intervals, the marker is only peeked into lastMarker. endsScan: this MCU ends a scan
// of a progressive picture, and the next scan header is left to the scan loop.
inline void countMcu(JpgContext *c, BitWindow *w, bool endsScan) {
  c->mcusSinceRestart++;
  if (c->mcusSinceRestart != c->restartInterval && c->mcusSinceRestart != c->mcuCount) return;
  endInterval(c, w, endsScan);
}

}  // namespace jpg

#endif
