// The file stream: a thin layer over the system's handle, without a buffer of its own.
#include "stream/xp_file_stream.h"

#include <string.h>

#include "object/xp_ref.h"
#include "paths/xp_file.h"

namespace {

xp_file_stream* file_of(xp_object* object) {
  return static_cast<xp_file_stream*>(object);
}

// Between a failed open and the next one there is no handle to call the system with.
bool has_handle(const xp_file_stream* file) {
  return file->handle != 0 && file->handle != XP_FILE_INVALID;
}

void close_handle(xp_file_stream* file) {
  if (has_handle(file)) xp_platform->files->close(file->handle);
  file->handle = 0;
}

// Moves the handle; false when there is none or the system refuses.
bool move(xp_file_stream* file, int64_t distance, xp_file_origin origin, int64_t* out = nullptr) {
  return has_handle(file) &&
         xp_platform->files->seek(file->handle, distance, origin, out) == XP_FILE_OK;
}

int32_t go_to_end(xp_file_stream* file) {
  return move(file, 0, XP_FILE_FROM_END, &file->position) ? XP_OK : XP_E_POSITION;
}

// ---- open and close --------------------------------------------------------------------------

// Others may always read meanwhile; only a reader lets them write.
int32_t open_handle(xp_file_stream* file, bool write) {
  const xp_block<char16_t> wide(xp_path_to_wide(file->path));
  if (!wide) return XP_E_MEMORY;
  const uint32_t access = write ? XP_FILE_READ | XP_FILE_WRITE : XP_FILE_READ;
  const uint32_t share = write ? XP_FILE_SHARE_READ : XP_FILE_SHARE_READ | XP_FILE_SHARE_WRITE;
  const xp_file_status status =
      xp_platform->files->open(wide.get(), access, share, XP_FILE_OPEN_EXISTING, &file->handle);
  if (status == XP_FILE_OK) return XP_OK;
  file->handle = 0;
  return XP_E_NOT_FOUND;
}

int32_t prepare_to_write(xp_file_stream* file, uint32_t mode) {
  if (mode & STREAM_MODE_TRUNCATE) return xp_file_truncate(file->handle, 0);
  return mode & STREAM_MODE_APPEND ? go_to_end(file) : XP_OK;
}

int32_t stmf_open(xp_stream* stream, uint32_t mode) {
  xp_file_stream* file = file_of(stream);
  const bool write = mode & STREAM_MODE_WRITE;
  int32_t result = open_handle(file, write);
  if (result != XP_OK || !write) return result;
  result = prepare_to_write(file, mode);
  if (result != XP_OK) close_handle(file);
  return result;
}

int32_t stmf_close(xp_stream* stream) {
  close_handle(file_of(stream));
  return XP_OK;
}

// ---- bytes -----------------------------------------------------------------------------------

int32_t read_handle(xp_file_stream* file, void* buffer, int32_t length) {
  if (!has_handle(file)) return XP_E_IO;
  uint32_t done = 0;
  const xp_file_status status =
      xp_platform->files->read(file->handle, buffer, static_cast<uint32_t>(length), &done);
  // What came before a failure counts; the next read tells of it.
  if (done > 0) return static_cast<int32_t>(done);
  return status == XP_FILE_OK || status == XP_FILE_END ? XP_E_EOF : XP_E_IO;
}

int32_t stmf_read(xp_stream* stream, void* buffer, int32_t length) {
  xp_file_stream* file = file_of(stream);
  if (length < 0) return XP_E_PARAMETER;
  int32_t count = length;
  if (buffer)
    count = read_handle(file, buffer, length);
  else if (!move(file, length, XP_FILE_FROM_HERE))
    count = XP_E_POSITION;
  if (count > 0) file->position += count;
  return count;
}

int32_t stmf_write(xp_stream* stream, const void* bytes, int32_t length) {
  const xp_file_stream* file = file_of(stream);
  if (length < 0) return XP_E_PARAMETER;
  if (!has_handle(file)) return XP_E_IO;
  const auto count = static_cast<uint32_t>(length);
  uint32_t done = 0;
  const xp_file_status status = xp_platform->files->write(file->handle, bytes, count, &done);
  return status == XP_FILE_OK && done == count ? length : XP_E_IO;
}

int32_t stmf_size(xp_stream* stream, int64_t* out) {
  if (!out) return XP_E_PARAMETER;
  const xp_file_stream* file = file_of(stream);
  *out = 0;
  return has_handle(file) ? xp_file_size(file->handle, out) : XP_E_POSITION;
}

int32_t stmf_rewind(xp_stream* stream) {
  xp_file_stream* file = file_of(stream);
  file->position = 0;
  return move(file, 0, XP_FILE_FROM_START) ? XP_OK : XP_E_POSITION;
}

// ---- render ----------------------------------------------------------------------------------

// The content from where the handle stands, up to `length` bytes.
int32_t read_content(xp_file_stream* file, char* buffer, int32_t length) {
  int32_t delivered = 0;
  while (delivered < length) {
    const int32_t got = read_handle(file, buffer + delivered, length - delivered);
    if (got < 1) break;
    delivered += got;
  }
  return delivered;
}

// The content of an open file; the handle's place is kept.
int32_t render_handle(xp_file_stream* file, char* buffer, int32_t limit) {
  int64_t size = 0;
  if (!buffer) {
    if (!has_handle(file) || xp_file_size(file->handle, &size) != XP_OK) return 0;
    return static_cast<int32_t>(size < limit ? size : limit);
  }
  int64_t place = 0;
  if (!move(file, 0, XP_FILE_FROM_HERE, &place) || !move(file, 0, XP_FILE_FROM_START)) return 0;
  const int32_t delivered = read_content(file, buffer, limit);
  return move(file, place, XP_FILE_FROM_START) ? delivered : 0;
}

int32_t stmf_render(xp_object* object, char* buffer, uint32_t size) {
  xp_file_stream* file = file_of(object);
  const auto limit = static_cast<int32_t>(buffer && size < INT32_MAX ? size : INT32_MAX);
  if (xp_stream_open(file, 0) != XP_OK) return 0;
  const int32_t delivered = render_handle(file, buffer, limit);
  xp_stream_close(file);
  return delivered;
}

// ---- options ---------------------------------------------------------------------------------

// The text behind the last backslash. A segment that has a parent begins with one, so the path's
// own text holds it.
const char* leaf_of(const xp_path* path) {
  if (!path) return "";
  const char* backslash = strrchr(path->text, '\\');
  return backslash ? backslash + 1 : path->text;
}

int32_t tell_name(const xp_file_stream* file, char** out) {
  const char* leaf = leaf_of(file->path);
  const size_t length = strlen(leaf);
  if (out) {
    *out = static_cast<char*>(xp_heap_alloc(length + 1));
    if (*out) memcpy(*out, leaf, length + 1);
  }
  return static_cast<int32_t>(length);
}

int32_t seek_to(xp_file_stream* file, int64_t position) {
  file->position = position;
  return move(file, position, XP_FILE_FROM_START) ? XP_OK : XP_E_POSITION;
}

// Closes and reopens the file by name, to follow one that was moved or replaced.
int32_t roll(xp_file_stream* file, const uint32_t* flags) {
  if (file->open_count == 0) return XP_OK;
  close_handle(file);
  // Whether there is a file now, the opening finds out.
  if (!flags || !(*flags & XP_ROLL_EXISTING)) (void)xp_file_create(file->path);
  const int32_t result = open_handle(file, file->open_count > 0);
  if (result == XP_OK) return go_to_end(file);
  file->handle = XP_FILE_INVALID;
  return result;
}

int32_t stmf_option(xp_stream* stream, int32_t selector, void* argument) {
  xp_file_stream* file = file_of(stream);
  switch (selector) {
    case STREAM_OPTION_FLAGS:
      if (argument) *static_cast<int32_t*>(argument) = 0;
      return XP_OK;
    case STREAM_OPTION_SEEK:
      return argument ? seek_to(file, *static_cast<const int64_t*>(argument)) : XP_OK;
    case STREAM_OPTION_TELL:
      if (argument) *static_cast<int64_t*>(argument) = file->position;
      return XP_OK;
    case STREAM_OPTION_NAME:
      return tell_name(file, static_cast<char**>(argument));
    case STREAM_OPTION_FILE_OBJECT:
      if (argument) *static_cast<xp_object**>(argument) = xp_retain(file->path);
      return XP_OK;
    case STREAM_OPTION_ROLL:
      return roll(file, static_cast<const uint32_t*>(argument));
    default:
      return XP_E_STREAM;
  }
}

void stmf_release(xp_object* object) {
  if (!xp_object_drop(object)) return;
  xp_file_stream* file = file_of(object);
  // Users that never closed lose no handle.
  if (file->open_count != 0) close_handle(file);
  xp_object_release(file->path);
  xp_object_free(file);
}

}  // namespace

xp_stream* xp_file_stream_new(xp_path* path) {
  auto* file = path ? xp_object_new<xp_file_stream>(XP_FILE_STREAM) : nullptr;
  if (!file) return nullptr;
  file->release = stmf_release;
  file->render = stmf_render;
  file->control = xp_stream_is_stream;
  file->open = stmf_open;
  file->close = stmf_close;
  file->read = stmf_read;
  file->write = stmf_write;
  file->size = stmf_size;
  file->rewind = stmf_rewind;
  file->option = stmf_option;
  file->path = xp_retain(path);
  return file;
}
