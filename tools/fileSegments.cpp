#include "fileSegments.h"

#include <algorithm>
#include <cstring>

#include "files.h"

namespace jpgtool {
namespace {

constexpr size_t kWindow = 65536;

// The headers of a grey picture of one pixel; a prolog needs no tables.
constexpr uint8_t kHead[] = {0xFF, 0xD8,                                        // SOI
                             0xFF, 0xC0, 0, 11, 8, 0, 1, 0, 1,  1, 1, 0x11, 0,  // SOF0
                             0xFF, 0xDA, 0, 8,  1, 1, 0, 0, 63, 0};             // SOS
constexpr int kHeadSegments = 2;

constexpr size_t kSegmentHead = 4;             // marker and length
constexpr size_t kLongestFrame = 6 + 3 * 255;  // data of a frame header with 255 components

}  // namespace

FileSegments::FileSegments(const std::string &file)
    : file_(std::fopen(file.c_str(), "rb")), window_(sizeof(kHead) + kWindow) {
  if (file_ != nullptr) size_ = sizeOfFile(file);
}

void FileSegments::load(uint64_t offset) {
  handle_.reset();
  base_ = clean_ = loaded_ = offset;
  if (file_ == nullptr || fseeko(file_.get(), static_cast<off_t>(offset), SEEK_SET) != 0) return;
  loaded_ += std::fread(window_.data() + sizeof(kHead), 1, kWindow, file_.get());
  if (loaded_ < offset + kWindow) size_ = std::min(size_, loaded_);
}

// The file's bytes from an offset on: `count` of them, or fewer at its end.
const uint8_t *FileSegments::clean(uint64_t offset, size_t count) {
  const bool there = offset >= clean_ && offset <= loaded_;
  if (!there || (offset + count > loaded_ && loaded_ < size_)) load(offset);
  return window_.data() + sizeof(kHead) + static_cast<size_t>(offset - base_);
}

// Opens a handle whose next segment is at the offset, which is in the window.
uint32_t FileSegments::openAt(uint64_t offset) {
  uint8_t *start = window_.data() + static_cast<size_t>(offset - base_);
  std::memcpy(start, kHead, sizeof(kHead));
  clean_ = opened_ = offset;
  JPGHANDLE handle = nullptr;
  const uint32_t r = jpgReadPrologFromMemory(
      start, static_cast<int32_t>(sizeof(kHead) + left(offset)), JPG_READ_COMPLETE, &handle);
  handle_.reset(handle);
  if (r != JPG_OK) return r;
  walk_.emplace(handle);
  for (int i = 0; i < kHeadSegments; i++) {
    if (const auto segment = walk_->next(); !segment) return segment.code();
  }
  return JPG_OK;
}

uint32_t FileSegments::at(uint64_t offset, FileSegment *segment) {
  clean(offset, kSegmentHead + kLongestFrame);
  const bool next = handle_ != nullptr && opened_ + walk_->end() - sizeof(kHead) == offset;
  if (!next) {
    if (const uint32_t r = openAt(offset); r != JPG_OK) return r;
  }
  const jpg::Result<jpg::Segment> found = walk_->next();
  if (!found) {
    handle_.reset();
    return found.code();
  }
  segment->marker = found->marker;
  segment->length = found->length;
  segment->end = opened_ + walk_->end() - sizeof(kHead);
  const size_t behind = left(offset) > kSegmentHead ? left(offset) - kSegmentHead : 0;
  segment->data.resize(std::min({size_t{found->length}, kLongestFrame, behind}));
  if (!segment->data.empty()) (void)walk_->read(segment->data);
  return JPG_OK;
}

bool FileSegments::find(uint64_t *offset, uint16_t *marker) {
  while (*offset + 1 < size_) {
    const uint8_t *bytes = clean(*offset, 2);
    const size_t count = left(*offset);
    if (count < 2) return false;
    const void *found = std::memchr(bytes, 0xFF, count - 1);
    const size_t i = found != nullptr
                         ? static_cast<size_t>(static_cast<const uint8_t *>(found) - bytes)
                         : count - 1;
    *offset += i;
    if (found == nullptr) continue;
    *marker = static_cast<uint16_t>(0xFF00 | bytes[i + 1]);
    if (bytes[i + 1] != 0 && bytes[i + 1] != 0xFF) return true;
    *offset += 1;
  }
  return false;
}

std::vector<uint8_t> FileSegments::bytesAt(uint64_t offset, size_t count) {
  const uint8_t *bytes = clean(offset, count);
  return {bytes, bytes + std::min(count, left(offset))};
}

}  // namespace jpgtool
