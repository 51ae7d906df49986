extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/log.h>
}

#include <cstring>

#include "losslessYardstick.h"

namespace jpgbench {
namespace {

// The objects that a call owns.
struct Session {
  AVCodecContext *codec = nullptr;
  AVPacket *packet = av_packet_alloc();
  AVFrame *frame = av_frame_alloc();
  explicit Session(const AVCodec *which) {
    av_log_set_level(AV_LOG_QUIET);
    if (which == nullptr) return;
    codec = avcodec_alloc_context3(which);
    codec->thread_count = 1;
  }
  ~Session() {
    av_frame_free(&frame);
    av_packet_free(&packet);
    avcodec_free_context(&codec);
  }
  Session(const Session &) = delete;
  Session &operator=(const Session &) = delete;
};

size_t bytesOfPixel(int format) {
  switch (format) {
    case AV_PIX_FMT_GRAY8:
      return 1;
    case AV_PIX_FMT_GRAY16LE:
      return 2;
    case AV_PIX_FMT_RGB24:
    case AV_PIX_FMT_BGR24:
      return 3;
    default:
      return 4;
  }
}

// Users of the decoder work with its own buffer. It is copied only so that it can be checked.
void takeRows(const AVFrame &frame, Bytes *pixels) {
  const size_t row = bytesOfPixel(frame.format) * static_cast<size_t>(frame.width);
  const auto rows = static_cast<size_t>(frame.height);
  if (pixels->size() < row * rows) pixels->resize(row * rows);
  for (size_t y = 0; y < rows; y++) {
    std::memcpy(pixels->data() + row * y,
                frame.data[0] + static_cast<std::ptrdiff_t>(y) * frame.linesize[0], row);
  }
}

}  // namespace

bool decodeWithAvcodec(const Bytes &stream, Bytes *pixels) {
  const AVCodec *which = avcodec_find_decoder(AV_CODEC_ID_MJPEG);
  Session s(which);
  if (s.codec == nullptr || avcodec_open2(s.codec, which, nullptr) < 0) return false;
  // The packet doesn't own the bytes.
  s.packet->data = const_cast<uint8_t *>(stream.data());
  s.packet->size = static_cast<int>(stream.size());
  if (avcodec_send_packet(s.codec, s.packet) < 0) return false;
  if (avcodec_receive_frame(s.codec, s.frame) < 0) return false;
  takeRows(*s.frame, pixels);
  return true;
}

bool encodeWithAvcodec(const Picture &picture, int predictor, Bytes *stream) {
  const AVCodec *which = avcodec_find_encoder(AV_CODEC_ID_LJPEG);
  Session s(which);
  if (s.codec == nullptr) return false;
  s.codec->pix_fmt = AV_PIX_FMT_BGR24;
  s.codec->width = static_cast<int>(picture.width);
  s.codec->height = static_cast<int>(picture.height);
  s.codec->time_base = {1, 25};
  AVDictionary *options = nullptr;
  av_dict_set_int(&options, "pred", predictor, 0);
  const int opened = avcodec_open2(s.codec, which, &options);
  av_dict_free(&options);
  if (opened < 0) return false;
  s.frame->format = AV_PIX_FMT_BGR24;
  s.frame->width = s.codec->width;
  s.frame->height = s.codec->height;
  s.frame->data[0] = const_cast<uint8_t *>(picture.pixels.data());
  s.frame->linesize[0] = static_cast<int>(picture.rowBytes());
  if (avcodec_send_frame(s.codec, s.frame) < 0) return false;
  if (avcodec_receive_packet(s.codec, s.packet) < 0) return false;
  stream->assign(s.packet->data, s.packet->data + s.packet->size);
  return true;
}

}  // namespace jpgbench
