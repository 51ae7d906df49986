// The marker segments anywhere in a file, also between scans, and in files that the library refuses
// to open. They are read with the library: the tool puts the headers of a small picture in memory
// before the bytes in question, opens a handle on that, and goes to the segment behind its scan
// header.
#ifndef JPGTOOL_FILESEGMENTS_H
#define JPGTOOL_FILESEGMENTS_H

#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "jpg.h"
#include "jpg/segments.hpp"

namespace jpgtool {

struct FileSegment {
  uint16_t marker = 0;
  uint32_t length = 0;        // data bytes that it says it has
  uint64_t end = 0;           // where it ends, perhaps beyond the file's end
  std::vector<uint8_t> data;  // its first bytes: as many as the longest frame header has
};

// A pass over a file, forwards only: no function takes an offset below the one before.
class FileSegments {
 public:
  explicit FileSegments(const std::string &file);
  bool isOpen() const { return file_ != nullptr; }
  uint64_t size() const { return size_; }  // of the file

  // The segment whose marker is at an offset. JPG_E_NOT_JPEG when there is none or its length is
  // below 2.
  uint32_t at(uint64_t offset, FileSegment *segment);

  // Finds the next two bytes that may be a marker: FF with neither 0 nor FF behind it.
  // `marker` receives them. False when there are none.
  bool find(uint64_t *offset, uint16_t *marker);

  // The file's bytes from an offset on; fewer than `count` at its end.
  std::vector<uint8_t> bytesAt(uint64_t offset, size_t count);

 private:
  struct Close {
    void operator()(std::FILE *file) const { std::fclose(file); }
    void operator()(JPGHANDLE handle) const { jpgReadEpilog(handle); }
  };

  const uint8_t *clean(uint64_t offset, size_t count);
  void load(uint64_t offset);
  uint32_t openAt(uint64_t offset);
  size_t left(uint64_t offset) const { return static_cast<size_t>(loaded_ - offset); }

  std::unique_ptr<std::FILE, Close> file_;
  uint64_t size_ = 0;
  std::vector<uint8_t> window_;  // room for a header, then bytes of the file
  uint64_t base_ = 0;            // offset of the first of them
  uint64_t clean_ = 0;           // offset from which on they are the file's
  uint64_t loaded_ = 0;          // offset behind the last one
  std::unique_ptr<JpgContext, Close> handle_;
  std::optional<jpg::SegmentWalk> walk_;
  uint64_t opened_ = 0;  // offset at which the walk began
};

}  // namespace jpgtool

#endif
