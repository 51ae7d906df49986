// SPDX-License-Identifier: MIT
// Reading with interpolated chroma: the sequential, scaled and progressive decoders as sources of
// planes.
#ifndef JPG_READ_RSMOOTH_H
#define JPG_READ_RSMOOTH_H

#include "read/jpgRPlanes.h"
#include "read/jpgRRect.h"

namespace jpg {

// True where rows go through planes: the handle has kOptionSmooth and the frame a component that is
// subsampled. Not for handles that read pieces, where nothing may be read ahead.
bool readsSmoothly(const JpgContext &c);

// The layout in memory that the pixel writers of jpgRClr.h give; not for kNone.
PlaneOutput planeOutputOf(PixelFormat format);

// The rows of a call of the sequential or the scaled decoder, by a pipeline with its block routine:
// `lines` rows, of which those that are stored count as delivered.
Result putSmoothRows(JpgContext *c, McuPipeline *pipeline, PixelFormat format, const JpgRect &rect,
                     int32_t lines);

}  // namespace jpg

#endif
