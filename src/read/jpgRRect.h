// Steps of the sequential decode driver that other drivers share.
#ifndef JPG_READ_RRECT_H
#define JPG_READ_RRECT_H

#include "share/jpgShare.h"

namespace jpg {

// Before the first rows: when the caller has used marker access since the prolog,
// goes back to the start of the scan data. 0 or JPG_E_SEEK.
Result returnToScanData(JpgContext *c);

// Counts an MCU; runs the marker handler where a restart interval ends, and looks
// for the marker behind the last MCU of a scan without intervals.
void countMcu(JpgContext *c);

}  // namespace jpg

#endif
