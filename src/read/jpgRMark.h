// Markers among the entropy-coded data: the handler that the decoders run where a
// restart interval ends.
#ifndef JPG_READ_RMARK_H
#define JPG_READ_RMARK_H

#include "share/jpgShare.h"

namespace jpg {

// Consumes the markers at the stream's place: RSTn restarts the predictions, DNL
// supplies the height, EOI is left standing and noted in lastMarker, anything else
// sets up the next scan. Without a marker there nothing happens. Errors of DNL and
// of the scan set-up don't stop the decoding: the handler just ends.
void handleMarkers(JpgContext *c);

// As handleMarkers behind the last MCU of a progressive scan: RSTn only, since the
// header of the next scan belongs to the scan loop.
void handleRestartsOnly(JpgContext *c);

}  // namespace jpg

#endif
