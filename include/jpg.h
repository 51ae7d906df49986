/* SPDX-License-Identifier: MIT */
/**
 * @file jpg.h
 * @brief JPEG codec library: the public interface.
 *
 * A flat C interface, usable from C and C++. Every function begins with `jpg`,
 * returns a 32-bit result code and passes results through pointer arguments.
 *
 * Everything is done through a handle. A read handle comes from
 * jpgReadPrologFromFile() or jpgReadPrologFromMemory() and is closed by
 * jpgReadEpilog(); a write handle comes from jpgWritePrologToFile() or
 * jpgWritePrologToMemory() and is closed by the epilog of the same kind:
 *
 * @code
 *   JPGHANDLE h;
 *   uint32_t width, height;
 *   uint32_t r = jpgReadPrologFromFile(path, 0, 0, 0, &h);
 *   if (r != JPG_OK) return r;
 *   r = jpgReadGetImageSize(h, &width, &height);
 *   ... allocate height rows of 3 * width bytes, describe them in `rect` ...
 *   if (r == JPG_OK) r = jpgReadToRect(h, &rect, (int32_t)height);
 *   jpgReadEpilog(h);
 * @endcode
 *
 * Rules that hold for every function:
 *
 * - **Order of checks.** The handle first, then null pointers (both
 *   #JPG_E_INVALID_HANDLE), then numbers, ranges and modes
 *   (#JPG_E_INVALID_PARAMETER), then the state of the handle
 *   (#JPG_E_UNSUPPORTED and the like), unless the function says otherwise.
 * - **Handles.** A null handle, a pointer that is not 4-byte aligned, a closed
 *   handle or a pointer to something else gives #JPG_E_INVALID_HANDLE. So does a
 *   write handle given to a function that would read, decode or seek, a read handle
 *   given to one that would write or encode, and a handle of the other side given
 *   to a setter or an epilog; none of these changes anything. Getters take both.
 * - **Memory.** The library owns everything behind a handle and frees it in the
 *   epilog. What a caller passes in (paths, data blocks, rectangles) stays the
 *   caller's; a data block must outlive the handle that reads it.
 * - **Threads.** There is no global state. Different handles may be used on
 *   different threads, one handle by one thread at a time.
 * - **Bad data** never crashes: it is refused or ends a call with a code, and
 *   the handle can always be closed.
 *
 * Terms (MCU, scan, segment, restart interval, component) are those of
 * ITU-T T.81 | ISO/IEC 10918-1.
 */
#ifndef JPG_H
#define JPG_H

#include <stdint.h>

#if defined(_WIN32)
#include <windows.h>
#endif

/** @name Version of this header and of the library built with it
 *  @{ */
#define JPG_VERSION_MAJOR 0        /**< changes with the binary interface */
#define JPG_VERSION_MINOR 2        /**< changes with what the library can do */
#define JPG_VERSION_PATCH 0        /**< changes with corrections */
#define JPG_VERSION_STRING "0.2.0" /**< the three of them */
/** @} */

#ifdef __cplusplus
extern "C" {
#endif

/** @def JPG_CALL
 *  Calling convention: cdecl wherever that means something. */
/** @def JPG_API
 *  Symbol visibility; on Windows the exports come from the .def file. */
#if defined(_WIN32)
#define JPG_CALL __cdecl
#define JPG_API
#else
#define JPG_CALL
#define JPG_API __attribute__((visibility("default")))
#endif

/* ------------------------------------------------------------------------- */
/** @name Types
 *  @{ */

/** A code unit of a UTF-16 path. Paths are zero-terminated UTF-16 everywhere. */
#if defined(_WIN32)
typedef wchar_t JpgWChar;
#elif defined(__cplusplus)
typedef char16_t JpgWChar;
#else
typedef uint16_t JpgWChar;
#endif

/** The record behind a read or write handle; its contents are private. */
typedef struct JpgContext JpgContext;
/** Handle of an open JPEG stream. */
typedef JpgContext *JPGHANDLE;

/** The record behind an Exif attribute handle; its contents are private. */
typedef struct JpgExifAttributes JpgExifAttributes;
/** Handle of the Exif attributes of a stream. */
typedef JpgExifAttributes *JPGEXIFHANDLE;

/**
 * The caller's description of a pixel buffer.
 *
 * The library trusts it: `bits` and `stride` must describe memory that holds
 * every row asked for, as wide as the *file* makes it. What a reader stores
 * follows from the file's components; it doesn't compare them with `channels`,
 * `bitsPerPixel` or `size` (the functions under "Decoding" say how many bytes
 * it takes). A function copies the descriptor on entry and never changes the
 * caller's.
 *
 * Pixels are 8-bit samples. Three-channel pixels are stored blue, green, red;
 * grey is one byte; without colour conversion the components are stored in
 * component order.
 */
typedef struct JpgRect {
  int32_t width;         /**< pixels to store per row; columns of the image beyond it are
                              decoded but not stored; 0 or less stores nothing. Scaled and
                              lossless decoding don't look at it */
  int32_t height;        /**< rows in the buffer; the readers take the row count from
                              their own argument and do not look at it; the encoders'
                              first call takes the image height from it */
  int32_t stride;        /**< bytes from a row to the next; negative for a bottom-up
                              buffer, whose `bits` is the top image row (last in memory) */
  int32_t bitsPerPixel;  /**< 8 times the bytes per pixel: 8, 16, 24 or 32; the readers look at
                              it only after jpgReadSetNoColorConversion() */
  int32_t channels;      /**< number of channels; used by the encoders, not by the readers */
  int32_t bitsPerSample; /**< 8; 2 to 16 for the lossless encoder; not used by the readers */
  void *bits;            /**< first byte of the top image row; not null */
  uint32_t size;         /**< buffer size in bytes; not read by the readers */
  uint32_t reserved;     /**< not read */
} JpgRect;

/** @} */

/* ------------------------------------------------------------------------- */
/** @name Windows bitmap structures
 *
 *  On Windows they come from the system's header. Elsewhere they are declared
 *  here with the usual names and layout, unless another header has already
 *  brought them (which is taken from its `BI_RGB`).
 *  @{ */
#if !defined(_WIN32) && !defined(BI_RGB) && !defined(_WINGDI_)

#define BI_RGB 0       /**< plain rows */
#define BI_RLE8 1      /**< run-length coded, 8 bits a pixel */
#define BI_RLE4 2      /**< run-length coded, 4 bits a pixel */
#define BI_BITFIELDS 3 /**< plain rows, masks in the colour table */

/** Header of a device-independent bitmap: 40 bytes. */
typedef struct tagBITMAPINFOHEADER {
  uint32_t biSize;         /**< 40 */
  int32_t biWidth;         /**< pixels per row */
  int32_t biHeight;        /**< rows; positive: bottom-up, negative: top-down */
  uint16_t biPlanes;       /**< 1 */
  uint16_t biBitCount;     /**< bits per pixel */
  uint32_t biCompression;  /**< #BI_RGB, #BI_RLE8, #BI_RLE4 or #BI_BITFIELDS */
  uint32_t biSizeImage;    /**< bytes of pixel data, 0 allowed for #BI_RGB */
  int32_t biXPelsPerMeter; /**< horizontal resolution */
  int32_t biYPelsPerMeter; /**< vertical resolution */
  uint32_t biClrUsed;      /**< colour table entries in use, 0 = all */
  uint32_t biClrImportant; /**< colour table entries that matter, 0 = all */
} BITMAPINFOHEADER;

/** Colour table entry of a bitmap. */
typedef struct tagRGBQUAD {
  uint8_t rgbBlue;     /**< 0-255 */
  uint8_t rgbGreen;    /**< 0-255 */
  uint8_t rgbRed;      /**< 0-255 */
  uint8_t rgbReserved; /**< 0 */
} RGBQUAD;

/** Entry of a screen palette. */
typedef struct tagPALETTEENTRY {
  uint8_t peRed;   /**< 0-255 */
  uint8_t peGreen; /**< 0-255 */
  uint8_t peBlue;  /**< 0-255 */
  uint8_t peFlags; /**< how the entry is used */
} PALETTEENTRY;

/** A bitmap header with the first entry of its colour table. */
typedef struct tagBITMAPINFO {
  BITMAPINFOHEADER bmiHeader; /**< the header */
  RGBQUAD bmiColors[1];       /**< colour table or masks; as long as the header says */
} BITMAPINFO;

#endif
/** @} */

/* ------------------------------------------------------------------------- */
/** @name Result codes
 *
 *  0 is success. Errors have the top bit set; the low half of the first group
 *  follows the platform's error numbers.
 *  @{ */
#define JPG_OK 0U                            /**< success */
#define JPG_NO_DATA 0xFFFFFFFFU              /**< nothing there to deliver */
#define JPG_E_FAIL 0x80000000U               /**< general failure; no rows remain */
#define JPG_E_INVALID_FUNCTION 0x80000001U   /**< call not possible on this handle */
#define JPG_E_OUT_OF_MEMORY 0x80000008U      /**< a heap allocation failed */
#define JPG_E_INVALID_HANDLE 0x80000009U     /**< invalid handle or null pointer */
#define JPG_E_SEEK 0x80000019U               /**< positioning the stream failed */
#define JPG_E_WRITE_FAULT 0x8000001DU        /**< output accepted too few bytes */
#define JPG_E_INVALID_PARAMETER 0x80000057U  /**< bad number, mode or range */
#define JPG_E_UNSUPPORTED 0x800000FEU        /**< valid, but not served */
#define JPG_E_NOT_JPEG 0x80000109U           /**< no SOI, no EOI, or no marker in its place */
#define JPG_E_NOT_FOUND 0x80000300U          /**< no such entry */
#define JPG_E_OPEN_FAILED 0x80000301U        /**< the file could not be opened */
#define JPG_E_END_OF_IMAGE 0x80000302U       /**< EOI met before the rows asked for */
#define JPG_E_BAD_DC_CODE 0x80001801U        /**< no such DC Huffman code */
#define JPG_E_BAD_AC_CODE 0x80001802U        /**< no such AC Huffman code */
#define JPG_E_COEF_OVERFLOW 0x80001803U      /**< a run leads past coefficient 63 */
#define JPG_E_DNL_CONFLICT 0x80001880U       /**< DNL although the height was known */
#define JPG_E_BAD_SEGMENT_LENGTH 0x80001881U /**< DRI or DNL of a wrong length */
#define JPG_E_DAMAGED 0x80001882U            /**< lenient: all rows stored, some of them guessed */
/** @} */

/* ------------------------------------------------------------------------- */
/** @name Constants
 *  @{ */
/** Prolog flag, memory only: the entropy-coded data come in pieces through
    jpgReadSetPartialBitstream(); EOI is not looked for. */
#define JPG_READ_PARTIAL_BITSTREAM 2U
/** Prolog flag: the caller knows the data to be complete; EOI is not looked for. */
#define JPG_READ_COMPLETE 4U
/** Write prolog flag, memory only: jpgWriteGetPartialBitstream() may be used. */
#define JPG_WRITE_PARTIAL_BITSTREAM 2U

/* Options of the prologs. They are joined by |, with each other and with the flags above. They
   count only where the upper half of the flags is 0x4A50, which each of them brings along. */
/** Read option: a more exact inverse transform, for pictures closer to their originals. It meets
    the limits of IEEE 1180; without it the first pass of the transform departs from the textbook.
    At full size only, since smaller scales have no such departure. */
#define JPG_READ_ACCURATE 0x4A500100U
/** Read option: subsampled components are interpolated in place of replicated, by a triangle filter
    between samples in the middle of their pixels: see jpgReadToRect(). */
#define JPG_READ_SMOOTH 0x4A500200U
/** Read option: also opens what is unusual or damaged, and delivers what there is. */
#define JPG_READ_LENIENT 0x4A500400U
/** Write option: a sample of a subsampled component is the average of the pixels that it stands
    for, in place of one of them; see "Options of a write handle". */
#define JPG_WRITE_AVERAGE 0x4A500100U
/** Write option: Huffman tables made for the picture; see "Options of a write handle". */
#define JPG_WRITE_OPTIMIZE 0x4A500200U
/** Write option: a progressive picture; see "Options of a write handle". */
#define JPG_WRITE_PROGRESSIVE 0x4A500400U

#define JPG_PROCESS_BASELINE 0x8000U    /**< SOF0, baseline DCT */
#define JPG_PROCESS_EXTENDED 0x4000U    /**< SOF1, extended sequential DCT */
#define JPG_PROCESS_PROGRESSIVE 0x2000U /**< SOF2, progressive DCT */
#define JPG_PROCESS_LOSSLESS 0x1000U    /**< SOF3, lossless */

#define JPG_SEGMENT_FIRST 0 /**< jpgReadSeekMarkerSegment(): the segment behind SOI */
#define JPG_SEGMENT_NEXT 1  /**< jpgReadSeekMarkerSegment(): the segment behind the current */
/** jpgReadSeekMarkerSegment() of a handle opened with #JPG_READ_LENIENT: tells of the first damage
    and goes nowhere. */
#define JPG_SEGMENT_DAMAGE 0x4A500002

/** Most scans that a picture opened with #JPG_READ_LENIENT may have; what follows is damage. */
#define JPG_LENIENT_MAX_SCANS 500U

#define JPG_RESTART_FROM_START 0U   /**< count intervals from the first scan's start */
#define JPG_RESTART_FROM_CURRENT 1U /**< count intervals from the current place */

#define JPG_PROGRESSIVE_ALL_SCANS 0 /**< jpgReadProgressiveToRect(): all scans, then rows */
#define JPG_PROGRESSIVE_NEXT_SCAN 1 /**< jpgReadProgressiveToRect(): one more scan, then rows */

#define JPG_SCALE_EIGHTH 0  /**< scaled output: 1/8 of the size */
#define JPG_SCALE_QUARTER 1 /**< scaled output: 1/4 of the size */
#define JPG_SCALE_HALF 2    /**< scaled output: 1/2 of the size */
#define JPG_SCALE_FULL 3    /**< scaled output: full size */
/** @} */

/* ------------------------------------------------------------------------- */
/** @name Lenient reading
 *
 *  A handle opened with #JPG_READ_LENIENT reads what other decoders read, beyond what the functions
 *  below say of handles without it:
 *
 *  - **One call for every process.** jpgReadToRect() takes sequential pictures in any scans,
 *    progressive ones (all scans are decoded by the first call) and lossless ones;
 *    jpgReadScaleOutputToRect() takes every DCT process, and the functions for bitmaps likewise.
 *    Bands may have any height and lose nothing. Marker segments may be walked between bands.
 *  - **Sampling factors** 1 to 4 of any component, in any ratio.
 *  - **Colour** as the Adobe segment and the identifiers 'R', 'G', 'B' say, in progressive pictures
 *    too. Four components are inks: with `bitsPerPixel` 32 they are stored as cyan, magenta,
 *    yellow, black (0: no ink), otherwise as blue, green, red. Of two components the first is
 *    stored, as grey. Bitmaps have one channel for up to two components, otherwise three. Lossless
 *    pictures of three components have red first; those of four need `bitsPerPixel` 32.
 *  - **Depth.** DCT samples of 12 bits are rounded to 8; where the rectangle's `bitsPerSample` is
 *    16 they are stored as 16-bit words of 0 to 4095. Lossless samples above 8 bits need
 *    `bitsPerSample` 16 in jpgReadToRect().
 *  - **Syntax.** No EOI, data behind EOI, fill bytes, stray bytes between segments, wrong lengths
 * of APPn and COM segments, tables between scans and behind them, restart markers that are missing,
 *    doubled or out of turn, a height told by DNL (it is known when the file is open; one that no
 *    DNL tells is refused with #JPG_E_UNSUPPORTED), and missing Huffman tables, which are those of
 *    T.81 Annex K.
 *  - **Damage.** Decoding goes on at the next restart marker that fits, or to the end of the data.
 *    What can't be known takes the last DC values that were decoded, grey at first; lossless rows
 *    repeat the last one. All rows asked for are stored, and from the call on that met the first
 *    damage, decode calls return #JPG_E_DAMAGED in place of #JPG_OK.
 *  - **Exif thumbnails** are found where the directory has their place, whatever it says of their
 *    compression.
 *
 *  jpgReadSeekRestartMarker() counts in MCU rows, jpgReadToRect() then goes on with the pixel rows
 *  there; rows ahead of them are decoded on the way.
 *
 *  **Costs.** Sequential pictures whose scan has all components need no more memory than otherwise.
 *  Others, progressive ones among them, need 2 bytes a coefficient from the first decode call on.
 * At most #JPG_LENIENT_MAX_SCANS scans are decoded. Handles that read pieces
 *  (#JPG_READ_PARTIAL_BITSTREAM) don't read leniently.
 *
 *  Example (examples/lenient.c, whereDamaged):
 *  @code
 *  static void whereDamaged(JPGHANDLE handle) {
 *    uint16_t what;
 *    uint32_t offset;
 *    if (jpgReadSeekMarkerSegment(handle, JPG_SEGMENT_DAMAGE, &what, &offset) == JPG_OK) {
 *      printf("damaged at byte %lu (%04X)\n", (unsigned long)offset, (unsigned)what);
 *    }
 *  }
 *  @endcode
 *  @{ */
/** @} */

/* ------------------------------------------------------------------------- */
/** @name Opening and closing a read handle
 *
 *  Example (examples/errors.c, openWhatThereIs):
 *  @code
 *  static uint32_t openWhatThereIs(const char *name, JPGHANDLE *handle) {
 *    const uint32_t r = jpgReadPrologFromUtf8(name, 0, handle);
 *    return r == JPG_E_NOT_JPEG ? jpgReadPrologFromUtf8(name, JPG_READ_COMPLETE, handle) : r;
 *  }
 *  @endcode
 *  @{ */

/**
 * Opens a JPEG file for reading and parses its headers up to the first scan.
 *
 * The stream must begin with SOI at `startOffset`. Unless #JPG_READ_COMPLETE is
 * given, an EOI marker (FF D9) must be found searching backwards. The search
 * takes its candidates p from `startOffset + length - 2` (or the file size - 2)
 * down to `startOffset + 1` and reads them at `startOffset + p`: with a start
 * offset it begins beyond the range, and an EOI in the first `startOffset` bytes
 * of the stream isn't found. Callers who read from inside a file pass
 * #JPG_READ_COMPLETE. The search only proves that an EOI exists.
 *
 * @param path        zero-terminated UTF-16 path, at most 255 units
 * @param startOffset byte in the file at which the JPEG stream begins, >= 0
 * @param length      bytes of the stream, 0 = to the end of the file, >= 0
 * @param flags       0 or #JPG_READ_COMPLETE, joined with any options; other bits are ignored.
 *                    Options hold for every reader of the handle and for the thumbnail of
 *                    its Exif attributes
 * @param handle      receives the handle; set to null first, and null on failure.
 *                    The caller closes it with jpgReadEpilog().
 *
 * @retval JPG_OK                  the handle is open, positioned at the first scan
 * @retval JPG_E_INVALID_HANDLE    `path` or `handle` is null
 * @retval JPG_E_INVALID_PARAMETER a negative offset or length, or a length above
 *                                 the file's size
 * @retval JPG_E_OUT_OF_MEMORY     a heap block couldn't be had, or a buffer that
 *                                 the frame asks for exceeds 2^31 - 1 bytes
 * @retval JPG_E_OPEN_FAILED       the file can't be opened, or the path is too long
 * @retval JPG_E_SEEK              positioning in the file failed
 * @retval JPG_E_NOT_JPEG          no SOI, no EOI, or something that is not a marker
 *                                 where one is expected (fill bytes included)
 * @retval JPG_E_UNSUPPORTED       a frame other than SOF0 to SOF3, sampling factors
 *                                 above 2 or all 0 in a frame of several components
 *                                 (a single one counts as 1 x 1 whatever its factors),
 *                                 no or more than 4 components, table selectors
 *                                 above 3, a Huffman table with more codes than its
 *                                 lengths allow or than 256, more than 8 Huffman
 *                                 tables ahead of a scan, a scan of unknown or more
 *                                 than 4 components, or a progressive scan with
 *                                 spectral or approximation values out of range
 * @retval JPG_E_BAD_SEGMENT_LENGTH a DRI segment of a wrong length
 */
JPG_API uint32_t JPG_CALL jpgReadPrologFromFile(const JpgWChar *path, int32_t startOffset,
                                                int32_t length, uint32_t flags, JPGHANDLE *handle);

/**
 * Opens a JPEG stream in memory and parses its headers up to the first scan.
 *
 * Unless #JPG_READ_COMPLETE or #JPG_READ_PARTIAL_BITSTREAM is given, an EOI
 * marker (FF D9) must be somewhere in the block.
 *
 * @param data   the stream, beginning with SOI; read where it lies, so it must
 *               outlive the handle
 * @param size   bytes at `data`, >= 1
 * @param flags  any of #JPG_READ_COMPLETE and #JPG_READ_PARTIAL_BITSTREAM, joined with any
 *               options; other bits are ignored. Options hold as for jpgReadPrologFromFile()
 * @param handle receives the handle; set to null first, and null on failure.
 *               The caller closes it with jpgReadEpilog().
 *
 * @retval JPG_OK                  the handle is open, positioned at the first scan
 * @retval JPG_E_INVALID_HANDLE    `data` or `handle` is null
 * @retval JPG_E_INVALID_PARAMETER `size` is below 1
 * @retval others                  as jpgReadPrologFromFile() says, but for the
 *                                 codes of files
 */
JPG_API uint32_t JPG_CALL jpgReadPrologFromMemory(const void *data, int32_t size, uint32_t flags,
                                                  JPGHANDLE *handle);

/**
 * Closes a read handle: frees all memory behind it and closes its file.
 *
 * @param handle read handle; it is no longer valid afterwards
 *
 * @retval JPG_OK               closed
 * @retval JPG_E_INVALID_HANDLE not an open read handle; nothing was destroyed
 * @retval JPG_E_FAIL           the file couldn't be closed, or the heap refused to take the
 *                              record back; everything else was freed
 */
JPG_API uint32_t JPG_CALL jpgReadEpilog(JPGHANDLE handle);
/** @} */

/* ------------------------------------------------------------------------- */
/** @name What the frame header says
 *
 *  The getters look only at the record: they work at any time, change nothing and
 *  return #JPG_E_INVALID_HANDLE for an invalid handle or a null pointer. They tell
 *  what a rectangle must have room for: see "Decoding".
 *
 *  Example (examples/support.c, makeRectFor):
 *  @code
 *  uint32_t makeRectFor(JPGHANDLE handle, JpgRect *rect) {
 *    uint32_t width, height, components;
 *    uint32_t r = jpgReadGetImageSize(handle, &width, &height);
 *    if (r == JPG_OK) r = jpgReadGetNumberOfChannels(handle, &components);
 *    return r == JPG_OK ? makeRect(width, height, components < 3 ? 1 : 3, rect) : r;
 *  }
 *  @endcode
 *  @{ */

/**
 * Tells the coding process of the frame.
 *
 * @param handle  an open handle
 * @param process receives one of the JPG_PROCESS_ values
 *
 * @retval JPG_OK               stored
 * @retval JPG_E_INVALID_HANDLE invalid handle or null pointer
 * @retval JPG_E_UNSUPPORTED    the frame is none of SOF0 to SOF3
 */
JPG_API uint32_t JPG_CALL jpgReadGetCodingProcess(JPGHANDLE handle, uint32_t *process);

/**
 * Tells the size of the image in pixels.
 *
 * @param handle an open handle
 * @param width  receives X of the frame header, 0 to 65535
 * @param height receives Y of the frame header, 0 to 65535; 0 means that a DNL
 *               segment behind the first scan tells it. The library learns it there
 *               only while it decodes a sequential image with restart intervals, the
 *               last of which ends with the image; in all other files it stays 0
 *
 * @retval JPG_OK               stored
 * @retval JPG_E_INVALID_HANDLE invalid handle or null pointer
 */
JPG_API uint32_t JPG_CALL jpgReadGetImageSize(JPGHANDLE handle, uint32_t *width, uint32_t *height);

/**
 * Tells the number of components of the frame.
 *
 * @param handle   an open handle
 * @param channels receives the count, 1 to 4
 *
 * @retval JPG_OK               stored
 * @retval JPG_E_INVALID_HANDLE invalid handle or null pointer
 */
JPG_API uint32_t JPG_CALL jpgReadGetNumberOfChannels(JPGHANDLE handle, uint32_t *channels);

/**
 * Tells the sample precision of the frame.
 *
 * @param handle    an open handle
 * @param precision receives P of the frame header in bits: 8 or 12 for DCT frames,
 *                  2 to 16 for lossless ones; passed on as it stands in the file.
 *                  12-bit DCT frames decode with samples clamped to 8 bits.
 *
 * @retval JPG_OK               stored
 * @retval JPG_E_INVALID_HANDLE invalid handle or null pointer
 */
JPG_API uint32_t JPG_CALL jpgReadGetSamplePrecision(JPGHANDLE handle, uint32_t *precision);

/**
 * Makes the decoders deliver the components as decoded, without colour
 * conversion: one byte per component, in component order. The rectangle's
 * `bitsPerPixel` must then be 8 times the component count. It can't be taken back.
 *
 * @param handle read handle
 *
 * @retval JPG_OK               set
 * @retval JPG_E_INVALID_HANDLE invalid handle, or a write handle
 */
JPG_API uint32_t JPG_CALL jpgReadSetNoColorConversion(JPGHANDLE handle);
/** @} */

/* ------------------------------------------------------------------------- */
/** @name Marker segments
 *
 *  A caller may walk the segments of a stream and read their data between the
 *  prolog and the first decode call; that call then goes back to the start of
 *  the scan by itself. Walking the segments between two decode calls of one
 *  picture loses the decoder's place.
 *
 *  Example (examples/segments.c, list):
 *  @code
 *  static uint32_t list(JPGHANDLE handle) {
 *    uint16_t marker;
 *    uint32_t length;
 *    uint32_t r = jpgReadSeekMarkerSegment(handle, JPG_SEGMENT_FIRST, &marker, &length);
 *    while (r == JPG_OK && marker != 0) {
 *      printf("%04X %5lu ", (unsigned)marker, (unsigned long)length);
 *      if (marker == MARKER_COM) printText(handle);
 *      printf("\n");
 *      if (marker == MARKER_SOS) break;
 *      r = jpgReadSeekMarkerSegment(handle, JPG_SEGMENT_NEXT, &marker, &length);
 *    }
 *    return r;
 *  }
 *  @endcode
 *  @{ */

/**
 * Goes to a marker segment and tells its marker and length.
 *
 * @param handle read handle
 * @param mode   #JPG_SEGMENT_FIRST: the first segment behind SOI;
 *               #JPG_SEGMENT_NEXT: skips what is unread of the current segment
 *               and goes to the one behind it; #JPG_SEGMENT_DAMAGE, for lenient
 *               reading: goes nowhere, `marker` receives the low 16 bits of the code of
 *               the first damage met so far and `length` its offset in the stream
 * @param marker receives the marker, 0xFFC0 to 0xFFFE; 0 when there is none
 * @param length receives the count of data bytes (the length field less its own
 *               two bytes); 0 for RSTn, SOI and EOI, and when there is no marker
 *
 * @retval JPG_OK                  the data can be read with jpgReadReadMarkerData(); there is
 * damage
 * @retval JPG_NO_DATA             #JPG_SEGMENT_DAMAGE: there is none so far; both receive 0
 * @retval JPG_E_INVALID_HANDLE    invalid handle or null pointer
 * @retval JPG_E_INVALID_PARAMETER unknown mode; #JPG_SEGMENT_DAMAGE without #JPG_READ_LENIENT
 * @retval JPG_E_NOT_JPEG          there is no marker, or its length field is
 *                                 below 2
 * @retval JPG_E_SEEK              going back to the start failed
 */
JPG_API uint32_t JPG_CALL jpgReadSeekMarkerSegment(JPGHANDLE handle, int32_t mode, uint16_t *marker,
                                                   uint32_t *length);

/**
 * Reads data of the current segment, from where the last call left off.
 *
 * Bytes beyond the end of a truncated stream read as 0xFF.
 *
 * @param handle read handle
 * @param buffer receives the bytes
 * @param size   room at `buffer` in bytes, not 0
 * @param count  receives the number of bytes read; may be null
 *
 * @retval JPG_OK                  at least one byte was read
 * @retval JPG_NO_DATA             the segment has no unread data; `count` is 0
 * @retval JPG_E_INVALID_HANDLE    invalid handle or null buffer
 * @retval JPG_E_INVALID_PARAMETER `size` is 0
 */
JPG_API uint32_t JPG_CALL jpgReadReadMarkerData(JPGHANDLE handle, void *buffer, uint32_t size,
                                                uint32_t *count);

/**
 * Seeking inside a segment is not supported.
 *
 * @param handle read handle
 *
 * @retval JPG_E_UNSUPPORTED    always
 * @retval JPG_E_INVALID_HANDLE invalid handle
 */
JPG_API uint32_t JPG_CALL jpgReadSeekMarkerData(JPGHANDLE handle);
/** @} */

/* ------------------------------------------------------------------------- */
/** @name Restart intervals and partial bitstreams
 *
 *  Example (examples/restart_rows.c, decodeFrom):
 *  @code
 *  static uint32_t decodeFrom(JPGHANDLE handle, int32_t interval, const JpgRect *rect) {
 *    uint32_t r = jpgReadSeekRestartMarker(handle, interval, JPG_RESTART_FROM_START);
 *    if (r == JPG_OK) r = jpgReadToRect(handle, rect, rect->height);
 *    return r;
 *  }
 *  @endcode
 *  @{ */

/**
 * Goes to the start of a restart interval, so that the next decode call begins
 * with its MCU rows.
 *
 * For DCT frames the restart interval must be a whole number of MCU rows. The
 * function counts in MCU rows while the decoders count in pixel rows: after it
 * the rows that jpgReadToRect() takes to remain are the image height less the
 * MCU rows passed, so the caller limits `lines` to the rows that it wants.
 *
 * @param handle    read handle
 * @param intervals restart intervals to pass; 0 or less passes none
 * @param mode      #JPG_RESTART_FROM_START or #JPG_RESTART_FROM_CURRENT (which
 *                  first drops the bits left of the current byte and goes back to
 *                  the count of rows at the interval's start)
 *
 * @retval JPG_OK                  positioned
 * @retval JPG_NO_DATA             the stream has no restart intervals, or a marker
 *                                 other than RSTn ended an interval
 * @retval JPG_E_INVALID_HANDLE    invalid handle
 * @retval JPG_E_UNSUPPORTED       the interval is not a whole number of MCU rows
 * @retval JPG_E_INVALID_PARAMETER unknown mode
 * @retval JPG_E_SEEK              positioning the stream failed
 */
JPG_API uint32_t JPG_CALL jpgReadSeekRestartMarker(JPGHANDLE handle, int32_t intervals,
                                                   uint32_t mode);

/**
 * Hands over the next piece of the entropy-coded data.
 *
 * Decoding goes on in the new block where the coded data left off, with the DC
 * predictions cleared; in a lossless image the next row is taken for the first of a
 * restart interval. The row count stays. What was unread of the old block is
 * dropped. An EOI that was met there ends no picture, and decoding begins in the new
 * block although marker segments were read before.
 *
 * @param handle a handle from jpgReadPrologFromMemory() with
 *               #JPG_READ_PARTIAL_BITSTREAM
 * @param data   the next piece; must outlive its use by the handle
 * @param size   bytes at `data`, not 0
 *
 * @retval JPG_OK                  the next bits come from the new block
 * @retval JPG_NO_DATA             the handle doesn't read pieces
 * @retval JPG_E_INVALID_HANDLE    invalid handle or null data
 * @retval JPG_E_INVALID_PARAMETER `size` is 0
 */
JPG_API uint32_t JPG_CALL jpgReadSetPartialBitstream(JPGHANDLE handle, const void *data,
                                                     uint32_t size);
/** @} */

/* ------------------------------------------------------------------------- */
/** @name Decoding
 *
 *  **How much a call stores follows from the file.** The readers take `bits` and `stride`
 *  from the rectangle, jpgReadToRect() and jpgReadProgressiveToRect() also `width`. They don't look
 *  at `channels`, `height`, `bitsPerSample` and `size`, and at `bitsPerPixel` only after
 *  jpgReadSetNoColorConversion(). A colour file decoded into memory for a grey picture is
 *  written beyond its end. So ask for the process, the components, the precision and the size of
 *  the file first, and describe memory that fits them:
 *
 *  | coding process         | components | colour conversion | bytes a pixel                    |
 *  |------------------------|------------|-------------------|----------------------------------|
 *  | sequential DCT         | 1 or 2     | as opened         | 1                                |
 *  | sequential DCT         | 3 or 4     | as opened         | 3                                |
 *  | sequential DCT         | n          | switched off      | n                                |
 *  | sequential DCT, scaled | 1 or 2     | as opened         | 1                                |
 *  | sequential DCT, scaled | 3 or 4     | as opened         | 3                                |
 *  | progressive DCT        | 1 or 2     | as opened         | 1                                |
 *  | progressive DCT        | 3 or 4     | as opened         | 3                                |
 *  | progressive DCT        | n          | switched off      | n                                |
 *  | lossless               | n          | has none          | n; 2 n above 8 bits of precision |
 *
 *  Scaled output is refused where conversion is switched off, and lossless samples are never
 *  converted.
 *
 *  For r rows the memory must have |`stride`| * (r - 1) + w * bytes a pixel bytes, counted from
 *  the first byte of the row that is lowest in memory; no byte behind them is written. w is the
 *  rectangle's `width` (jpgReadToRect(), jpgReadProgressiveToRect()), the whole scaled width
 *  (jpgReadScaleOutputToRect()) or the whole width of the image (jpgReadSpatialToRect()). A `width`
 *  beyond the image's gets what the last MCU of a row holds there. r is what the call asks for, cut
 *  to what is left of the image where its height is known. jpgReadSpatialToRect() may also read one
 *  row behind those, and says when.
 *
 *  jpg.hpp and the Python module compare the memory with the file before they call.
 *
 *  Example (examples/decode_bands.c, decodeBands):
 *  @code
 *  static uint32_t decodeBands(JPGHANDLE handle, Band *band, FILE *file) {
 *    uint32_t y, rows, i;
 *    for (y = 0; y < band->height; y += rows) {
 *      uint32_t r;
 *      rows = band->height - y < BAND_ROWS ? band->height - y : BAND_ROWS;
 *      r = jpgReadToRect(handle, &band->rect, (int32_t)rows);
 *      if (r != JPG_OK) return r;
 *      for (i = 0; i < rows; i++) {
 *        if (!writeRow(file, band, i)) return JPG_E_WRITE_FAULT;
 *      }
 *    }
 *    return JPG_OK;
 *  }
 *  @endcode
 *
 *  Example (examples/preview.c, preview):
 *  @code
 *  static uint32_t preview(JPGHANDLE handle, JpgRect *rect) {
 *    uint32_t width, height, components;
 *    uint32_t r = jpgReadScaleOutputGetImageSize(handle, &width, &height, JPG_SCALE_EIGHTH);
 *    if (r == JPG_OK) r = jpgReadGetNumberOfChannels(handle, &components);
 *    if (r == JPG_OK) r = makeRect(width, height, components < 3 ? 1 : 3, rect);
 *    if (r == JPG_OK) r = jpgReadScaleOutputToRect(handle, rect, rect->height, JPG_SCALE_EIGHTH);
 *    return r;
 *  }
 *  @endcode
 *
 *  Example (examples/progressive.c, grow):
 *  @code
 *  static uint32_t grow(JPGHANDLE handle, const JpgRect *rect, const char *prefix) {
 *    const int32_t rows = rect->height;
 *    int scan;
 *    for (scan = 1;; scan++) {
 *      uint32_t r = jpgReadProgressiveToRect(handle, rect, rows, JPG_PROGRESSIVE_NEXT_SCAN);
 *      if (r == JPG_NO_DATA) return JPG_OK;
 *      if (r == JPG_OK) r = show(prefix, scan, rect);
 *      if (r != JPG_OK) return r;
 *    }
 *  }
 *  @endcode
 *
 *  Example (examples/lossless.c, readFile):
 *  @code
 *  static uint32_t readFile(const char *name, const JpgRect *rect) {
 *    JPGHANDLE handle;
 *    uint32_t r = jpgReadPrologFromUtf8(name, 0, &handle);
 *    if (r != JPG_OK) return r;
 *    r = JPG_E_INVALID_PARAMETER;
 *    if (fits(handle, rect)) r = jpgReadSpatialToRect(handle, rect, rect->height);
 *    jpgReadEpilog(handle);
 *    return r;
 *  }
 *  @endcode
 *  @{ */

/**
 * Decodes the next rows of a sequential DCT image (baseline or extended).
 *
 * **Writes** |`stride`| * (rows - 1) + `width` * bytes a pixel bytes. Bytes a pixel are those of
 * the *file*: 1 for 1 or 2 components, 3 for 3 or 4; after jpgReadSetNoColorConversion() 1 for each
 * component. `channels`, `height` and `size` aren't looked at: whatever the rectangle says, a
 * colour file overruns memory that has room for grey only.
 *
 * Called once for the whole image or band by band. A call decodes whole MCU rows
 * (8 or 16 pixel rows, 8 times the largest vertical sampling factor); rows of
 * its last MCU row that it wasn't asked for are lost. So ask for multiples of 16
 * rows (which serve every sampling), except for the last band. A call with
 * `lines` 0 or less decodes one MCU row and stores nothing.
 *
 * What is stored depends on the image alone; `bitsPerPixel` is looked at only after
 * jpgReadSetNoColorConversion(), when it must be 8 times the component count:
 *
 * | components                     | bytes a pixel                              |
 * |--------------------------------|--------------------------------------------|
 * | 1 or 2                         | 1: the first component                     |
 * | 3, YCbCr                       | 3: blue, green, red                        |
 * | 3, RGB                         | 3: blue, green, red                        |
 * | 4                              | 3: the first three taken as Y, Cb, Cr      |
 * | any, without colour conversion | 1 each, in component order                 |
 *
 * Three components are taken for YCbCr when a JFIF segment was seen; else as the
 * Adobe segment says; else unless their identifiers are 'R', 'G', 'B'.
 * Subsampled components are replicated, unless the handle was opened with #JPG_READ_SMOOTH.
 *
 * **With #JPG_READ_SMOOTH** and a subsampled component
 * - a pixel takes 3/4 of the nearest sample and 1/4 of the next in a direction with two pixels to a
 *   sample, and beyond the picture's edges its last samples count;
 * - any bands give the pixels of one call: rows that a band doesn't ask for aren't lost, and
 *   `lines` of 0 or less decodes and counts nothing. The decoder runs ahead by at most one MCU row,
 *   so a caller must not move the stream between bands;
 * - damage and EOI are told by the call that wants rows of the MCU row that couldn't be decoded.
 *   None of its rows are stored; those above are, as at a lower edge. A height from a DNL segment
 *   may be known one MCU row earlier;
 * - behind jpgReadSeekRestartMarker() the rows begin as at an upper edge;
 * - the handle takes another heap block at the first call, of about two MCU rows of samples.
 *
 * Other frames, and handles opened with #JPG_READ_PARTIAL_BITSTREAM, are read as without it.
 *
 * @param handle read handle
 * @param rect   where the rows go; `width`, `stride`, `bitsPerPixel` and `bits` are
 *               used, and `bits` is where the first row of this call goes
 * @param lines  rows wanted; more than remain is cut to what remains (while the
 *               height is unknown nothing is cut)
 *
 * @retval JPG_OK               the rows are stored
 * @retval JPG_E_DAMAGED        read leniently: they are stored, some are guessed
 * @retval JPG_E_INVALID_HANDLE invalid handle, null rectangle or null `bits`
 * @retval JPG_E_UNSUPPORTED    not a sequential DCT frame; `bitsPerPixel` doesn't
 *                              fit the components; or the scan doesn't hold all
 *                              components of the frame
 * @retval JPG_E_FAIL           all rows were already delivered, also when their number was
 *                              given by a DNL segment
 * @retval JPG_E_END_OF_IMAGE   EOI came before the rows asked for
 * @retval JPG_E_SEEK           going back to the scan after marker access failed
 * @retval JPG_E_OUT_OF_MEMORY  with #JPG_READ_SMOOTH: the block couldn't be had
 * @retval JPG_E_BAD_DC_CODE, JPG_E_BAD_AC_CODE, JPG_E_COEF_OVERFLOW
 *                              damaged data; rows stored so far stay, nothing is
 *                              rolled back
 */
JPG_API uint32_t JPG_CALL jpgReadToRect(JPGHANDLE handle, const JpgRect *rect, int32_t lines);

/**
 * Decodes rows of a progressive image.
 *
 * **Writes** |`stride`| * (rows - 1) + `width` * bytes a pixel bytes, bytes a pixel by the *file's*
 * components as for jpgReadToRect(); `channels`, `height` and `size` aren't looked at.
 *
 * The first call decodes all scans into memory (width x height x components x 2
 * bytes, less for subsampled components, allocated by the prolog) and delivers the
 * first rows; further calls deliver the next ones. Rows wanted count in whole MCU rows
 * (see jpgReadToRect()): all calls but the last ask for a multiple of 16.
 *
 * With #JPG_PROGRESSIVE_NEXT_SCAN a call that begins at row 0, or after the last row,
 * decodes one more scan and delivers the image from the top, so that it can be shown
 * growing; calls in between deliver the next rows of that state. Ask for the whole
 * height in each call until the result is #JPG_NO_DATA: no scan is left.
 *
 * Only scans that were decoded are delivered: the first call after the prolog empties the store
 * and begins at the first scan, also when jpgReadSeekRestartMarker() came in between. Once scans
 * are in the store, a seek doesn't change it. Rows count as delivered when a call succeeds; one
 * that fails doesn't change their count.
 *
 * Pixels are stored as jpgReadToRect() does, except that three components are always
 * taken for YCbCr. #JPG_READ_SMOOTH has the same effect as there: any bands may be asked for, and
 * rows begin at the row count, wherever a restart seek has set it.
 *
 * @param handle read handle
 * @param rect   where the rows go, as for jpgReadToRect()
 * @param rows   rows wanted; more than remain is cut; 0 or less decodes only
 * @param mode   #JPG_PROGRESSIVE_ALL_SCANS or #JPG_PROGRESSIVE_NEXT_SCAN
 *
 * @retval JPG_OK               the rows are stored
 * @retval JPG_E_DAMAGED        read leniently: they are stored, some are guessed
 * @retval JPG_NO_DATA          no scan is left, no marker stands behind a scan, or a
 *                              refinement code is invalid
 * @retval JPG_E_INVALID_HANDLE invalid handle, null rectangle or null `bits`
 * @retval JPG_E_UNSUPPORTED    not a progressive frame; `bitsPerPixel` doesn't fit the
 *                              components; or a scan header that the prolog would refuse
 * @retval JPG_E_FAIL           all rows were delivered and no pass was incremental
 * @retval JPG_E_NOT_JPEG, JPG_E_OUT_OF_MEMORY, JPG_E_BAD_SEGMENT_LENGTH, JPG_E_SEEK
 *                              from the headers between scans, as the prolog gives them
 * @retval JPG_E_BAD_DC_CODE, JPG_E_BAD_AC_CODE, JPG_E_COEF_OVERFLOW damaged data
 */
JPG_API uint32_t JPG_CALL jpgReadProgressiveToRect(JPGHANDLE handle, const JpgRect *rect,
                                                   int32_t rows, int32_t mode);

/**
 * Tells the size of scaled output: width and height divided and rounded up.
 *
 * @param handle an open handle
 * @param width  receives the width in pixels
 * @param height receives the height in pixels; 0 while it is unknown
 * @param scale  #JPG_SCALE_EIGHTH to #JPG_SCALE_FULL
 *
 * @retval JPG_OK                  stored
 * @retval JPG_E_INVALID_HANDLE    invalid handle or (after the range check) null pointer
 * @retval JPG_E_INVALID_PARAMETER unknown scale
 * @retval JPG_E_UNSUPPORTED       not a sequential DCT frame
 */
JPG_API uint32_t JPG_CALL jpgReadScaleOutputGetImageSize(JPGHANDLE handle, uint32_t *width,
                                                         uint32_t *height, int32_t scale);

/**
 * Decodes the next rows of a sequential DCT image at a reduced size, from the low
 * frequencies alone.
 *
 * **Writes** |`stride`| * (rows - 1) + scaled width * bytes a pixel bytes: the whole scaled width
 * of jpgReadScaleOutputGetImageSize() is stored, whatever `width` says, and bytes a pixel are 1
 * for *files* of 1 or 2 components, 3 for 3 or 4. `width`, `channels`, `height`, `bitsPerPixel` and
 * `size` aren't looked at. Full size writes what jpgReadToRect() says.
 *
 * Band by band as jpgReadToRect(), in multiples of 16 times the scale. A call with
 * another scale than the one before starts the picture again from row 0. #JPG_READ_SMOOTH has the
 * same effect as there, and the row count then includes the rows that a failing call has stored.
 *
 * @param handle read handle
 * @param rect   where the rows go; `stride` and `bits` are used
 * @param lines  rows of scaled output wanted; more than remain is cut
 * @param scale  #JPG_SCALE_EIGHTH to #JPG_SCALE_FULL; full size is jpgReadToRect()
 *
 * @retval JPG_OK                  the rows are stored
 * @retval JPG_E_DAMAGED           read leniently: they are stored, some are guessed
 * @retval JPG_E_INVALID_HANDLE    invalid handle, null rectangle or null `bits`
 * @retval JPG_E_UNSUPPORTED       not a sequential DCT frame, or a scan that doesn't hold
 *                                 all components
 * @retval JPG_E_INVALID_PARAMETER unknown scale (which counts as a change of scale all the
 *                                 same), no rows left, or jpgReadSetNoColorConversion()
 *                                 was called
 * @retval JPG_E_SEEK              going back to the scan failed
 * @retval others                  as jpgReadToRect() says; the row count then stays
 */
JPG_API uint32_t JPG_CALL jpgReadScaleOutputToRect(JPGHANDLE handle, const JpgRect *rect,
                                                   int32_t lines, int32_t scale);

/**
 * Decodes the next rows of a lossless image: the samples as they were coded, without
 * scaling or colour conversion.
 *
 * **Writes** |`stride`| * (rows - 1) + image width * bytes a pixel bytes: whole rows of the image,
 * whatever `width` says, 1 byte for each component of the *file* up to 8 bits of precision, 2
 * above. A call that doesn't reach the last row of the image also **reads** one row more, behind
 * the last one written. `width`, `channels`, `height`, `bitsPerPixel`, `bitsPerSample` and `size`
 * aren't looked at.
 *
 * Samples are interleaved in component order: bytes, or unsigned 16-bit words in the
 * machine's byte order, at any address. While the height is unknown every call yields
 * one row.
 *
 * Between calls the decoder keeps the row that it predicts the next one from. When the
 * call has not reached the last row of the image, that is the row in memory *behind* the
 * last one it decoded, so the buffer must have room for it and
 * - a caller that reads the whole image in one call needs nothing else;
 * - a caller that goes on band by band keeps one spare row behind its band and follows
 *   each band by a call with `lines` 0 and `bits` at the band's last row, which then is
 *   the row kept.
 *
 * @param handle read handle
 * @param rect   where the rows go; `stride` and `bits` are used
 * @param lines  rows wanted; more than remain is cut; 0 or less only keeps the row at
 *               `bits`
 *
 * @retval JPG_OK                  the rows are stored
 * @retval JPG_E_INVALID_HANDLE    invalid handle, null rectangle or null `bits`
 * @retval JPG_E_UNSUPPORTED       not a lossless frame, or a scan that doesn't hold all
 *                                 components
 * @retval JPG_E_FAIL              no rows are left, or damaged data; rows already stored
 *                                 stay
 * @retval JPG_E_NOT_JPEG          a precision outside 2 to 16 bits
 * @retval JPG_E_SEEK              going back to the scan after marker access failed
 * @retval JPG_E_INVALID_PARAMETER the scan selects no predictor; returned by the first row
 *                                 that would use it
 */
JPG_API uint32_t JPG_CALL jpgReadSpatialToRect(JPGHANDLE handle, const JpgRect *rect,
                                               int32_t lines);
/** @} */

/* ------------------------------------------------------------------------- */
/** @name Opening and closing a write handle
 *
 *  A stream is written in this order: a write prolog (which writes SOI), settings
 *  and marker segments of the caller's, the encode calls (the first of which
 *  writes the headers), and the epilog (which writes EOI).
 *
 *  **Options of a write handle.** They come with the flags of the prologs, any of them with any
 *  other. Without them, the streams are those of the other functions' descriptions, to the bit.
 *
 *  - #JPG_WRITE_AVERAGE: where a component is subsampled, its sample is the average of the pixels
 *    that it stands for, rounded to nearest. At the right and the lower edge those count that
 *    are there. MCUs that lie across an edge, or across the end of a call's lines, are filled up
 *    by repeating the last pixels; blocks without any pixel of the picture cost next to
 *    nothing. Pictures are closer to their originals, at 4:2:0 by up to 1.5 dB.
 *    Lossless pictures aren't affected.
 *  - #JPG_WRITE_OPTIMIZE: Huffman tables made for the picture, of at most 16 bits: 1 to 9 % fewer
 *    bytes. The decoded pixels are the same. Files of one component carry no tables of
 *    chroma. A lossless picture has a table for its differences, or one for each component
 *    where that is shorter.
 *  - #JPG_WRITE_PROGRESSIVE: SOF2, with several scans and tables for each of them: 3 to 11 % fewer
 *    bytes. Which scans, spectral selection and successive approximation, the library chooses for
 *    the fewest of them. The decoded pixels are those of the sequential file. A lossless
 *    picture is written as with #JPG_WRITE_OPTIMIZE.
 *
 *  With either of the last two the picture is **held until the epilog**, which writes it: 2 bytes
 *  for each coefficient, or for each difference of a lossless picture, rounded up to 16 KiB.
 *  Until then nothing goes out but SOI and the caller's segments, which keep their order. This
 *  differs from pictures that aren't held:
 *
 *  - Want of memory may show in any encode call. Such a call has kept nothing of its lines and may
 *    be repeated; the epilog then completes the picture with the lines of the other calls.
 *  - The epilog may give #JPG_E_OUT_OF_MEMORY. It has then written nothing of the picture, and has
 *    freed everything.
 *  - The height in the frame header is the number of lines encoded, and at most the height that was
 *    set; lines beyond it aren't written. No DNL segment is needed.
 *  - No restart marker stands behind the last MCU of a scan. A restart interval of a lossless
 *    picture that doesn't end with a line is left out.
 *  - jpgWriteGetPartialBitstream() gives #JPG_E_INVALID_FUNCTION.
 *
 *  Output goes through a 4096-byte stage, so a full disk may show only in a later
 *  call. Once the output has come up short, every function that writes gives
 *  #JPG_E_WRITE_FAULT; the handle is then only good for its epilog.
 *
 *  Example (examples/write_jfif.c, writeFile):
 *  @code
 *  static uint32_t writeFile(const char *name, const JpgRect *rect) {
 *    JPGHANDLE handle;
 *    uint32_t closed;
 *    uint32_t r = jpgWritePrologToUtf8(name, 0, &handle);
 *    if (r != JPG_OK) return r;
 *    r = encode(handle, rect);
 *    closed = jpgWriteEpilogToFile(handle);
 *    if (r == JPG_OK) r = closed;
 *    if (r != JPG_OK) remove(name);
 *    return r;
 *  }
 *  @endcode
 *  @{ */

/**
 * Creates a file, replacing one of that name, and opens a write handle on it.
 *
 * @param path   zero-terminated UTF-16 path, at most 255 units
 * @param flags  0 or any of #JPG_WRITE_AVERAGE, #JPG_WRITE_OPTIMIZE and #JPG_WRITE_PROGRESSIVE;
 *               other bits are ignored
 * @param handle receives the handle; set to null first, and null on failure.
 *               The caller closes it with jpgWriteEpilogToFile().
 *
 * @retval JPG_OK               open; the settings are: 4:2:0 sampling (0x00221111),
 *                              quality 90, no restart intervals, predictor 1, size and
 *                              component count unknown
 * @retval JPG_E_INVALID_HANDLE `path` or `handle` is null
 * @retval JPG_E_OUT_OF_MEMORY  the record couldn't be had
 * @retval JPG_E_OPEN_FAILED    the file can't be created, or the path is too long
 */
JPG_API uint32_t JPG_CALL jpgWritePrologToFile(const JpgWChar *path, uint32_t flags,
                                               JPGHANDLE *handle);

/**
 * Opens a write handle on a memory block that grows as needed.
 *
 * @param flags  0 or #JPG_WRITE_PARTIAL_BITSTREAM and the options of jpgWritePrologToFile(); other
 *               bits are ignored
 * @param handle receives the handle; set to null first, and null on failure.
 *               The caller closes it with jpgWriteEpilogToMemory().
 *
 * @retval JPG_OK               open, with the settings of jpgWritePrologToFile()
 * @retval JPG_E_INVALID_HANDLE `handle` is null
 * @retval JPG_E_OUT_OF_MEMORY  the record couldn't be had
 */
JPG_API uint32_t JPG_CALL jpgWritePrologToMemory(uint32_t flags, JPGHANDLE *handle);

/**
 * Completes the stream and closes the handle, whatever the result. If the height
 * was never set, a DNL segment with the number of encoded lines is written before EOI.
 *
 * @param handle write handle; it is no longer valid afterwards
 *
 * @retval JPG_OK                  the file is complete
 * @retval JPG_E_INVALID_HANDLE    not an open write handle; nothing was destroyed
 * @retval JPG_E_WRITE_FAULT       the output took too few bytes, now or earlier
 * @retval JPG_E_INVALID_PARAMETER the height was never set, and more than 65535 lines
 *                                 were encoded
 * @retval JPG_E_OUT_OF_MEMORY     the picture was held, and there is no memory to code it
 * @retval JPG_E_FAIL              the file couldn't be closed, or the heap refused to take the
 *                                 record back; everything else was freed
 */
JPG_API uint32_t JPG_CALL jpgWriteEpilogToFile(JPGHANDLE handle);

/**
 * Completes the stream, hands the memory block over and closes the handle,
 * whatever the result.
 *
 * @param handle write handle; it is no longer valid afterwards
 * @param data   receives the block, also on failure (then incomplete, or null when
 *               there is none); the caller releases it with jpgWriteFreeBitstream()
 * @param size   receives its bytes
 *
 * @retval JPG_E_INVALID_HANDLE not an open write handle, or a null pointer; nothing
 *                              was destroyed
 * @retval others               as jpgWriteEpilogToFile() says; #JPG_E_WRITE_FAULT when
 *                              the block couldn't grow
 */
JPG_API uint32_t JPG_CALL jpgWriteEpilogToMemory(JPGHANDLE handle, void **data, uint32_t *size);

/**
 * Releases a block handed over by jpgWriteEpilogToMemory() or
 * jpgWriteGetPartialBitstream().
 *
 * @param data the block
 *
 * @retval JPG_OK               released
 * @retval JPG_E_INVALID_HANDLE `data` is null
 * @retval JPG_E_FAIL           the heap refused it
 */
JPG_API uint32_t JPG_CALL jpgWriteFreeBitstream(void *data);

/**
 * Takes the output written so far, between two encode calls.
 *
 * Each piece ends with EOI; the pieces after the first have no SOI and no headers,
 * and begin with cleared DC predictions; in a lossless image the next line is coded
 * as the first of a restart interval, and jpgReadSetPartialBitstream() makes a reader
 * take it so. Before the first encode call the headers are written early, by the
 * settings; the rectangle of that call must then agree with jpgWriteSetImageSize() in
 * width and with jpgWriteSetNumberOfComponents().
 *
 * @param handle a handle from jpgWritePrologToMemory() with
 *               #JPG_WRITE_PARTIAL_BITSTREAM
 * @param data   receives the piece; the caller releases it with jpgWriteFreeBitstream()
 * @param size   receives its bytes
 *
 * @retval JPG_OK                 handed over; output goes on in a new block
 * @retval JPG_E_INVALID_HANDLE   invalid handle or null pointer
 * @retval JPG_E_INVALID_FUNCTION the handle doesn't give pieces, or holds its picture until the
 *                                epilog
 * @retval JPG_E_INVALID_PARAMETER headers would be written whose width or height, as set,
 *                                exceeds 65535
 * @retval JPG_E_FAIL             the output came up short earlier
 * @retval JPG_E_OUT_OF_MEMORY    a table of the headers couldn't be had
 * @retval JPG_E_WRITE_FAULT      the block couldn't grow
 */
JPG_API uint32_t JPG_CALL jpgWriteGetPartialBitstream(JPGHANDLE handle, void **data,
                                                      uint32_t *size);
/** @} */

/* ------------------------------------------------------------------------- */
/** @name Settings of a write handle
 *
 *  They change the record only and count as they are when the headers are written, by
 *  the first encode call or by a jpgWriteGetPartialBitstream() ahead of it. What is set
 *  later is stored and has no effect on the picture under way. A read handle is refused
 *  with #JPG_E_INVALID_HANDLE.
 *
 *  Example (examples/write_jfif.c, encode):
 *  @code
 *  static uint32_t encode(JPGHANDLE handle, const JpgRect *rect) {
 *    uint32_t r = writeJfif(handle);
 *    if (r == JPG_OK) r = jpgWriteSetQuantizationFactor(handle, 85);
 *    if (r == JPG_OK) r = jpgWriteSetSubsamplingFactor(handle, 0x00221111);
 *    if (r == JPG_OK) r = jpgWriteFromRect(handle, rect, (uint32_t)rect->height);
 *    return r;
 *  }
 *  @endcode
 *  @{ */

/**
 * Sets the image size. The encode functions take the width from their rectangle;
 * the height set here wins over the rectangle's.
 *
 * @param handle write handle
 * @param width  pixels, not 0
 * @param height lines, not 0; above 65535 the first encode call refuses it
 *
 * @retval JPG_OK                  set
 * @retval JPG_E_INVALID_HANDLE    invalid handle
 * @retval JPG_E_INVALID_PARAMETER width or height is 0
 */
JPG_API uint32_t JPG_CALL jpgWriteSetImageSize(JPGHANDLE handle, uint32_t width, uint32_t height);

/**
 * Writes three-component images as RGB (components 'R', 'G', 'B') instead of
 * converting them to YCbCr. It can't be taken back.
 *
 * @param handle write handle
 *
 * @retval JPG_OK               set
 * @retval JPG_E_INVALID_HANDLE invalid handle
 */
JPG_API uint32_t JPG_CALL jpgWriteSetNoColorConversion(JPGHANDLE handle);

/**
 * Sets the sampling factors of the components.
 *
 * | value      | three components              |
 * |------------|-------------------------------|
 * | 0x00111111 | 4:4:4                         |
 * | 0x00211111 | 4:2:2                         |
 * | 0x00121111 | 4:4:0                         |
 * | 0x00221111 | 4:2:0 (the default)           |
 *
 * Four components are written with 0x11111111 only; a single component is never
 * subsampled.
 *
 * @param handle write handle
 * @param packed one byte per component, H << 4 | V, the last component lowest; each
 *               0x11, 0x12, 0x21 or 0x22. A byte 0 ends the check: bytes above it
 *               are not looked at.
 *
 * @retval JPG_OK                  set
 * @retval JPG_E_INVALID_HANDLE    invalid handle
 * @retval JPG_E_INVALID_PARAMETER a byte of another value
 */
JPG_API uint32_t JPG_CALL jpgWriteSetSubsamplingFactor(JPGHANDLE handle, uint32_t packed);

/**
 * Sets the number of components; the encode functions that take a rectangle
 * override it with the rectangle's channels.
 *
 * @param handle write handle
 * @param count  1 to 4
 *
 * @retval JPG_OK                  set
 * @retval JPG_E_INVALID_HANDLE    invalid handle
 * @retval JPG_E_INVALID_PARAMETER out of range
 */
JPG_API uint32_t JPG_CALL jpgWriteSetNumberOfComponents(JPGHANDLE handle, int32_t count);

/**
 * Sets the quality: the percentage by which the standard's example quantisation
 * tables (T.81 K.1) are scaled, 50 being the tables as they are.
 *
 * @param handle  write handle
 * @param quality 1 to 100
 *
 * @retval JPG_OK                  set
 * @retval JPG_E_INVALID_HANDLE    invalid handle
 * @retval JPG_E_INVALID_PARAMETER out of range
 */
JPG_API uint32_t JPG_CALL jpgWriteSetQuantizationFactor(JPGHANDLE handle, int32_t quality);

/**
 * Sets the restart interval.
 *
 * @param handle write handle
 * @param mcus   MCUs between restart markers, 0 = none; its low 16 bits are taken
 *
 * @retval JPG_OK               set
 * @retval JPG_E_INVALID_HANDLE invalid handle
 */
JPG_API uint32_t JPG_CALL jpgWriteSetRestartInterval(JPGHANDLE handle, int32_t mcus);

/**
 * Sets the predictor of lossless images (T.81 Table H.1).
 *
 * @param handle    write handle
 * @param predictor 1 to 7
 *
 * @retval JPG_OK                  set
 * @retval JPG_E_INVALID_HANDLE    invalid handle
 * @retval JPG_E_INVALID_PARAMETER out of range
 */
JPG_API uint32_t JPG_CALL jpgWriteSetSpatialPredictor(JPGHANDLE handle, int32_t predictor);
/** @} */

/* ------------------------------------------------------------------------- */
/** @name Marker segments of the caller's
 *
 *  The library writes no APPn segment of its own: a caller that wants JFIF, Exif
 *  or a comment writes it between the prolog and the first encode call.
 *
 *  Example (examples/write_thumbnail.c, writeExif):
 *  @code
 *  static uint32_t writeExif(JPGHANDLE handle, const void *thumbnail, uint32_t size) {
 *    uint8_t head[sizeof(kHead)];
 *    uint32_t r = jpgWriteWriteMarkerCode(handle, 0xFFE1, (uint32_t)sizeof(kHead) + size);
 *    memcpy(head, kHead, sizeof(kHead));
 *    head[sizeof(kHead) - 8] = (uint8_t)(size & 0xFF);
 *    head[sizeof(kHead) - 7] = (uint8_t)(size >> 8);
 *    if (r == JPG_OK) r = jpgWriteWriteMarkerData(handle, head, sizeof(head), NULL);
 *    if (r == JPG_OK) r = jpgWriteWriteMarkerData(handle, thumbnail, size, NULL);
 *    return r;
 *  }
 *  @endcode
 *  @{ */

/**
 * Begins a segment: writes the marker and the length field.
 *
 * @param handle write handle
 * @param marker 0xFFC0 to 0xFFFE
 * @param length data bytes that will follow, 1 to 65533
 *
 * @retval JPG_OK                  jpgWriteWriteMarkerData() takes the data
 * @retval JPG_E_INVALID_HANDLE    invalid handle
 * @retval JPG_E_INVALID_PARAMETER marker or length out of range
 * @retval JPG_E_WRITE_FAULT       the output has come up short
 */
JPG_API uint32_t JPG_CALL jpgWriteWriteMarkerCode(JPGHANDLE handle, uint32_t marker,
                                                  uint32_t length);

/**
 * Writes data of the segment begun, in one or several calls. What exceeds the
 * declared length is cut off.
 *
 * @param handle  write handle
 * @param data    the bytes
 * @param size    their number, not 0
 * @param written receives the number of bytes taken; may be null
 *
 * @retval JPG_OK                  at least one byte was taken
 * @retval JPG_NO_DATA             the declared length is used up; nothing was written
 * @retval JPG_E_INVALID_HANDLE    invalid handle or null data
 * @retval JPG_E_INVALID_PARAMETER `size` is 0
 * @retval JPG_E_WRITE_FAULT       the output has come up short
 */
JPG_API uint32_t JPG_CALL jpgWriteWriteMarkerData(JPGHANDLE handle, const void *data, uint32_t size,
                                                  uint32_t *written);

/**
 * Writes a whole segment: jpgWriteWriteMarkerCode() and jpgWriteWriteMarkerData().
 *
 * @param handle write handle
 * @param marker 0xFFC0 to 0xFFFE
 * @param data   the segment's data
 * @param length data bytes, 1 to 65533
 *
 * @retval JPG_OK                  written
 * @retval JPG_E_INVALID_HANDLE    invalid handle or null data
 * @retval JPG_E_INVALID_PARAMETER marker or length out of range
 * @retval JPG_E_WRITE_FAULT       the output has come up short
 */
JPG_API uint32_t JPG_CALL jpgWriteWriteMarkerSegment(JPGHANDLE handle, uint32_t marker,
                                                     const void *data, uint32_t length);
/** @} */

/* ------------------------------------------------------------------------- */
/** @name Encoding
 *
 *  A first call that gives #JPG_E_INVALID_PARAMETER, #JPG_E_UNSUPPORTED or
 *  #JPG_E_OUT_OF_MEMORY has written nothing, and may be repeated with other settings or another
 *  rectangle.
 *
 *  The encoders read whole rows of the picture that the first call describes: later calls don't
 *  compare `width` and `channels` with it.
 *
 *  Example (examples/pieces.c, sendBands):
 *  @code
 *  static uint32_t sendBands(JPGHANDLE handle, const JpgRect *rect, Receiver *to) {
 *    int32_t y, rows;
 *    for (y = 0; y < rect->height; y += rows) {
 *      const JpgRect band = below(rect, y);
 *      void *piece;
 *      uint32_t size, r;
 *      rows = band.height < BAND_ROWS ? band.height : BAND_ROWS;
 *      r = jpgWriteFromRect(handle, &band, (uint32_t)rows);
 *      if (r == JPG_OK) r = jpgWriteGetPartialBitstream(handle, &piece, &size);
 *      if (r == JPG_OK) r = receive(to, piece, size, rows);
 *      if (r != JPG_OK) return r;
 *    }
 *    return JPG_OK;
 *  }
 *  @endcode
 *
 *  Example (examples/lossless.c, writeFile):
 *  @code
 *  static uint32_t writeFile(const char *name, const JpgRect *rect) {
 *    JPGHANDLE handle;
 *    uint32_t closed;
 *    uint32_t r = jpgWritePrologToUtf8(name, 0, &handle);
 *    if (r != JPG_OK) return r;
 *    r = jpgWriteSetSpatialPredictor(handle, 4);
 *    if (r == JPG_OK) r = jpgWriteSpatialFromRect(handle, rect, (uint32_t)rect->height);
 *    closed = jpgWriteEpilogToFile(handle);
 *    return r == JPG_OK ? closed : r;
 *  }
 *  @endcode
 *  @{ */

/**
 * Encodes the next lines of a baseline image.
 *
 * Called once for the whole image or band by band. The first call takes the width,
 * the channels and, unless jpgWriteSetImageSize() has set it, the height from the
 * rectangle and writes the headers; for a height of 0 the epilog writes a DNL
 * segment. Every call encodes whole MCU rows, so all calls but the last pass a
 * multiple of 16 lines (which suits every sampling). Nothing limits the lines to
 * the height.
 *
 * Pixels are grey bytes (1 channel), blue, green, red (3) or components in order (4).
 * Without #JPG_WRITE_AVERAGE chroma is decimated: the top-left sample of a group counts. And
 * without it, what a partial MCU at
 * the right or lower edge lacks is filled with the MCU coded before it in the same
 * call, or with zeros when the call begins with a partial one: so bands may code the
 * lower edge otherwise than one call for the whole picture.
 *
 * @param handle write handle
 * @param rect   the pixels: `stride` and `bits` are used, and in the first call `width`,
 *               `channels`, `height` and `bitsPerSample`, which must be 8
 * @param lines  lines to encode from `bits` on, not 0
 *
 * @retval JPG_OK                  encoded
 * @retval JPG_E_INVALID_HANDLE    invalid handle, null rectangle or null `bits`
 * @retval JPG_E_INVALID_PARAMETER `lines` is 0; in the first call also a width outside
 *                                 1 to 65535, a height above 65535, a precision other
 *                                 than 8, or a rectangle that doesn't agree with headers
 *                                 that jpgWriteGetPartialBitstream() has written
 * @retval JPG_E_UNSUPPORTED       channels other than 1, 3, 4, or sampling factors that
 *                                 aren't served
 * @retval JPG_E_OUT_OF_MEMORY     a heap block couldn't be had
 * @retval JPG_E_WRITE_FAULT       the output has come up short, now or earlier
 * @retval JPG_E_FAIL              the heap refused to take a block back
 */
JPG_API uint32_t JPG_CALL jpgWriteFromRect(JPGHANDLE handle, const JpgRect *rect, uint32_t lines);

/**
 * Encodes the next lines of a lossless image, with the predictor of
 * jpgWriteSetSpatialPredictor().
 *
 * Called once for the whole image or band by band, with any number of lines. The first
 * call takes width, channels, precision and, unless jpgWriteSetImageSize() has set it,
 * the height from the rectangle and writes the headers. Samples are interleaved in
 * component order: bytes up to 8 bits of precision, 16-bit words above. Restart intervals
 * count pixels and take effect when they end with a line. Lines beyond the height
 * are not coded.
 *
 * @param handle write handle
 * @param rect   the samples: `stride` and `bits` are used, and in the first call `width`,
 *               `height`, `channels` (1 to 4) and `bitsPerSample` (2 to 16)
 * @param lines  lines to encode from `bits` on, not 0
 *
 * @retval JPG_OK                  encoded
 * @retval JPG_E_INVALID_HANDLE    invalid handle, null rectangle or null `bits`
 * @retval JPG_E_INVALID_PARAMETER `lines` is 0; in the first call also a width outside 1
 *                                 to 65535, a height above 65535 or a precision outside 2
 *                                 to 16
 * @retval JPG_E_UNSUPPORTED       channels outside 1 to 4, or the handle has begun a
 *                                 baseline image
 * @retval JPG_E_OUT_OF_MEMORY     a heap block couldn't be had
 * @retval JPG_E_WRITE_FAULT       the output has come up short, now or earlier
 */
JPG_API uint32_t JPG_CALL jpgWriteSpatialFromRect(JPGHANDLE handle, const JpgRect *rect,
                                                  uint32_t lines);
/** @} */

/* ------------------------------------------------------------------------- */
/** @name Windows bitmaps
 *
 *  The readers have two modes. Without `bits` they describe the image in `bmi`: the
 *  header for the depth in `biBitCount` (8, 16 or 24; anything else becomes 8), bottom-up,
 *  with the resolution of a JFIF segment, and behind it the colour table (8 bits: a grey
 *  ramp or the reduction palette, 256 entries) or the masks (16 bits: 5-6-5). The caller's
 *  block must have room for these. With `bits` they decode into the bitmap that `bmi`
 *  describes, which may be wider than the image, and top-down. `bits` must hold the rows asked
 *  for, `biWidth` pixels of `biBitCount` bits each, padded to 4 bytes; no more is written, whatever
 *  the file holds. `biHeight` gives the direction only: its size isn't checked against the rows
 *  asked for.
 *
 *  A header and its colour table or masks may lie at any address, and so may the pixels.
 *
 *  A grey image goes into 8 bits, a colour image into 24; a colour image is reduced to 8
 *  bits (a palette of 216 colours) or 16 by error diffusion, through a 24-bit buffer.
 *
 *  Example (examples/decode_to_dib.c, decode):
 *  @code
 *  static uint32_t decode(JPGHANDLE handle, BITMAPINFO *info, void **bits, size_t *size) {
 *    uint32_t r = jpgReadToWinDIBits(handle, 1, NULL, info);
 *    const BITMAPINFOHEADER *header = &info->bmiHeader;
 *    if (r != JPG_OK) return r;
 *    if ((uint64_t)header->biWidth * (uint64_t)header->biHeight > MAX_PIXELS)
 *      return JPG_E_OUT_OF_MEMORY;
 *    *size = ((size_t)header->biWidth * 3 + 3) / 4 * 4 * (size_t)header->biHeight;
 *    *bits = malloc(*size);
 *    if (*bits == NULL) return JPG_E_OUT_OF_MEMORY;
 *    return jpgReadToWinDIBits(handle, header->biHeight, *bits, info);
 *  }
 *  @endcode
 *  @{ */

/**
 * Describes a bitmap for, or decodes into one, a sequential DCT image.
 *
 * @param handle read handle
 * @param lines  rows that the buffer holds, all of which are decoded; the image's top row
 *               goes to the buffer's top row
 * @param bits   the bitmap's pixels, rows padded to 4 bytes; null to describe
 * @param bmi    the bitmap's description
 *
 * @retval JPG_OK                  described, or decoded
 * @retval JPG_E_INVALID_HANDLE    invalid handle or null `bmi`
 * @retval JPG_E_INVALID_PARAMETER `lines` is 0, the image is wider than the bitmap, the
 *                                 bitmap's width isn't positive or its rows exceed 2^31 - 1
 *                                 bytes; or, after decoding, a colour image and a depth
 *                                 other than 8, 16 or 24
 * @retval JPG_E_UNSUPPORTED       the components fit neither the depth nor the reduction
 * @retval JPG_E_OUT_OF_MEMORY     a buffer couldn't be had
 * @retval others                  as jpgReadToRect() says
 */
JPG_API uint32_t JPG_CALL jpgReadToWinDIBits(JPGHANDLE handle, int32_t lines, void *bits,
                                             BITMAPINFO *bmi);

/**
 * The same for a progressive image.
 *
 * @param handle read handle
 * @param lines  as for jpgReadToWinDIBits()
 * @param bits   as for jpgReadToWinDIBits()
 * @param bmi    as for jpgReadToWinDIBits()
 * @param mode   as for jpgReadProgressiveToRect()
 *
 * @return as jpgReadToWinDIBits() and jpgReadProgressiveToRect() say
 */
JPG_API uint32_t JPG_CALL jpgReadProgressiveToWinDIBits(JPGHANDLE handle, int32_t lines, void *bits,
                                                        BITMAPINFO *bmi, int32_t mode);

/**
 * The same for a sequential image at a reduced size; at full size it is
 * jpgReadToWinDIBits().
 *
 * @param handle read handle
 * @param lines  as for jpgReadToWinDIBits(), in rows of scaled output
 * @param bits   as for jpgReadToWinDIBits()
 * @param bmi    as for jpgReadToWinDIBits()
 * @param scale  #JPG_SCALE_EIGHTH to #JPG_SCALE_FULL
 *
 * @return as jpgReadToWinDIBits() and jpgReadScaleOutputToRect() say
 */
JPG_API uint32_t JPG_CALL jpgReadScaleOutputToWinDIBits(JPGHANDLE handle, int32_t lines, void *bits,
                                                        BITMAPINFO *bmi, int32_t scale);

/**
 * Encodes rows of a bitmap of 1, 4, 8, 16, 24 or 32 bits, or run-length coded.
 *
 * The first call suggests the frame: one component for 8 bits and three for every other
 * depth, unless jpgWriteSetNumberOfComponents() has set it; and the bitmap's size, if
 * `lines` isn't all of its rows.
 *
 * A 24-bit bitmap written in colour is encoded as it lies, top-down or bottom-up. Every
 * other goes through a buffer and is taken as bottom-up, so a top-down one comes out
 * upside down. Grey is taken from the green channel (or the palette's green bytes).
 * 16-bit pixels are 5-5-5, or 5-6-5 when masks are given and the first one has bit 15.
 * Where `biClrUsed` isn't 0, no entry of the colour table beyond it is read, and an index
 * beyond it is black.
 *
 * @param handle write handle
 * @param lines  rows to encode, from the first in memory on for a converted bitmap; 1 to
 *               the bitmap's rows
 * @param bits   the bitmap's pixels
 * @param bmi    its description; `biSizeImage` bounds run-length codes unless it is 0
 *
 * @retval JPG_OK                  encoded
 * @retval JPG_E_INVALID_HANDLE    invalid handle, null `bits` or `bmi`
 * @retval JPG_E_INVALID_PARAMETER `lines` out of range; a width that isn't positive, whose
 *                                 rows exceed 2^31 - 1 bytes, or that isn't the frame's; or 4
 *                                 or 8 bits with a compression other than run lengths
 * @retval JPG_E_INVALID_FUNCTION  2 or 4 components
 * @retval JPG_E_FAIL              another depth, damaged run-length codes, or the heap
 *                                 refused to take a block back
 * @retval others                  as jpgWriteFromRect() says
 */
JPG_API uint32_t JPG_CALL jpgWriteFromWinDIBits(JPGHANDLE handle, int32_t lines, const void *bits,
                                                const BITMAPINFO *bmi);
/** @} */

/* ------------------------------------------------------------------------- */
/** @name Exif
 *
 *  Example (examples/thumbnail.c, openThumbnail):
 *  @code
 *  static uint32_t openThumbnail(const char *name, JPGEXIFHANDLE *exif) {
 *    JPGHANDLE handle;
 *    uint32_t r = jpgReadPrologFromUtf8(name, 0, &handle);
 *    if (r != JPG_OK) return r;
 *    r = jpgReadExifReadAttributeProlog(handle, exif);
 *    jpgReadEpilog(handle);
 *    return r;
 *  }
 *  @endcode
 *  @{ */

/**
 * Finds the Exif segment (the first APP1 that is one) and copies it.
 *
 * It walks the marker segments (see there); the next decode call finds its place again as
 * long as nothing was decoded before.
 *
 * @param handle     read handle; may be closed while the attributes live on
 * @param attributes receives the attribute handle; set to null first, and null on failure.
 *                   The caller closes it with jpgReadExifReadAttributeEpilog().
 *
 * @retval JPG_OK               found
 * @retval JPG_E_INVALID_HANDLE invalid handle or null pointer
 * @retval JPG_E_NOT_JPEG       there is no Exif segment
 * @retval JPG_E_NOT_FOUND      the segment is too short to hold attributes
 * @retval JPG_E_OUT_OF_MEMORY  a heap block couldn't be had
 * @retval JPG_E_SEEK           going back to the start of the stream failed
 */
JPG_API uint32_t JPG_CALL jpgReadExifReadAttributeProlog(JPGHANDLE handle,
                                                         JPGEXIFHANDLE *attributes);

/**
 * Closes an attribute handle.
 *
 * @param attributes attribute handle; it is no longer valid afterwards
 *
 * @retval JPG_OK               closed
 * @retval JPG_E_INVALID_HANDLE invalid handle
 * @retval JPG_E_FAIL           the heap refused to take the record back
 */
JPG_API uint32_t JPG_CALL jpgReadExifReadAttributeEpilog(JPGEXIFHANDLE attributes);

/**
 * Describes a bitmap for, or decodes into one, the thumbnail of the Exif attributes: a
 * sequential JPEG image, or uncompressed RGB in any number of strips. Both modes as for
 * jpgReadToWinDIBits(), without a resolution. All rows of the thumbnail are decoded, whatever
 * `biHeight` says: describe first, then make room for the whole thumbnail.
 *
 * An uncompressed thumbnail with planar samples can be described, also without the offsets of
 * its planes, but not decoded.
 *
 * @param attributes attribute handle
 * @param bits       the bitmap's pixels; null to describe
 * @param bmi        the bitmap's description
 *
 * @retval JPG_OK                  described, or decoded
 * @retval JPG_E_INVALID_HANDLE    invalid handle or null `bmi`
 * @retval JPG_E_NOT_FOUND         there is no thumbnail, its length is given as 0, or part of it
 *                                 lies outside of the segment
 * @retval JPG_E_UNSUPPORTED       uncompressed but not interleaved RGB, or components that
 *                                 don't fit the bitmap's depth
 * @retval JPG_E_INVALID_PARAMETER the thumbnail is wider than the bitmap, or (after
 *                                 decoding) a depth other than 8, 16 or 24
 * @retval JPG_E_OUT_OF_MEMORY     a heap block couldn't be had
 * @retval others                  of jpgReadPrologFromMemory() and jpgReadToRect() for a
 *                                 JPEG thumbnail
 */
JPG_API uint32_t JPG_CALL jpgExifReadThumbnailToWinDIBits(JPGEXIFHANDLE attributes, void *bits,
                                                          BITMAPINFO *bmi);
/** @} */

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* JPG_H */
