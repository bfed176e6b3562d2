// The guarded forms: the open count and the direction are checked here, once, and nowhere else.
#include "stream/xp_stream.h"

#include "object/xp_ref.h"

int32_t xp_stream_open(xp_stream* stream, uint32_t mode) {
  if (!stream) return XP_E_STREAM;
  if (stream->open_count == 0) {
    const int32_t result = stream->open(stream, mode);
    if (result != XP_OK) return result;
  }
  if (mode & STREAM_MODE_WRITE) {
    if (stream->open_count < 0) return XP_E_STREAM;
    stream->open_count++;
  } else {
    // A reader of a stream that is open for writing is one more of its writing users.
    stream->open_count += stream->open_count < 1 ? -1 : 1;
  }
  return XP_OK;
}

void xp_stream_close(xp_stream* stream) {
  if (!stream || stream->open_count == 0) return;
  stream->open_count += stream->open_count < 0 ? 1 : -1;
  // Whoever closes has no use for the outcome: what had to be known was known from `write`.
  if (stream->open_count == 0) (void)stream->close(stream);
}

int32_t xp_stream_read(xp_stream* stream, void* buffer, int32_t length) {
  if (!stream || stream->open_count == 0) return XP_E_STREAM;
  return stream->read(stream, buffer, length);
}

int32_t xp_stream_write(xp_stream* stream, const void* bytes, int32_t length) {
  if (!stream || stream->open_count < 1 || !bytes) return XP_E_STREAM;
  return stream->write(stream, bytes, length);
}

int32_t xp_stream_size(xp_stream* stream, int64_t* out) {
  if (!stream || stream->open_count == 0) return XP_E_STREAM;
  return stream->size(stream, out);
}

int32_t xp_stream_rewind(xp_stream* stream) {
  if (!stream || !stream->rewind || stream->open_count == 0) return XP_E_STREAM;
  return stream->rewind(stream);
}

int32_t xp_stream_option(xp_stream* stream, int32_t selector, void* argument) {
  if (!stream || !stream->option) return XP_E_STREAM;
  return stream->option(stream, selector, argument);
}

xp_word xp_stream_is_stream(xp_object*, int32_t selector, uint32_t argument, void*) {
  return selector == XP_CTL_SUPPORTS && argument == XP_STREAM_PROTOCOL;
}

int32_t xp_stream_vprintf(xp_stream* stream, const char* format, const uint64_t* slots,
                          uint32_t count) {
  if (!format || !format[0]) return 0;
  // One character is no directive, not even "%": the usage text and the writers print many.
  if (!format[1]) return xp_stream_write(stream, format, 1);
  const int32_t length = xp_fmt_vprint(nullptr, 0, format, slots, count);
  if (length < 0 || length == INT32_MAX) return XP_E_STREAM;
  const auto text = xp_block<>::of(static_cast<size_t>(length) + 1);
  if (!text) return XP_E_STREAM;
  const int32_t written = xp_fmt_vprint(text.get(), length + 1, format, slots, count);
  return xp_stream_write(stream, text.get(), written);
}

// ---- stubs -----------------------------------------------------------------------------------

int32_t xp_stream_no_read(xp_stream*, void*, int32_t) {
  return XP_E_STREAM;
}

int32_t xp_stream_no_write(xp_stream*, const void*, int32_t) {
  return XP_E_STREAM;
}

int32_t xp_stream_unknown_size(xp_stream*, int64_t* out) {
  if (out) *out = -1;
  return XP_OK;
}

int32_t xp_stream_no_rewind(xp_stream*) {
  return XP_E_STREAM;
}

int32_t xp_stream_close_nothing(xp_stream*) {
  return XP_OK;
}
