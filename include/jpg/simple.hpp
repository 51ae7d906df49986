// SPDX-License-Identifier: MIT
/**
 * @file simple.hpp
 * @brief Whole pictures from files and to files, in one call each.
 *
 * @code
 *   jpg::Result<jpg::Picture> picture = jpg::read("photo.jpg");
 *   if (!picture) return picture.status();
 *   return jpg::write("copy.jpg", *picture);
 * @endcode
 */
#ifndef JPG_SIMPLE_HPP
#define JPG_SIMPLE_HPP

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#if defined(_WIN32)
#include <cwchar>
#else
#include <sys/stat.h>
#endif

#include "jpg.h"
#include "jpg/memory.hpp"
#include "jpg/picture.hpp"
#include "jpg/reader.hpp"
#include "jpg/result.hpp"
#include "jpg/writer.hpp"

namespace jpg {
inline namespace v0 {

/** @cond */
namespace detail {

/* What is put behind a name while the file isn't complete. */
constexpr char kPart[] = ".part";

#if defined(_WIN32)
struct FileName {
  wchar_t text[Path::kUnits + sizeof(kPart)] = {};
};
inline FileName nameOf(const Path &path) {
  FileName name;
  std::memcpy(name.text, path.c_str(), Path::kUnits * sizeof(wchar_t));
  return name;
}
inline FileName partOf(const FileName &name) {
  FileName part = name;
  for (size_t i = 0, n = std::wcslen(name.text); i < sizeof(kPart); i++)
    part.text[n + i] = static_cast<wchar_t>(kPart[i]);
  return part;
}
inline std::FILE *create(const FileName &name, bool always) {
  return _wfopen(name.text, always ? L"wb" : L"wbx");
}
inline bool isPlain(const FileName &name) {
  const DWORD attributes = GetFileAttributesW(name.text);
  return attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_DEVICE) == 0;
}
inline bool replace(const FileName &from, const FileName &to) {
  return MoveFileExW(from.text, to.text, MOVEFILE_REPLACE_EXISTING) != 0;
}
inline void drop(const FileName &name) { DeleteFileW(name.text); }
#else
struct FileName {
  char text[3 * Path::kUnits + sizeof(kPart)] = {};
};
inline FileName nameOf(const Path &path) {
  FileName name;
  char text[3 * Path::kUnits] = {};
  path.toUtf8(text);
  std::memcpy(name.text, text, sizeof(text));
  /* What a link leads to, so that the link stays and its file is replaced. */
  struct stat info;
  if (lstat(text, &info) != 0 || !S_ISLNK(info.st_mode)) return name;
  char *target = realpath(text, nullptr);
  if (target != nullptr && std::strlen(target) < sizeof(text)) {
    std::memcpy(name.text, target, std::strlen(target) + 1);
  }
  std::free(target);
  return name;
}
inline FileName partOf(const FileName &name) {
  FileName part = name;
  std::memcpy(part.text + std::strlen(name.text), kPart, sizeof(kPart));
  return part;
}
inline std::FILE *create(const FileName &name, bool always) {
  return std::fopen(name.text, always ? "wb" : "wbx");
}
inline bool isPlain(const FileName &name) {
  struct stat info;
  return lstat(name.text, &info) != 0 || S_ISREG(info.st_mode);
}
inline bool replace(const FileName &from, const FileName &to) {
  struct stat info; /* the new file has the rights of the old one */
  if (stat(to.text, &info) == 0 && chmod(from.text, info.st_mode & 07777) != 0) return false;
  return std::rename(from.text, to.text) == 0;
}
inline void drop(const FileName &name) { std::remove(name.text); }
#endif

/* Writes a file whole. Devices and pipes are written straight, and links that lead nowhere. */
inline Status save(const Path &path, const uint8_t *data, size_t size) {
  if (!path.valid()) return Status(JPG_E_OPEN_FAILED);
  const FileName name = nameOf(path);
  const bool plain = isPlain(name);
  const FileName part = plain ? partOf(name) : name;
  std::FILE *file = create(part, !plain);
  if (file == nullptr) return Status(JPG_E_OPEN_FAILED);
  const bool written = std::fwrite(data, 1, size, file) == size;
  const bool closed = std::fclose(file) == 0;
  if (written && closed && (!plain || replace(part, name))) return Status();
  if (plain) drop(part);
  return Status(JPG_E_WRITE_FAULT);
}

}  // namespace detail
/** @endcond */

/** @name One call
 *  @{ */

/** How read() reads. */
struct ReadOptions {
  uint64_t maxPixels = 500000000; /**< more by the header, width times height, are refused */
  Scale scale = Scale::kFull;     /**< size; other than full not for lossless ones */
  bool strict = false;            /**< the device's bits, and no file that it refuses */
};

/** How write() writes. */
struct SaveSettings {
  int32_t quality = 90;               /**< 1 to 100; not of lossless files */
  Sampling sampling = Sampling::k420; /**< of colour; not of lossless files */
  bool lossless = false;              /**< the samples as they are, 2 to 16 bits */
  int32_t predictor = 1;              /**< of lossless files, 1 to 7 */
  int32_t restart = 0;                /**< MCUs of a restart interval, 0: none; of lossless files
                                           pixels, in whole lines */
  WriteOptions writer = WriteOptions::kAverage | WriteOptions::kOptimize; /**< of the stream */
};

/**
 * Reads a picture of any process.
 *
 * @param path    UTF-8 or UTF-16
 * @param options see there
 * @return the picture, which damaged() tells of damage that was passed over; #JPG_E_UNSUPPORTED for
 *         more pixels than allowed; other errors as Reader::file() and Reader::decode() say
 */
inline Result<Picture> read(const Path &path, const ReadOptions &options = {}) {
  Result<Reader> reader = Reader::file(path, options.strict ? kStrict : kUsual);
  if (!reader) return reader.status();
  const Result<Info> info = reader->info();
  if (!info) return info.status();
  if (uint64_t{info->width} * info->height > options.maxPixels) return Status(JPG_E_UNSUPPORTED);
  return options.scale == Scale::kFull ? reader->decode() : reader->decodeScaled(options.scale);
}

/**
 * Writes a picture: 8-bit samples of 1, 3 or 4 channels, or any lossless one. The stream is made in
 * memory; a file of that name is replaced when the new one is complete, and stays as it was after a
 * failure. Devices and pipes are written straight.
 *
 * @param path    UTF-8 or UTF-16
 * @param picture what to write
 * @param options see there
 * @return success; #JPG_E_OPEN_FAILED for a file that can't be made, #JPG_E_WRITE_FAULT for one
 * that can't be completed; other errors as the functions of MemoryWriter say
 */
inline Status write(const Path &path, const Picture &picture, const SaveSettings &options = {}) {
  constexpr int32_t kMostUnits = 65535; /* of a restart interval */
  if (options.restart < 0 || options.restart > kMostUnits) return Status(JPG_E_INVALID_PARAMETER);
  Result<MemoryWriter> writer = MemoryWriter::create(options.writer);
  if (!writer) return writer.status();
  Status status = writer->setQuality(options.quality);
  if (status) status = writer->setSampling(options.sampling);
  if (status) status = writer->setPredictor(options.predictor);
  if (status) status = writer->setRestartInterval(options.restart);
  if (status) status = options.lossless ? writer->encodeLossless(picture) : writer->encode(picture);
  if (!status) return status;
  const Result<Bytes> stream = writer->finish();
  return stream ? detail::save(path, stream->data(), stream->size()) : stream.status();
}
/** @} */

}  // namespace v0
}  // namespace jpg

#endif  // JPG_SIMPLE_HPP
