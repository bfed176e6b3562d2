#include "codec/xp_deflate.h"

#include "object/xp_result.h"

namespace {

constexpr int RAW_WINDOW = -15;  // 32 KB, no zlib or gzip framing
constexpr int MEMORY_LEVEL = 8;
constexpr uint32_t OUTPUT_BLOCK = 0x8000;

// zlib's memory is the system's, too.
void* zlib_alloc(void*, unsigned count, unsigned size) {
  return xp_heap_alloc(static_cast<size_t>(count) * size);
}

void zlib_free(void*, void* block) {
  xp_heap_free(block);
}

// One call of zlib between the two spans. Z_BUF_ERROR only says that nothing could be moved.
int32_t run(xp_filter* filter, int (*call)(z_stream*, int), int flush, xp_filter_span* input,
            xp_filter_span* output) {
  z_stream* zlib = &filter->zlib;
  zlib->next_in = input->bytes;
  zlib->avail_in = input->count;
  zlib->next_out = output->bytes;
  zlib->avail_out = output->count;
  const int result = call(zlib, flush);
  input->bytes = zlib->next_in;
  input->count = zlib->avail_in;
  output->count -= zlib->avail_out;
  if (result == Z_STREAM_END) filter->ended = 1;
  if (result != Z_OK && result != Z_STREAM_END && result != Z_BUF_ERROR) return XP_E_STREAM;
  return zlib->avail_out == 0 ? 1 : 0;
}

int32_t inflate_step(xp_filter* filter, uint32_t, xp_filter_span* input, xp_filter_span* output) {
  return run(filter, inflate, Z_NO_FLUSH, input, output);
}

int32_t inflate_finished(xp_filter* filter) {
  return filter->ended;
}

int32_t deflate_step(xp_filter* filter, uint32_t flags, xp_filter_span* input,
                     xp_filter_span* output) {
  int flush = Z_NO_FLUSH;
  if (flags & XP_FILTER_FINISH)
    flush = Z_FINISH;
  else if (flags & XP_FILTER_SYNC)
    flush = Z_SYNC_FLUSH;
  return run(filter, deflate, flush, input, output);
}

int32_t deflate_finished(xp_filter*) {
  return 0;
}

void inflate_release(xp_object* object) {
  if (!xp_object_drop(object)) return;
  inflateEnd(&static_cast<xp_filter*>(object)->zlib);
  xp_object_free(object);
}

void deflate_release(xp_object* object) {
  if (!xp_object_drop(object)) return;
  deflateEnd(&static_cast<xp_filter*>(object)->zlib);
  xp_object_free(object);
}

bool set_up(xp_filter* filter, int32_t kind, int32_t level) {
  filter->zlib.zalloc = zlib_alloc;
  filter->zlib.zfree = zlib_free;
  if (kind == 0)
    return deflateInit2(&filter->zlib, level, Z_DEFLATED, RAW_WINDOW, MEMORY_LEVEL,
                        Z_DEFAULT_STRATEGY) == Z_OK;
  return inflateInit2(&filter->zlib, RAW_WINDOW) == Z_OK;
}

}  // namespace

xp_filter* xp_filter_new(int32_t kind, int32_t level) {
  auto* filter = xp_object_new<xp_filter>(kind == 0 ? XP_DEFLATE : XP_INFLATE);
  if (!filter) return nullptr;
  if (!set_up(filter, kind, level)) {
    xp_object_release(filter);  // still with the default slot: there is no zlib stream to end
    return nullptr;
  }
  filter->release = kind == 0 ? deflate_release : inflate_release;
  filter->step = kind == 0 ? deflate_step : inflate_step;
  filter->finished = kind == 0 ? deflate_finished : inflate_finished;
  return filter;
}

int32_t xp_filter_step(xp_filter* filter, uint32_t flags, xp_filter_span* input,
                       xp_filter_span* output) {
  if (output->bytes) return filter->step(filter, flags, input, output);
  output->bytes = static_cast<uint8_t*>(xp_heap_alloc(OUTPUT_BLOCK));
  if (!output->bytes) return XP_E_STREAM;
  output->count = OUTPUT_BLOCK;
  const int32_t result = filter->step(filter, flags, input, output);
  if (output->count > 0) return result;
  xp_heap_free(output->bytes);
  output->bytes = nullptr;
  return result;
}

int32_t xp_filter_finished(xp_filter* filter) {
  return filter->finished(filter);
}
