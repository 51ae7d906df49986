// SPDX-License-Identifier: MIT
#include "suite.h"

namespace golden {

void Digest::byte(uint32_t value) { state_ = (state_ ^ (value & 0xFFU)) * 0x100000001B3U; }

void Digest::number(uint32_t value) {
  for (unsigned shift = 0; shift < 32; shift += 8) byte(value >> shift);
}

void Digest::bytes(const void *data, size_t size) {
  const auto *p = static_cast<const uint8_t *>(data);
  for (size_t i = 0; i < size; i++) byte(p[i]);
}

void Suite::emit(const std::string &name, const Digest &digest) {
  line_(user_, name.c_str(), digest.value());
}

void Suite::result(Digest &digest, uint32_t code) {
  digest.number(code);
  if (strict_) require(code == JPG_OK);
}

Bytes makePixels(int32_t width, int32_t height, int32_t channels, uint32_t seed) {
  Rule rule(seed);
  Bytes out;
  for (int32_t y = 0; y < height; y++) {
    for (int32_t x = 0; x < width; x++) {
      for (int32_t c = 0; c < channels; c++) {
        const int32_t ramp = (x * (5 - c) + y * (3 + c)) / 2 + 60 * c;
        const int32_t edge = ((x / 7 + y / 5 + c) & 3) == 0 ? 90 : 0;
        const int32_t noise = rule.between(-12, 12);
        const int32_t value = (ramp + edge) % 256 + noise;
        out.push_back(static_cast<uint8_t>(value < 0 ? 0 : value > 255 ? 255 : value));
      }
    }
  }
  return out;
}

uint32_t Stream::open(uint32_t flags, JPGHANDLE *handle) const {
  if (!path.empty()) {
    const uint32_t complete = offset != 0 ? JPG_READ_COMPLETE : 0;
    return jpgReadPrologFromFile(path.c_str(), offset, length, flags | complete, handle);
  }
  return jpgReadPrologFromMemory(bytes.data(), static_cast<int32_t>(bytes.size()), flags, handle);
}

int32_t pixelBytesOf(const Stream &stream) { return stream.components < 3 ? 1 : 3; }

Opened::Opened(Suite &suite, Digest &digest, const Stream &stream, uint32_t flags)
    : suite_(suite), digest_(digest) {
  const uint32_t r = stream.open(flags, &handle_);
  suite.result(digest, r);
  if (r != JPG_OK) return;
  uint32_t process = 0, precision = 0;
  suite.result(digest, jpgReadGetCodingProcess(handle_, &process));
  suite.result(digest, jpgReadGetImageSize(handle_, &width_, &height_));
  suite.result(digest, jpgReadGetNumberOfChannels(handle_, &components_));
  suite.result(digest, jpgReadGetSamplePrecision(handle_, &precision));
  for (const uint32_t v : {process, width_, height_, components_, precision}) digest.number(v);
  readable_ = matches(stream);
}

bool Opened::matches(const Stream &stream) const {
  return width_ == static_cast<uint32_t>(stream.width) &&
         (height_ == 0 || height_ == static_cast<uint32_t>(stream.height)) &&
         components_ == static_cast<uint32_t>(stream.components);
}

Opened::~Opened() {
  if (handle_ == nullptr) return;
  const uint32_t r = jpgReadEpilog(handle_);
  digest_.number(r);
  suite_.require(r == JPG_OK);
}

namespace {
constexpr int32_t kGuardRows = 2;  // in front of the rows and behind them
constexpr uint8_t kGuard = 0xA5;
}  // namespace

Plane::Plane(int32_t width, int32_t rows, bool bottomUp)
    : width_(width), rows_(rows), pitch_(8 * width + 12), bottomUp_(bottomUp) {
  memory_.assign(static_cast<size_t>(pitch_) * static_cast<size_t>(rows + 2 * kGuardRows), kGuard);
}

size_t Plane::offset(int32_t row) const {
  const int32_t line = kGuardRows + (bottomUp_ ? rows_ - 1 - row : row);
  return static_cast<size_t>(pitch_) * static_cast<size_t>(line);
}

JpgRect Plane::rect(int32_t firstRow, int32_t pixelBytes) {
  JpgRect r = {};
  r.width = width_;
  r.height = rows_;
  r.stride = bottomUp_ ? -pitch_ : pitch_;
  r.bitsPerPixel = 8 * pixelBytes;
  r.channels = pixelBytes;
  r.bitsPerSample = 8;
  r.bits = memory_.data() + offset(firstRow);
  return r;
}

Bytes takeBlock(Suite &suite, void *data, uint32_t size) {
  const auto *bytes = static_cast<const uint8_t *>(data);
  Bytes out;
  if (data == nullptr) return out;
  out.assign(bytes, bytes + size);
  suite.require(jpgWriteFreeBitstream(data) == JPG_OK);
  return out;
}

}  // namespace golden
