// SPDX-License-Identifier: MIT
// The record behind every handle, its creation, validation and destruction.
//
// A read handle and a write handle are the same record; its stream's mode tells
// them apart. All state of the codec lives here, so there are no globals.
#ifndef JPG_SHARE_SHARE_H
#define JPG_SHARE_SHARE_H

#include <stddef.h>
#include <stdint.h>

#include "jpg.h"
#include "share/jpgHuff.h"
#include "share/jpgQuant.h"
#include "share/jpgStream.h"
#include "share/jpgTables.h"

namespace jpg {

using Result = uint32_t;

struct Kernels;  // kernels/jpgKernels.h
struct Planes;   // read/jpgRPlanes.h

constexpr uint32_t kContextSignature = 0x4A504547;  // 'JPEG'
constexpr uint32_t kContextSize = 7372;             // the record's size on a 32-bit target

constexpr uint32_t kMaxComponents = 4;
constexpr uint32_t kMaxTables = 4;  // per kind: quantisation, DC, AC
constexpr uint32_t kMaxPendingTables = 8;
constexpr uint32_t kNoPending = 0xFFFFFFFF;  // ends pendingHuffIds

// JpgContext::flags bits.
constexpr uint32_t kFlagNoColorConversion = 0x80000000;  // components as decoded
constexpr uint32_t kFlagMarkerAccessUsed = 0x40000000;   // the stream may have been moved
constexpr uint32_t kFlagMemorySource = 0x20000000;
constexpr uint32_t kFlagPrologParsed = 0x10000000;       // set at every prolog parse
constexpr uint32_t kFlagWriterOpen = 0x08000000;         // set by every write prolog
constexpr uint32_t kFlagPositioned = 0x04000000;         // at a scan's or interval's start
constexpr uint32_t kFlagHeadersWritten = 0x02000000;     // before the first encode call
constexpr uint32_t kFlagIncrementalActive = 0x01000000;  // progressive: pass begun scan by scan
constexpr uint32_t kFlagJfifSeen = 0x00800000;
constexpr uint32_t kFlagAdobeSeen = 0x00400000;
constexpr uint32_t kFlagYcbcrToRgb = 0x00200000;        // three components, YCbCr
constexpr uint32_t kFlagPartialBitstream = 0x00000002;  // data may come in pieces

// JpgContext::options bits, asked for by a prolog's flags. Reading:
constexpr uint32_t kOptionAccurate = JPG_READ_ACCURATE & 0xFF00;
constexpr uint32_t kOptionSmooth = JPG_READ_SMOOTH & 0xFF00;
constexpr uint32_t kOptionLenient = JPG_READ_LENIENT & 0xFF00;
// Writing:
constexpr uint32_t kOptionAverage = JPG_WRITE_AVERAGE & 0xFF00;
constexpr uint32_t kOptionOptimize = JPG_WRITE_OPTIMIZE & 0xFF00;
constexpr uint32_t kOptionProgressive = JPG_WRITE_PROGRESSIVE & 0xFF00;

constexpr uint32_t kOptionsMark = 0x4A500000;

// The options in a prolog's flags; none where the mark in the upper half is missing, so that
// stray bits ask for nothing.
constexpr uint32_t optionsOf(uint32_t flags) {
  return (flags & 0xFFFF0000) == kOptionsMark ? flags & 0xFF00 : 0;
}

// JpgContext::scanState: the scale code of the reading under way.
constexpr uint32_t kScanStateNone = 0xFFFFFFFF;  // nothing decoded yet
constexpr uint32_t kScaleFull = 3;

}  // namespace jpg

// A component of the frame and, in the same slot, of the scan: slot i holds the
// identifier, sampling, Tq, quantisation table and DC predictor of frame
// component i, and the tables and block count of scan component i.
struct JpgScanComponent {
  JpgHuffLookup *dcLookup;  // null: the scan's DC table was never defined
  JpgHuffCode *dcCodes;
  JpgHuffLookup *acLookup;  // null: the scan's AC table was never defined
  JpgHuffCode *acCodes;
  uint32_t blocksPerMcu;  // H x V of the scan component
  uint32_t dcMaxLength;   // bits
  uint32_t acMaxLength;   // bits
  int32_t dcPredictor;
  uint32_t *quantTable;  // 64 entries in zig-zag order
  uint8_t id;            // Ci
  uint8_t sampling;      // H << 4 | V
  uint8_t tq;            // quantisation table selector
  uint8_t spareByte;
  uint32_t spareWord;
};

struct JpgContext;

namespace jpg {

// Decodes one block of a progressive scan.
using BlockDecoder = Result (*)(JpgContext *c, int16_t *block, JpgScanComponent *component);

// What a progressive scan codes; blockDecoder goes with it.
enum class ScanKind : uint32_t { kDcFirst, kDcRefine, kAcFirst, kAcRefine };

struct LenientRead;  // read/jpgRLenient.h

// State of the reader that has no place of its own elsewhere in the record.
struct ReadState {
  // Tables replaced by a DHT segment while the current scan still uses them;
  // freed once a scan set-up has succeeded. DC tables first, then AC.
  JpgHuffTable retired[2 * kMaxTables];
  uint32_t scanHoldsFrame;  // 1: the scan holds all components of the frame
  ScanKind scanKind;
  uint32_t band[2];     // a progressive scan's zig-zag positions: bit k for position k, then 32 + k
  uint32_t scanSetUps;  // scans set up so far, counting the prolog's
  uint32_t restartSought;  // 1: a restart seek has moved the stream
  uint32_t inPiece;        // 1: the stream is a piece behind the one with the headers
  LenientRead *lenient;    // of a handle that reads leniently; owned
  // The store of a progressive picture (read/jpgRCoefs.h).
  int16_t **storePieces;  // pieces behind the first one; owned, and so are they
  uint32_t rowsPerPiece;  // MCU rows of a piece
  uint32_t storeCleared;  // MCU rows that have been cleared
};

// Values of a picture that is written only when all of it is known: levels of DCT blocks, or
// differences of a lossless picture. They lie in pieces of the heap (write/jpgWStore.h).
struct ValueStore {
  int16_t **pieces;  // list of the pieces; owned, and so are they
  uint32_t count;    // pieces
  uint32_t room;     // pieces that the list has room for
  size_t used;       // values
};

// State of the writer that has no place of its own elsewhere in the record.
struct WriteState {
  uint32_t outputFailed;  // 0, or 2 once the sink has taken too few bytes
  uint32_t predictor;     // lossless predictor, 1 to 7
  // The picture under way as its headers describe it; later setter calls have no effect on it.
  uint32_t frameOut;         // 1 once the headers have gone out, or the picture is being held
  uint32_t frameWidth;       // pixels
  uint32_t frameHeight;      // pixels, 0 = given by DNL
  uint32_t frameComponents;  // 1 to 4
  uint32_t frameRestart;     // MCUs (lossless: pixels) between restart markers, 0 = none
  uint32_t frameRaw;         // 1: no colour conversion
  QuantReciprocals reciprocals[2];
  ValueStore store;  // of a picture that is held until the epilog
};

// With 32-bit words; pointers of 64 bits take more.
constexpr size_t kCodecStateSize = sizeof(void *) == 4 ? 1100 : 1200;

}  // namespace jpg

// Field order is fixed; on 32-bit targets the record has exactly kContextSize
// bytes (checked in jpgShare.cpp). "words" are 32 bits.
struct JpgContext {
  uint32_t signature;           // kContextSignature
  uint32_t recordSize;          // kContextSize on every target
  uint8_t creation[4];          // 4, 0, 0, 'b'
  uint32_t lastMarker;          // marker met last between MCUs or scans; 0xFFD9 ends the image
  uint32_t sofMarker;           // 0xFFC0 to 0xFFC3
  uint32_t restartInterval;     // MCUs (lossless: pixels), 0 = none
  uint32_t samplingPacked;      // sampling bytes, first component highest
  uint32_t flags;               // kFlag bits
  uint32_t restartCounter;      // writer: number of the next RSTn, 0 to 7
  uint32_t rowPosition;         // pixel rows delivered or encoded; MCU rows after a restart seek
  uint32_t segLength;           // data bytes of the current marker segment
  uint32_t segConsumed;         // of these, bytes taken or written
  uint32_t height;              // pixels, 0 = unknown until DNL
  uint32_t width;               // pixels
  uint32_t precision;           // bits
  uint32_t numComponents;       // 1 to 4
  uint32_t quality;             // writer: 1 to 100
  uint32_t scanState;           // scale code of the reading under way, kScanStateNone before
  uint16_t *losslessRowBuffer;  // last row of a lossless image; owned
  uint32_t scanDataOffset;      // stream offset of the first scan's entropy-coded data
  jpg::ReadState read;
  jpg::WriteState write;
  const jpg::Kernels *kernels;  // for this processor
  uint32_t options;             // kOption bits, as the prolog was asked
  jpg::Planes *planes;          // where rows go through planes; owned
  uint8_t codecReserve[jpg::kCodecStateSize - sizeof(jpg::ReadState) - sizeof(jpg::WriteState) -
                       2 * sizeof(void *) - sizeof(uint32_t)];
  JpgHuffTable dcTables[jpg::kMaxTables];
  JpgHuffTable acTables[jpg::kMaxTables];
  uint32_t quantTables[jpg::kMaxTables][jpg::kBlockSize];  // zig-zag order
  uint32_t pendingHuffIds[jpg::kMaxPendingTables];         // Tc/Th of tables without a lookup array
  uint32_t pendingHuffCount;
  uint32_t mcuCount;  // mcusPerRow x mcuRows
  uint32_t hMax;      // largest sampling factors, 1 or 2
  uint32_t vMax;
  uint32_t hvMax;  // hMax x vMax: blocks of a full-resolution component in an MCU
  uint32_t hvMaxTimesNf;
  uint32_t blocksPerMcu;     // of all components
  uint32_t lumaBlockSlots;   // 4 x hvMax: slots of blockMapA and of the scratch blocks
  uint32_t mcuWidth;         // pixels
  uint32_t mcuHeight;        // pixels
  uint32_t scanBlockOffset;  // blocks of an MCU ahead of the scan's first component
  uint32_t mcusPerRow;
  uint32_t mcuRows;
  uint32_t eobRun;                 // blocks left in a progressive end-of-band run
  int16_t *coefBuffer;             // blocks of one MCU, scratch blocks, progressive store; owned
  int16_t *coefCurrent;            // progressive: reading position in the store
  int16_t *coefStore;              // progressive: start of the store
  int16_t *scratchBlocks;          // lumaBlockSlots blocks for replicated components
  int16_t **blockMapA;             // per component, its hvMax blocks at full resolution; owned
  uint32_t *blockMapB;             // per 8x8 cell of the MCU, indices into blockMapA; owned
  jpg::BlockDecoder blockDecoder;  // of the current progressive scan
  JpgScanComponent scanComponents[jpg::kMaxComponents];
  uint32_t mcusSinceRestart;  // MCUs (lossless: pixels) since the scan's start or last RSTn
  JpgStream stream;
  uint16_t jfifXDensity;
  uint16_t jfifYDensity;
  uint8_t jfifUnits;       // 0 aspect ratio, 1 dots per inch, 2 dots per centimetre
  uint8_t adobeTransform;  // 0 none, 1 YCbCr, 2 YCCK
  uint8_t scanNs;          // components of the current scan
  uint8_t scanFirstComponentId;
  uint8_t Ss;  // spectral selection; lossless: predictor
  uint8_t Se;
  uint8_t Ah;  // successive approximation
  uint8_t Al;  // lossless: point transform
};

namespace jpg {

// A zeroed record with signature, size, kernels and, where given, the file name (which
// must fit: fileNameFits). Null when the heap has no room.
JpgContext *createContext(const JpgWChar *fileName, const Kernels *kernels);

// True when the name and its terminator fit the stream's field.
bool fileNameFits(const JpgWChar *fileName);

// Frees the Huffman tables, closes the stream, wipes the signature and frees the
// record. 0, or JPG_E_FAIL when the stream can't be closed or the record can't be freed: what
// was written may then not have reached the file.
Result destroyContext(JpgContext *c);

// The record behind a handle, or null for anything that isn't one.
JpgContext *validContext(JPGHANDLE handle);

// As validContext, and null for a handle of the other kind.
JpgContext *validReader(JPGHANDLE handle);
JpgContext *validWriter(JPGHANDLE handle);

}  // namespace jpg

#endif
