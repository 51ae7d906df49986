#include "yardstick.h"

#include <csetjmp>
#include <cstdio>

#include <jpeglib.h>

namespace jpgbench {
namespace {

// libjpeg calls back on errors and expects not to be returned to.
struct Failure {
  jpeg_error_mgr manager;
  std::jmp_buf back;
};

void leave(j_common_ptr info) { std::longjmp(reinterpret_cast<Failure *>(info->err)->back, 1); }

// The work between jpeg_create_decompress() and jpeg_destroy_decompress(); no object
// with a destructor lives here, since an error jumps over it.
bool decodeInto(jpeg_decompress_struct *info, const Bytes &stream, Bytes *pixels) {
  jpeg_mem_src(info, stream.data(), static_cast<unsigned long>(stream.size()));
  jpeg_read_header(info, TRUE);
  info->dct_method = JDCT_ISLOW;
  info->do_fancy_upsampling = FALSE;
  if (info->num_components == 3) info->out_color_space = JCS_EXT_BGR;
  jpeg_start_decompress(info);
  const size_t stride = size_t{info->output_width} * static_cast<unsigned>(info->output_components);
  if (stride * info->output_height != pixels->size()) return false;
  while (info->output_scanline < info->output_height) {
    JSAMPROW row = pixels->data() + stride * info->output_scanline;
    jpeg_read_scanlines(info, &row, 1);
  }
  jpeg_finish_decompress(info);
  return info->err->num_warnings == 0;
}

}  // namespace

bool decodeWithLibjpeg(const Bytes &stream, Bytes *pixels) {
  jpeg_decompress_struct info;
  Failure failure;
  info.err = jpeg_std_error(&failure.manager);
  failure.manager.error_exit = leave;
  bool done = false;
  if (setjmp(failure.back) == 0) {
    jpeg_create_decompress(&info);
    done = decodeInto(&info, stream, pixels);
  }
  jpeg_destroy_decompress(&info);
  return done;
}

}  // namespace jpgbench
