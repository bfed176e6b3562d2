// A gzip member, written whole and in pieces of the size that the first byte gives: both decode the
// same bytes up to the same code, but for what stands behind a trailer.
#include <stdint.h>
#include <stdlib.h>
#include <zlib.h>

#include "codec/xp_gzip.h"
#include "object/xp_ref.h"
#include "stream/xp_stream.h"

namespace {

struct summing_stream : xp_stream {
  uint64_t total;
  uLong sum;
};

int32_t sum_write(xp_stream* stream, const void* bytes, int32_t length) {
  auto* self = static_cast<summing_stream*>(stream);
  self->total += static_cast<uint64_t>(length);
  self->sum = crc32(self->sum, static_cast<const Bytef*>(bytes), static_cast<uInt>(length));
  return length;
}

struct outcome {
  uint64_t total;
  uLong sum;
  int32_t code;
};

outcome decode(const uint8_t* bytes, size_t size, size_t piece) {
  const xp_ref<summing_stream> sink(xp_object_new<summing_stream>(xp_tag("sums")));
  sink->open = [](xp_stream*, uint32_t) { return 0; };
  sink->close = [](xp_stream*) { return 0; };
  sink->write = sum_write;
  const xp_ref<xp_stream> gzip(xp_gzip_stream_new(nullptr, sink.get(), nullptr));
  if (xp_stream_open(gzip.get(), STREAM_MODE_WRITE) != XP_OK) abort();
  int32_t code = 0;
  for (size_t at = 0; at < size && code >= 0; at += piece) {
    const size_t count = size - at < piece ? size - at : piece;
    code = xp_stream_write(gzip.get(), bytes + at, static_cast<int32_t>(count));
    if (code >= 0 && code != static_cast<int32_t>(count)) abort();
  }
  xp_stream_close(gzip.get());
  return {sink->total, sink->sum, code < 0 ? code : 0};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  if (size < 2) return 0;
  const outcome whole = decode(bytes + 1, size - 1, size);
  const outcome pieces = decode(bytes + 1, size - 1, bytes[0] + size_t{1});
  const bool ended_early = whole.code == 0 && pieces.code == XP_E_IO;
  if (pieces.code != whole.code && !ended_early) abort();
  // What zlib gave in the step that failed is dropped, and steps differ with the pieces.
  if (whole.code != XP_E_STREAM && (whole.total != pieces.total || whole.sum != pieces.sum))
    abort();
  return 0;
}
