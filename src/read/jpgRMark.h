// Markers among the entropy-coded data: the handler that the decoders run where a
// restart interval ends.
#ifndef JPG_READ_RMARK_H
#define JPG_READ_RMARK_H

#include "read/jpgRFastBits.h"
#include "share/jpgShare.h"

namespace jpg {

// Consumes the markers at the stream's place: RSTn restarts the predictions, DNL
// supplies the height, EOI is left standing and noted in lastMarker, anything else
// sets up the next scan. Without a marker there nothing happens. Errors of DNL and
// of the scan set-up don't stop the decoding: the handler just ends.
void handleMarkers(JpgContext *c);

// Deals with the markers where a restart interval or a scan ends.
void endInterval(JpgContext *c, BitWindow *w, bool endsScan);

// Counts an MCU. Where a restart interval ends with it the marker handler runs, and behind the
// last MCU of a scan without intervals the marker is looked at. endsScan: behind it comes the next
// scan of a progressive picture, whose header belongs to the scan loop.
inline void countMcu(JpgContext *c, BitWindow *w, bool endsScan) {
  c->mcusSinceRestart++;
  if (c->mcusSinceRestart != c->restartInterval && c->mcusSinceRestart != c->mcuCount) return;
  endInterval(c, w, endsScan);
}

}  // namespace jpg

#endif
