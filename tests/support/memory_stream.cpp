#include "tests/support/memory_stream.h"

#include <string.h>

static memory_stream* self(xp_stream* stream) {
  return static_cast<memory_stream*>(stream);
}

static void memory_release(xp_object* object) {
  if (!xp_object_drop(object)) return;
  auto* stream = static_cast<memory_stream*>(object);
  delete stream->bytes;
  delete stream->written;
  xp_object_free(object);
}

static int32_t memory_open(xp_stream* stream, uint32_t) {
  self(stream)->opens++;
  return 0;
}

static int32_t memory_close(xp_stream* stream) {
  self(stream)->closes++;
  return 0;
}

static int32_t memory_read(xp_stream* stream, void* buffer, int32_t length) {
  memory_stream* memory = self(stream);
  if (memory->fail_read_at >= 0 && memory->position >= memory->fail_read_at) return XP_E_IO;
  const auto size = static_cast<int64_t>(memory->bytes->size());
  int64_t count = memory->position < size ? size - memory->position : 0;
  if (count > length) count = length;
  if (memory->most_per_read && count > memory->most_per_read) count = memory->most_per_read;
  if (memory->fail_read_at >= 0 && memory->position + count > memory->fail_read_at)
    count = memory->fail_read_at - memory->position;
  if (count > 0)
    memcpy(buffer, memory->bytes->data() + memory->position, static_cast<size_t>(count));
  memory->position += count;
  return static_cast<int32_t>(count);
}

static int32_t memory_write(xp_stream* stream, const void* bytes, int32_t length) {
  memory_stream* memory = self(stream);
  if (memory->fail_write_at >= 0 &&
      static_cast<int64_t>(memory->written->size()) + length > memory->fail_write_at)
    return XP_E_IO;
  memory->written->append(static_cast<const char*>(bytes), static_cast<size_t>(length));
  return length;
}

static int32_t memory_size(xp_stream* stream, int64_t* out) {
  *out = static_cast<int64_t>(self(stream)->bytes->size());
  return 0;
}

static int32_t memory_rewind(xp_stream* stream) {
  self(stream)->position = 0;
  return 0;
}

static int32_t memory_option(xp_stream* stream, int32_t selector, void* argument) {
  if (selector == STREAM_OPTION_SEEK && argument) {
    self(stream)->position = *static_cast<int64_t*>(argument);
    return self(stream)->position < 0 ? XP_E_POSITION : 0;
  }
  if (selector == STREAM_OPTION_TELL && argument) {
    *static_cast<int64_t*>(argument) = self(stream)->position;
    return 0;
  }
  return XP_E_STREAM;
}

memory_stream* memory_stream_new(std::string bytes) {
  auto* stream = xp_object_new<memory_stream>(xp_tag("memo"));
  if (!stream) return nullptr;
  stream->release = memory_release;
  stream->control = xp_stream_is_stream;
  stream->open = memory_open;
  stream->close = memory_close;
  stream->read = memory_read;
  stream->write = memory_write;
  stream->size = memory_size;
  stream->rewind = memory_rewind;
  stream->option = memory_option;
  stream->bytes = new std::string(std::move(bytes));
  stream->written = new std::string();
  stream->fail_read_at = -1;
  stream->fail_write_at = -1;
  return stream;
}
