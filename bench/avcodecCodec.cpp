// SPDX-License-Identifier: MIT
// libavcodec, for lossless coding: one thread.
extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/log.h>
#include <libavutil/pixdesc.h>
}

#include "codec.h"

#define TEXT_OF_VALUE(x) #x
#define TEXT_OF(x) TEXT_OF_VALUE(x)

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

// Copies the frame's samples to the library's layout: the components of a pixel side by side in
// the order of the stream, whether the frame is planar or not.
void takeRows(const AVFrame &frame, const Job &job, Output *pixels) {
  const AVPixFmtDescriptor *format = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
  const size_t sample = job.bits > 8 ? 2 : 1, pixel = sample * job.channels;
  const auto width = static_cast<size_t>(frame.width), rows = static_cast<size_t>(frame.height);
  uint8_t *out = roomFor(pixel * width * rows, pixels);
  for (size_t i = 0; i < width * rows * job.channels; i++) {
    const size_t c = i % job.channels, x = i / job.channels % width, y = i / job.channels / width;
    const AVComponentDescriptor &at = format->comp[c];
    const uint8_t *row =
        frame.data[at.plane] + static_cast<std::ptrdiff_t>(y) * frame.linesize[at.plane];
    const uint8_t *in = row + static_cast<size_t>(at.offset) + static_cast<size_t>(at.step) * x;
    for (size_t b = 0; b < sample; b++) *out++ = in[b];
  }
}

// Users of the decoder work with its own buffer. It is copied only so that it can be checked.
bool decode(const Job &job, const Bytes &stream, Output *pixels) {
  const AVCodec *which = avcodec_find_decoder(AV_CODEC_ID_MJPEG);
  Session s(which);
  if (s.codec == nullptr || avcodec_open2(s.codec, which, nullptr) < 0) return false;
  // The packet doesn't own the bytes.
  s.packet->data = const_cast<uint8_t *>(stream.data());
  s.packet->size = static_cast<int>(stream.size());
  if (avcodec_send_packet(s.codec, s.packet) < 0) return false;
  if (avcodec_receive_frame(s.codec, s.frame) < 0) return false;
  if (pixels->keep) takeRows(*s.frame, job, pixels);
  return true;
}

bool encode(const Job &job, const Picture &picture, Output *stream) {
  const AVCodec *which = avcodec_find_encoder(AV_CODEC_ID_LJPEG);
  Session s(which);
  if (s.codec == nullptr) return false;
  s.codec->pix_fmt = AV_PIX_FMT_BGR24;
  s.codec->width = static_cast<int>(picture.width);
  s.codec->height = static_cast<int>(picture.height);
  s.codec->time_base = {1, 25};
  AVDictionary *options = nullptr;
  av_dict_set_int(&options, "pred", job.coding.predictor, 0);
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
  keepBytes(s.packet->data, static_cast<size_t>(s.packet->size), stream);
  return true;
}

// libavcodec has no lossless encoder for 16 bits.
bool can(const Job &job) { return job.lossless() && (job.task == Task::kDecode || job.bits == 8); }

}  // namespace

extern const Codec *avcodecCodec();
JPG_BENCH_EXPORT const Codec *avcodecCodec() {
  static const Codec codec = {"libavcodec " TEXT_OF(LIBAVCODEC_VERSION_MAJOR), can, decode, encode};
  return &codec;
}

}  // namespace jpgbench
