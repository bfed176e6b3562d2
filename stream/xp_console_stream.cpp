// The console streams. Text is UTF-8 inside the system and UTF-16 on a console; a pipe or a file
// in the console's place gets and gives the bytes as they are. Both sides work on whatever the
// standard handle is at the moment of the call.
#include "stream/xp_console_stream.h"

#include <string.h>

#include "object/xp_ref.h"

namespace {

constexpr int32_t REDIRECTED_WIDTH = 80;  // columns to write for where nobody can be asked
constexpr int32_t PIECES = 16;            // parts of a text that was too much for one console call

// ---- stdi ------------------------------------------------------------------------------------

int32_t stdi_open(xp_stream*, uint32_t mode) {
  return mode & STREAM_MODE_WRITE ? XP_E_STREAM : XP_OK;
}

// Copies out what fits of the pending bytes; the rest moves to the front.
int32_t take_pending(xp_console_stream* input, char* out, int32_t room) {
  const auto pending = static_cast<int32_t>(input->pending);
  const int32_t taken = pending < room ? pending : room;
  memcpy(out, input->pending_bytes, static_cast<size_t>(taken));
  memmove(input->pending_bytes, input->pending_bytes + taken, static_cast<size_t>(pending - taken));
  input->pending = static_cast<uint32_t>(pending - taken);
  return taken;
}

// Reads one UTF-16 unit into the pending bytes. Units are converted one by one, so the halves of
// a surrogate pair become two replacement characters.
bool refill(xp_console_stream* input) {
  char16_t unit;
  uint32_t got = 0;
  const xp_console_status status =
      xp_platform->console->read_wide(XP_CONSOLE_INPUT, &unit, 1, &got);
  if (status != XP_CONSOLE_OK || got == 0) return false;
  const int32_t bytes =
      xp_text_to_utf8(&unit, 1, input->pending_bytes, sizeof(input->pending_bytes));
  input->pending = static_cast<uint32_t>(bytes);
  return true;
}

int32_t read_console(xp_console_stream* input, char* out, int32_t length) {
  int32_t delivered = 0;
  while (delivered < length) {
    if (input->pending > 0)
      delivered += take_pending(input, out + delivered, length - delivered);
    else if (!refill(input))
      break;
  }
  return delivered;
}

int32_t stdi_read(xp_stream* stream, void* buffer, int32_t length) {
  if (length < 1 || !buffer) return 0;
  auto* input = static_cast<xp_console_stream*>(stream);
  if (xp_platform->console->is_console(XP_CONSOLE_INPUT))
    return read_console(input, static_cast<char*>(buffer), length);
  uint32_t done = 0;
  const xp_console_status status = xp_platform->console->read_bytes(
      XP_CONSOLE_INPUT, buffer, static_cast<uint32_t>(length), &done);
  return status == XP_CONSOLE_OK ? static_cast<int32_t>(done) : 0;
}

// ---- stde ------------------------------------------------------------------------------------

xp_console_handle handle_of(const xp_stream* stream) {
  const bool error = static_cast<const xp_console_stream*>(stream)->kind == XP_CONSOLE_KIND_ERROR;
  return error ? XP_CONSOLE_ERROR : XP_CONSOLE_OUTPUT;
}

int32_t stde_open(xp_stream*, uint32_t mode) {
  return mode & STREAM_MODE_WRITE ? XP_OK : XP_E_STREAM;
}

// Pushes out what the system still holds of a redirected output. A console holds nothing.
bool push(const xp_stream* stream) {
  const xp_console_handle handle = handle_of(stream);
  const xp_console_ops* console = xp_platform->console;
  return console->is_console(handle) || console->flush(handle) == XP_CONSOLE_OK;
}

int32_t stde_close(xp_stream* stream) {
  // Nobody is left who could be told.
  (void)push(stream);
  return XP_OK;
}

// All of it, or the bytes that went before a write failed or moved nothing.
int32_t write_bytes(xp_console_handle handle, const char* bytes, int32_t length) {
  int32_t written = 0;
  while (written < length) {
    uint32_t done = 0;
    const xp_console_status status = xp_platform->console->write_bytes(
        handle, bytes + written, static_cast<uint32_t>(length - written), &done);
    written += static_cast<int32_t>(done);
    if (status != XP_CONSOLE_OK || done == 0) break;
  }
  return written;
}

bool write_in_pieces(xp_console_handle handle, const char16_t* wide, int32_t units) {
  const int32_t most = units / PIECES + (units % PIECES != 0);
  for (int32_t at = 0; at < units; at += most) {
    const int32_t left = units - at;
    uint32_t done = 0;
    const xp_console_status status = xp_platform->console->write_wide(
        handle, wide + at, static_cast<uint32_t>(left < most ? left : most), &done);
    if (status != XP_CONSOLE_OK) return false;
  }
  return true;
}

bool write_console(xp_console_handle handle, const char* text, int32_t length) {
  const int32_t units = xp_text_to_wide(text, length, nullptr, 0);
  if (units < 1) return true;
  const auto wide = xp_block<char16_t>::of(static_cast<size_t>(units));
  if (!wide) return false;
  xp_text_to_wide(text, length, wide.get(), units);
  uint32_t done = 0;
  const xp_console_status status =
      xp_platform->console->write_wide(handle, wide.get(), static_cast<uint32_t>(units), &done);
  if (status == XP_CONSOLE_OUT_OF_MEMORY) return write_in_pieces(handle, wide.get(), units);
  return status == XP_CONSOLE_OK;
}

int32_t stde_write(xp_stream* stream, const void* bytes, int32_t length) {
  if (length < 1) return 0;
  const xp_console_handle handle = handle_of(stream);
  const auto* text = static_cast<const char*>(bytes);
  if (!xp_platform->console->is_console(handle)) return write_bytes(handle, text, length);
  return write_console(handle, text, length) ? length : 0;
}

int32_t stde_option(xp_stream* stream, int32_t selector, void* argument) {
  auto* out = static_cast<int32_t*>(argument);
  int32_t answer = 0;
  switch (selector) {
    case STREAM_OPTION_PUSH:
      answer = push(stream) ? 0 : -1;
      break;
    case STREAM_OPTION_WIDTH:
      answer = xp_platform->console->width(handle_of(stream));
      if (answer < 1) answer = REDIRECTED_WIDTH;
      break;
    default:
      return XP_E_STREAM;
  }
  if (out) *out = answer;
  return XP_OK;
}

}  // namespace

xp_stream* xp_console_input_new() {
  auto* input = xp_object_new<xp_console_stream>(XP_CONSOLE_IN);
  if (!input) return nullptr;
  input->control = xp_stream_is_stream;
  input->open = stdi_open;
  input->close = xp_stream_close_nothing;
  input->read = stdi_read;
  input->write = xp_stream_no_write;
  input->size = xp_stream_unknown_size;
  input->rewind = xp_stream_no_rewind;
  return input;
}

xp_stream* xp_console_output_new(int32_t kind) {
  auto* output = xp_object_new<xp_console_stream>(XP_CONSOLE_OUT);
  if (!output) return nullptr;
  output->control = xp_stream_is_stream;
  output->open = stde_open;
  output->close = stde_close;
  output->read = xp_stream_no_read;
  output->write = stde_write;
  output->size = xp_stream_unknown_size;
  output->rewind = xp_stream_no_rewind;
  output->option = stde_option;
  output->kind = kind;
  return output;
}
