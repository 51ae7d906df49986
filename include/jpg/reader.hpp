// SPDX-License-Identifier: MIT
/**
 * @file reader.hpp
 * @brief Reading through the C++ interface.
 */
#ifndef JPG_READER_HPP
#define JPG_READER_HPP

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>

#include "jpg.h"
#include "jpg/height.hpp"
#include "jpg/memory.hpp"
#include "jpg/picture.hpp"
#include "jpg/result.hpp"
#include "jpg/segments.hpp"

namespace jpg {
inline namespace v0 {

/** @name Reading
 *  @{ */

/** Flags of a reader that opens and delivers whatever can be, with the more exact transform and
    interpolated chroma: those of a reader that isn't told otherwise. */
constexpr uint32_t kUsual = JPG_READ_ACCURATE | JPG_READ_SMOOTH | JPG_READ_LENIENT;
/** Flags of a reader that decodes as the device does, to the bit. */
constexpr uint32_t kStrict = 0;

/** What the frame header says. */
struct Info {
  uint32_t process = 0;    /**< one of the JPG_PROCESS_ values */
  uint32_t width = 0;      /**< pixels, 0 to 65535 */
  uint32_t height = 0;     /**< rows, 0 to 65535; where the header leaves it to a DNL segment
                                behind a sequential or lossless scan, what that says, 0 without
                                one */
  uint32_t components = 0; /**< 1 to 4 */
  uint32_t precision = 0;  /**< bits a sample, by the stream's header */

  /** @return whether the image is progressive */
  constexpr bool progressive() const { return process == JPG_PROCESS_PROGRESSIVE; }
  /** @return whether the image is lossless */
  constexpr bool lossless() const { return process == JPG_PROCESS_LOSSLESS; }
};

/** Sizes of scaled output. */
enum class Scale : int32_t {
  kEighth = JPG_SCALE_EIGHTH,
  kQuarter = JPG_SCALE_QUARTER,
  kHalf = JPG_SCALE_HALF,
  kFull = JPG_SCALE_FULL
};

/** Part of a file that holds a JPEG stream. */
struct FileRange {
  int32_t start = 0;  /**< byte at which the stream begins */
  int32_t length = 0; /**< its bytes, 0 = to the end of the file */
};

/** The attributes of an Exif segment; stay valid when the reader is closed. */
class Exif {
 public:
  Exif() = default;
  /** @param handle taken over */
  explicit Exif(JPGEXIFHANDLE handle) : handle_(handle) {}
  /** @return the handle, for functions of jpg.h; stays this object's */
  JPGEXIFHANDLE handle() const { return handle_.get(); }
  /**
   * Decodes the thumbnail.
   *
   * @param depth bits a pixel: 8, 16 or 24
   * @return the thumbnail; errors as jpgExifReadThumbnailToWinDIBits() says
   */
  Result<Bitmap> thumbnail(uint16_t depth = 24) const {
    return Bitmap::make(depth, [this](void *bits, BITMAPINFO *info) {
      return jpgExifReadThumbnailToWinDIBits(handle(), bits, info);
    });
  }

 private:
  struct Close {
    void operator()(JPGEXIFHANDLE handle) const { jpgReadExifReadAttributeEpilog(handle); }
  };
  std::unique_ptr<JpgExifAttributes, Close> handle_;
};

class Bands;

/** An open JPEG stream; closes itself. */
class Reader {
 public:
  Reader() = default;
  /** @param handle read handle, taken over */
  explicit Reader(JPGHANDLE handle) : handle_(handle) {}

  /**
   * Opens a file.
   *
   * @param path  UTF-8 or UTF-16
   * @param flags #kUsual, #kStrict, or as for jpgReadPrologFromFile()
   * @param range where in the file the stream lies
   * @return the reader; errors as jpgReadPrologFromFile() says
   */
  static Result<Reader> file(const Path &path, uint32_t flags = kUsual, FileRange range = {}) {
    JPGHANDLE handle = nullptr;
    if (!path.valid()) return Status(JPG_E_OPEN_FAILED);
    const Status status(
        jpgReadPrologFromFile(path.c_str(), range.start, range.length, flags, &handle));
    if (!status) return status;
    Reader reader(handle);
    if (reader.leavesHeight()) reader.learnHeight(path, range);
    return reader;
  }
  /**
   * Opens a stream in memory, which must outlive the reader.
   *
   * @param data  the stream
   * @param flags #kUsual, #kStrict, or as for jpgReadPrologFromMemory()
   * @return the reader; errors as jpgReadPrologFromMemory() says
   */
  static Result<Reader> memory(Span<const uint8_t> data, uint32_t flags = kUsual) {
    JPGHANDLE handle = nullptr;
    if (data.size() > 0x7FFFFFFF) return Status(JPG_E_INVALID_PARAMETER);
    const Status status(
        jpgReadPrologFromMemory(data.data(), static_cast<int32_t>(data.size()), flags, &handle));
    if (!status) return status;
    Reader reader(handle);
    if (reader.leavesHeight()) reader.learnHeight(data);
    return reader;
  }
  /** @return the handle, for functions of jpg.h; stays this object's */
  JPGHANDLE handle() const { return handle_.get(); }
  /** Closes the stream now.  @return as jpgReadEpilog() says */
  Status close() { return Status(jpgReadEpilog(handle_.release())); }

  /** @return what the frame header says */
  Result<Info> info() const {
    Info info;
    uint32_t r = jpgReadGetCodingProcess(handle(), &info.process);
    if (r == JPG_OK) r = jpgReadGetImageSize(handle(), &info.width, &info.height);
    if (r == JPG_OK) r = jpgReadGetNumberOfChannels(handle(), &info.components);
    if (r == JPG_OK) r = jpgReadGetSamplePrecision(handle(), &info.precision);
    if (r != JPG_OK) return Status(r);
    if (info.height == 0) info.height = toldHeight_;
    return info;
  }
  /** @return how decode() lays the image out */
  Result<Layout> layout() const {
    const Result<Info> frame = info();
    if (!frame) return frame.status();
    Layout layout;
    layout.width = frame->width;
    layout.height = frame->height;
    layout.bitsPerSample = frame->lossless() ? frame->precision : 8;
    layout.channels = frame->lossless() || unconverted_ ? frame->components
                      : frame->components < 3           ? 1
                                                        : 3;
    return layout;
  }
  /** @param scale size  @return how decodeScaled() lays the image out */
  Result<Layout> layout(Scale scale) const {
    Result<Layout> layout = this->layout();
    if (!layout) return layout;
    const Status status(jpgReadScaleOutputGetImageSize(handle(), &layout->width, &layout->height,
                                                       static_cast<int32_t>(scale)));
    if (!status) return status;
    return layout;
  }
  /** Delivers components as decoded, without colour conversion; can't be undone.
   *  @return as jpgReadSetNoColorConversion() says */
  Status keepComponents() {
    const Status status(jpgReadSetNoColorConversion(handle()));
    unconverted_ = unconverted_ || status.ok();
    return status;
  }

  /**
   * Decodes the whole image, sequential, progressive or lossless.
   *
   * @return the picture; #JPG_E_UNSUPPORTED for an image of unknown height;
   *         other errors as jpgReadToRect(), jpgReadProgressiveToRect() and
   *         jpgReadSpatialToRect() say
   */
  Result<Picture> decode() {
    Result<Picture> picture = blank();
    if (!picture) return picture;
    return kept(std::move(picture), decode(*picture));
  }
  /** @return a black picture for decode(Picture &) and nextScan() */
  Result<Picture> blank() const { return blankOf(layout()); }
  /**
   * Decodes the whole image into a picture of blank(): where the data are damaged, what was
   * decoded before is in it.
   *
   * @param picture receives the rows
   * @return as decode() says; #JPG_E_INVALID_PARAMETER for a picture of another size or kind
   *         than layout(), into which nothing is written
   */
  Status decode(Picture &picture) {
    const Result<JpgRect> rect = rectFor(picture);
    if (!rect) return rect.status();
    return readRows(*rect, rect->height);
  }
  /**
   * Decodes the next rows into the caller's memory, which `rect` must describe correctly:
   * rectOver() does. The library itself doesn't check `channels` and `size`. Here they must match
   * the image and suffice for it; otherwise nothing is written.
   *
   * A lossless image is stored as wide as it is, and a call that asks for fewer rows than it has
   * also reads the row behind them: there `size` must have room for one row more than `lines`.
   *
   * @param rect  where the rows go: `channels`, `bitsPerPixel` as layout() has them, `size` bytes
   *              for the rows, the padding between them included
   * @param lines rows wanted
   * @return as jpgReadToRect(), jpgReadProgressiveToRect() (all scans) or
   *         jpgReadSpatialToRect() says; #JPG_E_INVALID_PARAMETER when `rect` doesn't fit
   */
  Status read(const JpgRect &rect, int32_t lines) {
    const Status fit = checkRoom(rect, lines);
    if (!fit) return fit;
    return readRows(rect, lines);
  }
  /**
   * Decodes the whole image at a reduced size; sequential DCT images only.
   *
   * @param scale size
   * @return the picture; errors as jpgReadScaleOutputToRect() says
   */
  Result<Picture> decodeScaled(Scale scale) {
    Result<Picture> picture = blankOf(layout(scale));
    if (!picture) return picture;
    const Result<JpgRect> rect = picture->rect();
    if (!rect) return rect.status();
    const Status status(
        jpgReadScaleOutputToRect(handle(), &*rect, rect->height, static_cast<int32_t>(scale)));
    return kept(std::move(picture), status);
  }
  /**
   * Decodes one more scan of a progressive image and the image as it then looks.
   *
   * @param picture a picture of blank()
   * @return success; #JPG_NO_DATA when no scan is left and the picture is complete; errors as
   *         jpgReadProgressiveToRect() says; #JPG_E_INVALID_PARAMETER as decode(Picture &) says
   */
  Status nextScan(Picture &picture) {
    const Result<JpgRect> rect = rectFor(picture);
    if (!rect) return rect.status();
    return Status(
        jpgReadProgressiveToRect(handle(), &*rect, rect->height, JPG_PROGRESSIVE_NEXT_SCAN));
  }
  /**
   * Decodes band by band, in the memory of one band (progressive images keep all their
   * coefficients); defined below.
   *
   * @param rows  rows of a band; rounded up to a multiple of 16
   * @param scale size; below full size for sequential DCT images only
   * @return the bands; this reader must not be moved as long as they are used
   */
  Result<Bands> bands(uint32_t rows = 16, Scale scale = Scale::kFull);
  /**
   * Decodes into a bitmap.
   *
   * @param depth bits a pixel: 8, 16 or 24
   * @param scale size; below full size for sequential DCT images only
   * @return the bitmap; errors as jpgReadToWinDIBits() and its siblings say
   */
  Result<Bitmap> bitmap(uint16_t depth = 24, Scale scale = Scale::kFull) {
    const Result<Info> frame = info();
    if (!frame) return frame.status();
    const bool progressive = frame->progressive() && scale == Scale::kFull;
    return Bitmap::make(depth, [this, progressive, scale](void *bits, BITMAPINFO *dib) {
      const int32_t lines = bits == nullptr ? 1 : dib->bmiHeader.biHeight;
      if (progressive) {
        return jpgReadProgressiveToWinDIBits(handle(), lines, bits, dib, JPG_PROGRESSIVE_ALL_SCANS);
      }
      return jpgReadScaleOutputToWinDIBits(handle(), lines, bits, dib, static_cast<int32_t>(scale));
    });
  }

  /** @return the first marker segment behind SOI; errors as jpgReadSeekMarkerSegment() says */
  Result<Segment> firstSegment() { return seekSegment(JPG_SEGMENT_FIRST); }
  /** @return the marker segment behind the current one */
  Result<Segment> nextSegment() { return seekSegment(JPG_SEGMENT_NEXT); }
  /**
   * Reads data of the current segment.
   *
   * @param buffer receives the bytes
   * @return how many came; #JPG_NO_DATA when all were read
   */
  Result<uint32_t> readSegment(Span<uint8_t> buffer) {
    uint32_t count = 0;
    const uint64_t size = buffer.size() < 65536 ? buffer.size() : 65536;
    const Status status(
        jpgReadReadMarkerData(handle(), buffer.data(), static_cast<uint32_t>(size), &count));
    if (!status) return status;
    return count;
  }
  /** @return the Exif attributes; errors as jpgReadExifReadAttributeProlog() says */
  Result<Exif> exif() {
    JPGEXIFHANDLE attributes = nullptr;
    const Status status(jpgReadExifReadAttributeProlog(handle(), &attributes));
    if (!status) return status;
    return Exif(attributes);
  }
  /**
   * Goes to a restart interval.
   *
   * @param intervals how many to pass
   * @param mode      #JPG_RESTART_FROM_START or #JPG_RESTART_FROM_CURRENT
   * @return as jpgReadSeekRestartMarker() says
   */
  Status seekRestart(int32_t intervals, uint32_t mode = JPG_RESTART_FROM_START) {
    return Status(jpgReadSeekRestartMarker(handle(), intervals, mode));
  }
  /**
   * Hands over the next piece of a partial stream, which must outlive its use.
   *
   * @param piece coded data
   * @return as jpgReadSetPartialBitstream() says
   */
  Status setPiece(Span<const uint8_t> piece) {
    if (piece.size() > 0xFFFFFFFF) return Status(JPG_E_INVALID_PARAMETER);
    return Status(
        jpgReadSetPartialBitstream(handle(), piece.data(), static_cast<uint32_t>(piece.size())));
  }

 private:
  friend class Bands;

  /* The description of a picture that this image fits. */
  Result<JpgRect> rectFor(const Picture &picture) const {
    const Result<Layout> image = layout();
    if (!image) return image.status();
    if (!image->matches(picture.layout())) return Status(JPG_E_INVALID_PARAMETER);
    return picture.rect();
  }
  /* How many rows a call reads or writes; the library stops at the height, if it knows it. */
  Result<uint32_t> rowsTouched(bool lossless, int32_t lines) const {
    uint32_t width = 0, height = 0;
    const Status status(jpgReadGetImageSize(handle(), &width, &height));
    if (!status) return status;
    uint32_t rows = lines < 0 ? 0 : static_cast<uint32_t>(lines);
    if (lossless && rows == 0) return 1U; /* saved for the next call */
    if (height == 0) return rows;
    if (rows >= height) return height;
    return lossless ? rows + 1 : rows;
  }
  /* Checks a rectangle, since the library doesn't. */
  Status checkRoom(const JpgRect &rect, int32_t lines) const {
    const Result<Info> frame = info();
    const Result<Layout> image = layout();
    if (!frame || !image) return image.status();
    const Result<uint32_t> rows = rowsTouched(frame->lossless(), lines);
    if (!rows) return rows.status();
    const int64_t pixel = int64_t{image->channels} * image->sampleBytes();
    const int64_t width = frame->lossless() ? int64_t{image->width} : rect.width;
    const int64_t row = width > 0 ? width * pixel : 0;
    const int64_t step = rect.stride < 0 ? -int64_t{rect.stride} : rect.stride;
    const bool alike = rect.channels == static_cast<int32_t>(image->channels) &&
                       rect.bitsPerPixel == static_cast<int32_t>(8 * pixel);
    const int64_t bytes = *rows == 0 ? 0 : step * (int64_t{*rows} - 1) + row;
    const bool apart = *rows < 2 || step >= row;
    return Status(alike && apart && bytes <= rect.size ? JPG_OK : JPG_E_INVALID_PARAMETER);
  }
  /* The next rows into a rectangle that is known to fit. */
  Status readRows(const JpgRect &rect, int32_t lines) {
    const Result<Info> frame = info();
    if (!frame) return frame.status();
    if (frame->lossless()) return readLossless(rect, lines);
    if (!frame->progressive()) return Status(jpgReadToRect(handle(), &rect, lines));
    return Status(jpgReadProgressiveToRect(handle(), &rect, lines, JPG_PROGRESSIVE_ALL_SCANS));
  }
  /* True if the frame header leaves the height open and the image can be decoded even so. */
  bool leavesHeight() const {
    const Result<Info> frame = info();
    return frame && frame->height == 0 && !frame->progressive();
  }
  /* The height from a DNL segment. It is looked for through a separate handle, so that
     this one's place stays. */
  void learnHeight(const Path &path, FileRange range) {
    JPGHANDLE handle = nullptr;
    jpgReadPrologFromFile(path.c_str(), range.start, range.length, JPG_READ_COMPLETE, &handle);
    toldHeight_ = detail::linesOfDnl(handle, detail::ByteSource(path, range.start));
    jpgReadEpilog(handle);
  }
  void learnHeight(Span<const uint8_t> data) {
    JPGHANDLE handle = nullptr;
    jpgReadPrologFromMemory(data.data(), static_cast<int32_t>(data.size()), JPG_READ_COMPLETE,
                            &handle);
    toldHeight_ = detail::linesOfDnl(handle, detail::ByteSource(data));
    jpgReadEpilog(handle);
  }
  /* While the library doesn't know the height, a call delivers one row and saves it. */
  Status readLossless(JpgRect rect, int32_t lines) {
    uint32_t width = 0, height = 0;
    const Status status(jpgReadGetImageSize(handle(), &width, &height));
    if (!status || height != 0 || lines < 1) {
      return status ? Status(jpgReadSpatialToRect(handle(), &rect, lines)) : status;
    }
    for (int32_t i = 0; i < lines; i++) {
      if (const Status row(jpgReadSpatialToRect(handle(), &rect, 1)); !row) return row;
      rect.bits = static_cast<uint8_t *>(rect.bits) + rect.stride;
    }
    return status;
  }
  Result<Layout> layoutAt(Scale scale) const {
    return scale == Scale::kFull ? layout() : layout(scale);
  }
  /* A picture whose rows are all there, though some of them may be guessed. */
  static Result<Picture> kept(Result<Picture> &&picture, Status status) {
    const bool guessed = status.code() == JPG_E_DAMAGED;
    if (!status && !guessed) return status;
    picture->damaged_ = guessed;
    return std::move(picture);
  }
  static Result<Picture> blankOf(const Result<Layout> &layout) {
    if (!layout) return layout.status();
    if (layout->height == 0) return Status(JPG_E_UNSUPPORTED);
    return Picture::make(*layout);
  }
  Result<Segment> seekSegment(int32_t mode) {
    Segment segment;
    const Status status(jpgReadSeekMarkerSegment(handle(), mode, &segment.marker, &segment.length));
    if (!status) return status;
    return segment;
  }

  struct Close {
    void operator()(JPGHANDLE handle) const { jpgReadEpilog(handle); }
  };
  std::unique_ptr<JpgContext, Close> handle_;
  uint32_t toldHeight_ = 0; /* by DNL, where the header leaves it open */
  bool unconverted_ = false;
};

/** Rows of an image, valid until the next band is asked for. */
struct Band {
  uint32_t top = 0;     /**< row of the image that the first one is */
  uint32_t rows = 0;    /**< number of rows */
  Layout layout;        /**< the image's, with the band's rows as its height */
  Span<uint8_t> pixels; /**< the rows, without padding */

  /** @param y row below `rows`  @return its samples of up to 8 bits */
  Span<uint8_t> row(uint32_t y) const {
    return {pixels.data() + size_t{layout.rowBytes()} * y, layout.rowBytes()};
  }
  /** @param y row below `rows`  @return its samples of more than 8 bits */
  Span<uint16_t> row16(uint32_t y) const {
    void *samples = row(y).data(); /* rows of such samples are aligned for them */
    return {static_cast<uint16_t *>(samples), layout.rowBytes() / 2U};
  }
};

/** The bands of an image, from top to bottom. */
class Bands {
 public:
  Bands() = default;
  /** @return how the whole image is laid out */
  const Layout &layout() const { return layout_; }
  /**
   * Decodes the next band.
   *
   * @return the band; #JPG_NO_DATA behind the last one; #JPG_E_INVALID_PARAMETER when the
   *         reader holds another image by now; errors as Reader::read() says
   */
  Result<Band> next() {
    if (reader_ == nullptr) return Status(JPG_E_INVALID_HANDLE);
    if (top_ >= layout_.height) return Status(JPG_NO_DATA);
    const Result<Layout> image = reader_->layoutAt(scale_);
    if (!image) return image.status();
    if (!image->matches(layout_)) return Status(JPG_E_INVALID_PARAMETER);
    Band band;
    band.top = top_;
    band.rows = layout_.height - top_ < rows_ ? layout_.height - top_ : rows_;
    band.layout = layout_;
    band.layout.height = band.rows;
    band.pixels = Span<uint8_t>(memory_.data(), static_cast<size_t>(band.layout.bytes()));
    Result<JpgRect> rect = rectOver(band.pixels, band.layout);
    if (!rect) return rect.status();
    const Status status = decode(*rect, static_cast<int32_t>(band.rows));
    if (!status) return status;
    top_ += band.rows;
    return band;
  }

 private:
  friend class Reader;

  Status decode(JpgRect rect, int32_t rows) {
    if (scale_ != Scale::kFull) {
      return Status(
          jpgReadScaleOutputToRect(reader_->handle(), &rect, rows, static_cast<int32_t>(scale_)));
    }
    const Status status = reader_->readRows(rect, rows);
    const bool last = top_ + static_cast<uint32_t>(rows) >= layout_.height;
    if (!status || !lossless_ || last) return status;
    /* A call without rows gives the lossless decoder the row from which it predicts. */
    rect.bits = static_cast<uint8_t *>(rect.bits) + int64_t{rect.stride} * (rows - 1);
    return reader_->readRows(rect, 0);
  }

  Reader *reader_ = nullptr;
  Layout layout_;
  Buffer memory_;
  uint32_t rows_ = 0, top_ = 0;
  Scale scale_ = Scale::kFull;
  bool lossless_ = false;
};

inline Result<Bands> Reader::bands(uint32_t rows, Scale scale) {
  const Result<Info> frame = info();
  if (!frame) return frame.status();
  const Result<Layout> whole = layoutAt(scale);
  if (!whole) return whole.status();
  if (whole->height == 0) return Status(JPG_E_UNSUPPORTED);
  Bands bands;
  bands.reader_ = this;
  bands.layout_ = *whole;
  bands.rows_ = rows == 0 ? 16 : rows > 65536 ? 65536 : (rows + 15) / 16 * 16;
  bands.scale_ = scale;
  bands.lossless_ = frame->lossless();
  /* One row more: the lossless decoder reads the row behind its last one. */
  Result<Buffer> memory = Buffer::make(uint64_t{whole->rowBytes()} * (bands.rows_ + 1));
  if (!memory) return memory.status();
  bands.memory_ = std::move(*memory);
  return bands;
}
/** @} */

}  // namespace v0
}  // namespace jpg

#endif  // JPG_READER_HPP
