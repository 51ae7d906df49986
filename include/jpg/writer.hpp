// SPDX-License-Identifier: MIT
/**
 * @file writer.hpp
 * @brief Writing through the C++ interface.
 */
#ifndef JPG_WRITER_HPP
#define JPG_WRITER_HPP

#include <cstdint>
#include <utility>

#include "jpg.h"
#include "jpg/memory.hpp"
#include "jpg/picture.hpp"
#include "jpg/result.hpp"

namespace jpg {
inline namespace v0 {

/** @name Writing
 *  @{ */

/** Sampling of colour pictures of three components. */
enum class Sampling : uint32_t {
  k444 = 0x00111111, /**< no subsampling */
  k422 = 0x00211111, /**< chroma at half the width */
  k440 = 0x00121111, /**< chroma at half the height */
  k420 = 0x00221111  /**< chroma at half of both: the default */
};

/** Unit of the densities of a JFIF segment. */
enum class DensityUnit : uint8_t { kAspect = 0, kPerInch = 1, kPerCentimetre = 2 };

/** Options of a writer, joined by |; "Options of a write handle" in jpg.h has what they give. */
enum class WriteOptions : uint32_t {
  kNone = 0,
  kAverage = JPG_WRITE_AVERAGE,         /**< averages of subsampled components */
  kOptimize = JPG_WRITE_OPTIMIZE,       /**< Huffman tables made for the picture */
  kProgressive = JPG_WRITE_PROGRESSIVE, /**< a progressive file */
  kSmallest = kAverage | kProgressive   /**< what takes the fewest bytes */
};
/** @param a options  @param b more of them  @return all of them */
constexpr WriteOptions operator|(WriteOptions a, WriteOptions b) {
  return static_cast<WriteOptions>(static_cast<uint32_t>(a) | static_cast<uint32_t>(b));
}

/** What file and memory writers share: settings, segments, encoding. */
class Writer {
 public:
  /** @return the handle, for functions of jpg.h; stays this object's */
  JPGHANDLE handle() const { return handle_; }

  /** @param quality 1 to 100  @return as jpgWriteSetQuantizationFactor() says */
  Status setQuality(int32_t quality) {
    return Status(jpgWriteSetQuantizationFactor(handle_, quality));
  }
  /** @param sampling of the components  @return as jpgWriteSetSubsamplingFactor() says */
  Status setSampling(Sampling sampling) {
    return Status(jpgWriteSetSubsamplingFactor(handle_, static_cast<uint32_t>(sampling)));
  }
  /** @param width pixels  @param height lines  @return as jpgWriteSetImageSize() says */
  Status setSize(uint32_t width, uint32_t height) {
    return Status(jpgWriteSetImageSize(handle_, width, height));
  }
  /** @param count 1 to 4  @return as jpgWriteSetNumberOfComponents() says */
  Status setComponents(int32_t count) {
    return Status(jpgWriteSetNumberOfComponents(handle_, count));
  }
  /** @param mcus MCUs of a restart interval, 0 = none
   *  @return as jpgWriteSetRestartInterval() says */
  Status setRestartInterval(int32_t mcus) {
    return Status(jpgWriteSetRestartInterval(handle_, mcus));
  }
  /** @param predictor of lossless images, 1 to 7
   *  @return as jpgWriteSetSpatialPredictor() says */
  Status setPredictor(int32_t predictor) {
    return Status(jpgWriteSetSpatialPredictor(handle_, predictor));
  }
  /** Writes three components as RGB.  @return as jpgWriteSetNoColorConversion() says */
  Status keepComponents() { return Status(jpgWriteSetNoColorConversion(handle_)); }

  /**
   * Writes a marker segment; ahead of the first encode call.
   *
   * @param marker 0xFFC0 to 0xFFFE
   * @param data   1 to 65533 bytes
   * @return as jpgWriteWriteMarkerSegment() says
   */
  Status segment(uint32_t marker, Span<const uint8_t> data) {
    if (data.size() > 65533) return Status(JPG_E_INVALID_PARAMETER);
    return Status(jpgWriteWriteMarkerSegment(handle_, marker, data.data(),
                                             static_cast<uint32_t>(data.size())));
  }
  /**
   * Writes a JFIF segment (ITU-T T.871), version 1.2, without a thumbnail; the first segment.
   *
   * @param unit what the densities count
   * @param x    pixels per unit of width, not 0
   * @param y    pixels per unit of height, not 0
   * @return as segment() says; #JPG_E_INVALID_PARAMETER for a density of 0
   */
  Status jfif(DensityUnit unit = DensityUnit::kAspect, uint16_t x = 1, uint16_t y = 1) {
    const auto byte = [](int v) { return static_cast<uint8_t>(v & 0xFF); };
    const uint8_t data[] = {
        'J',          'F',     'I',          'F',     0, 1, 2, static_cast<uint8_t>(unit),
        byte(x >> 8), byte(x), byte(y >> 8), byte(y), 0, 0};
    constexpr uint32_t kApp0 = 0xFFE0;
    return x == 0 || y == 0 ? Status(JPG_E_INVALID_PARAMETER) : segment(kApp0, data);
  }

  /** @param picture 8-bit samples, 1, 3 or 4 channels; as wide as the first one and of its kind
   *  @return as jpgWriteFromRect() says; #JPG_E_INVALID_PARAMETER for a picture that isn't so */
  Status encode(const Picture &picture) { return whole(picture, jpgWriteFromRect); }
  /** @param rect pixels, as wide as the first ones and of their kind
   *  @param lines how many, a multiple of 16 but for the last call
   *  @return as encode(const Picture &) says */
  Status encode(const JpgRect &rect, uint32_t lines) { return next(rect, lines, jpgWriteFromRect); }
  /** @param picture samples of 2 to 16 bits, 1 to 4 channels; as encode(const Picture &) says
   *  @return as jpgWriteSpatialFromRect() and encode(const Picture &) say */
  Status encodeLossless(const Picture &picture) { return whole(picture, jpgWriteSpatialFromRect); }
  /** @param rect samples  @param lines how many
   *  @return as encodeLossless(const Picture &) says */
  Status encodeLossless(const JpgRect &rect, uint32_t lines) {
    return next(rect, lines, jpgWriteSpatialFromRect);
  }
  /** @param info the bitmap's description, with its colour table  @param bits its pixels
   *  @param lines rows to encode  @return as jpgWriteFromWinDIBits() says */
  Status encode(const BITMAPINFO &info, const void *bits, int32_t lines) {
    return Status(jpgWriteFromWinDIBits(handle_, lines, bits, &info));
  }

 protected:
  Writer() = default;
  ~Writer() = default;
  /** @param handle write handle, taken over */
  explicit Writer(JPGHANDLE handle) : handle_(handle) {}
  /** @param other holds no handle afterwards */
  Writer(Writer &&other) noexcept : handle_(other.release()), frame_(other.frame_) {}
  /** @param other holds this one's handle afterwards */
  void swap(Writer &other) noexcept {
    std::swap(handle_, other.handle_);
    std::swap(frame_, other.frame_);
  }
  /** @return the handle, which no longer is this object's */
  JPGHANDLE release() noexcept { return std::exchange(handle_, nullptr); }

 private:
  using Write = uint32_t(JPG_CALL *)(JPGHANDLE, const JpgRect *, uint32_t);

  Status whole(const Picture &picture, Write write) {
    const Result<JpgRect> rect = picture.rect();
    if (!rect) return rect.status();
    return next(*rect, picture.height(), write);
  }
  /* The library reads rows as the first call describes them, and doesn't compare later ones. */
  Status next(const JpgRect &rect, uint32_t lines, Write write) {
    const bool alike = rect.width == frame_.width && rect.channels == frame_.channels &&
                       (rect.bitsPerSample > 8) == (frame_.bitsPerSample > 8);
    if (begun() && !alike) return Status(JPG_E_INVALID_PARAMETER);
    const Status status(write(handle_, &rect, lines));
    if (status && !begun()) frame_ = rect;
    return status;
  }
  bool begun() const { return frame_.width != 0; }

  JPGHANDLE handle_ = nullptr;
  JpgRect frame_ = {}; /* of the first call; all 0 before it */
};

/** Writes a file; finish() completes it, and so does the destructor, but without a result. */
class FileWriter : public Writer {
 public:
  FileWriter() = default;
  /** Moves the handle.  @param other holds none afterwards */
  FileWriter(FileWriter &&other) noexcept = default;
  /** Exchanges the handles.  @param other holds this one's afterwards  @return this */
  FileWriter &operator=(FileWriter &&other) noexcept {
    swap(other);
    return *this;
  }
  ~FileWriter() { (void)finish(); }

  /** @param path UTF-8 or UTF-16  @param options of the writer
   *  @return the writer; errors as jpgWritePrologToFile() says */
  static Result<FileWriter> create(const Path &path, WriteOptions options = WriteOptions::kNone) {
    JPGHANDLE handle = nullptr;
    if (!path.valid()) return Status(JPG_E_OPEN_FAILED);
    const Status status(
        jpgWritePrologToFile(path.c_str(), static_cast<uint32_t>(options), &handle));
    if (!status) return status;
    return FileWriter(handle);
  }
  /** Completes and closes the file.  @return as jpgWriteEpilogToFile() says */
  Status finish() { return Status(jpgWriteEpilogToFile(release())); }

 private:
  explicit FileWriter(JPGHANDLE handle) : Writer(handle) {}
};

/** Writes into memory; finish() returns the stream, the destructor discards it. */
class MemoryWriter : public Writer {
 public:
  MemoryWriter() = default;
  /** Moves the handle.  @param other holds none afterwards */
  MemoryWriter(MemoryWriter &&other) noexcept = default;
  /** Exchanges the handles.  @param other holds this one's afterwards  @return this */
  MemoryWriter &operator=(MemoryWriter &&other) noexcept {
    swap(other);
    return *this;
  }
  ~MemoryWriter() { (void)finish(); }

  /** @param flags 0 or #JPG_WRITE_PARTIAL_BITSTREAM, and options of jpg.h
   *  @return the writer; errors as jpgWritePrologToMemory() says */
  static Result<MemoryWriter> create(uint32_t flags = 0) {
    JPGHANDLE handle = nullptr;
    const Status status(jpgWritePrologToMemory(flags, &handle));
    if (!status) return status;
    return MemoryWriter(handle);
  }
  /** @param options of the writer
   *  @return the writer; errors as jpgWritePrologToMemory() says */
  static Result<MemoryWriter> create(WriteOptions options) {
    return create(static_cast<uint32_t>(options));
  }
  /** Completes the stream.  @return it; errors as jpgWriteEpilogToMemory() says */
  Result<Bytes> finish() {
    void *data = nullptr;
    uint32_t size = 0;
    const Status status(jpgWriteEpilogToMemory(release(), &data, &size));
    Bytes bytes(data, size);
    if (!status) return status;
    return bytes;
  }
  /** Takes the bytes written so far.
   *  @return it; errors as jpgWriteGetPartialBitstream() says */
  Result<Bytes> piece() {
    void *data = nullptr;
    uint32_t size = 0;
    const Status status(jpgWriteGetPartialBitstream(handle(), &data, &size));
    if (!status) return status;
    return Bytes(data, size);
  }

 private:
  explicit MemoryWriter(JPGHANDLE handle) : Writer(handle) {}
};
/** @} */

}  // namespace v0
}  // namespace jpg

#endif  // JPG_WRITER_HPP
