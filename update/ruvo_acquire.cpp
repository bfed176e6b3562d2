#include "update/ruvo_acquire.h"

#include <string.h>

#include "codec/xp_sha256.h"
#include "object/xp_ascii.h"
#include "object/xp_ref.h"
#include "paths/xp_file.h"
#include "stream/xp_file_stream.h"
#include "stream/xp_url.h"
#include "update/ruvo_container.h"

xp_str* ruvo_name_from_url(xp_str* url) {
  if (xp_str_is_empty(url)) return nullptr;
  xp_ref parsed(xp_url_new(url->text, url->length));
  if (!parsed || !parsed->path.text) return nullptr;
  const char* slash = strrchr(parsed->path.text, '/');
  const char* name = slash ? slash + 1 : parsed->path.text;
  if (!*name || *name == '.') return nullptr;
  return xp_str_new(name);
}

// ---- the digest ------------------------------------------------------------------------------

namespace {

constexpr int32_t DIGEST_SIZE = 32;
constexpr uint32_t READ_SIZE = 65536;      // of one read: fewer calls than one for each block
constexpr uint32_t FEED_SIZE = 4096;       // of one block given to the hash
constexpr uint32_t SMALL_READ_SIZE = 256;  // of both, when there is no memory

// A character that is no digit counts as 0.
uint8_t hexadecimal_value(char c) {
  const int32_t value = xp_ascii_hex_value(c);
  return value < 0 ? 0 : static_cast<uint8_t>(value);
}

// One missing last character is taken as 0; a text shorter than that is no digest.
bool read_digest(const xp_str* digest, uint8_t out[DIGEST_SIZE]) {
  if (digest->length < 2 * DIGEST_SIZE - 1) return false;
  for (int32_t i = 0; i < DIGEST_SIZE; i++) {
    const uint8_t high = hexadecimal_value(digest->text[2 * i]);
    const uint8_t low = 2 * i + 1 < digest->length ? hexadecimal_value(digest->text[2 * i + 1]) : 0;
    out[i] = static_cast<uint8_t>(high << 4 | low);
  }
  return true;
}

void feed(xp_sha256* state, const uint8_t* bytes, uint32_t length) {
  for (uint32_t at = 0; at < length; at += FEED_SIZE)
    xp_sha256_update(state, bytes + at, length - at < FEED_SIZE ? length - at : FEED_SIZE);
}

// A failed or short read ends the feeding early; the digest then differs.
void feed_file(xp_sha256* state, xp_file_handle file, int64_t size) {
  uint8_t small[SMALL_READ_SIZE];
  auto large = xp_block<uint8_t>::of(READ_SIZE);
  uint8_t* buffer = large ? large.get() : small;
  const uint32_t capacity = large ? READ_SIZE : SMALL_READ_SIZE;
  while (size > 0) {
    const auto wanted = static_cast<uint32_t>(size < capacity ? size : capacity);
    uint32_t got = 0;
    const xp_file_status status = xp_platform->files->read(file, buffer, wanted, &got);
    feed(state, buffer, got);
    if (status != XP_FILE_OK || got != wanted) return;
    size -= got;
  }
}

bool digest_of_file(xp_path* path, uint8_t out[DIGEST_SIZE]) {
  xp_block<char16_t> wide(xp_path_to_wide(path));
  xp_file_handle file;
  if (!wide ||
      xp_platform->files->open(wide.get(), XP_FILE_READ, XP_FILE_SHARE_READ | XP_FILE_SHARE_WRITE,
                               XP_FILE_OPEN_EXISTING, &file) != XP_FILE_OK)
    return false;
  int64_t size = 0;
  const bool measured = xp_file_size(file, &size) == 0 && size <= INT32_MAX;
  if (measured) {
    xp_sha256 state;
    xp_sha256_init(&state);
    feed_file(&state, file, size);
    xp_sha256_final(&state);
    for (int32_t i = 0; i < DIGEST_SIZE; i++)
      out[i] = static_cast<uint8_t>(state.h[i / 4] >> (24 - 8 * (i % 4)));
  }
  xp_platform->files->close(file);
  return measured;
}

}  // namespace

int32_t ruvo_digest_matches(xp_path* path, xp_str* digest) {
  uint8_t wanted[DIGEST_SIZE];
  uint8_t found[DIGEST_SIZE];
  if (xp_str_is_empty(digest) || !read_digest(digest, wanted)) return -1;
  if (!digest_of_file(path, found)) return -1;
  return memcmp(wanted, found, DIGEST_SIZE);
}

// ---- the package -----------------------------------------------------------------------------

namespace {

constexpr char PACKAGE_ENDING[] = ".msi";
constexpr int32_t ENDING_LENGTH = 4;
constexpr int32_t NAME_SIZE = 60;     // bytes used of a stored name
constexpr int32_t WHOLE_FILE = -1;    // index for ruvo_container_copy_out
constexpr int32_t PACKAGE_INDEX = 1;  // the package is always payload 1

// Room for a name, the ending and a NUL.
struct output_name {
  char text[NAME_SIZE + ENDING_LENGTH + 1];
};

bool ends_in_msi(const char* text, int32_t length) {
  return xp_text_compare_nocase(text + length - ENDING_LENGTH, ENDING_LENGTH, PACKAGE_ENDING,
                                ENDING_LENGTH) == 0;
}

// Whether the file holds a trailer that counts anything.
bool is_container(xp_stream* stream) {
  if (xp_stream_open(stream, 0) != 0) return false;
  const int32_t count = ruvo_container_trailer(stream, nullptr);
  xp_stream_close(stream);
  return count > 0;
}

// The name field of an open container, up to 60 bytes of it. False when it can't be read whole.
bool read_name_field(xp_stream* stream, output_name* name) {
  ruvo_container_entries entries;
  if (ruvo_container_trailer(stream, &entries) < 0) return false;
  if (entries.name_offset == 0 || entries.name_length == 0) return false;
  int64_t offset = entries.name_offset;
  const int32_t length = entries.name_length < static_cast<uint32_t>(NAME_SIZE)
                             ? static_cast<int32_t>(entries.name_length)
                             : NAME_SIZE;
  if (xp_stream_option(stream, STREAM_OPTION_SEEK, &offset) != 0) return false;
  return xp_stream_read(stream, name->text, length) == length;
}

// The name that a container stores for its package. False when there is none, or an empty one.
bool stored_name(xp_stream* stream, output_name* name) {
  *name = {};
  if (xp_stream_open(stream, 0) != 0) return false;
  const bool read = read_name_field(stream, name);
  xp_stream_close(stream);
  return read && name->text[0];
}

// The first 59 bytes of the canonical name, cut at a character.
bool given_name(xp_str* given, output_name* name) {
  *name = {};
  return xp_str_copy_out(given, name->text, NAME_SIZE - 1) > 0;
}

// A child of the folder of `path`, with the ending of a package.
xp_path* named_output(xp_path* path, output_name* name) {
  const int32_t length = xp_text_length(name->text);
  if (length <= ENDING_LENGTH || !ends_in_msi(name->text, length))
    memcpy(name->text + length, PACKAGE_ENDING, ENDING_LENGTH + 1);
  xp_ref folder(xp_path_parent(path));
  // A child of no folder would land at the root of the current drive.
  return folder ? xp_path_child(folder.get(), name->text) : nullptr;
}

// The extension of the path's own text, from its last "." behind the last backslash.
bool has_package_extension(const xp_path* path) {
  const char* slash = strrchr(path->text, '\\');
  const char* dot = strrchr(slash ? slash : path->text, '.');
  return dot && xp_text_compare_nocase(dot, -1, PACKAGE_ENDING, -1) == 0;
}

// Without any name: the path itself when it names a package, otherwise the path with ".msi".
xp_path* unnamed_output(xp_path* path) {
  if (has_package_extension(path)) return xp_retain(path);
  xp_ref own_text(xp_str_new_n(path->text, path->length));
  xp_ref text(own_text ? xp_str_append(own_text.get(), PACKAGE_ENDING, ENDING_LENGTH) : nullptr);
  return text ? xp_path_new(path->parent, text->text, text->length) : nullptr;
}

}  // namespace

xp_path* ruvo_extract_installer(xp_path* path, xp_str* name) {
  xp_ref stream(xp_file_stream_new(path));
  const bool container = is_container(stream.get());
  output_name output;
  xp_ref<xp_path> target;
  if ((container && stored_name(stream.get(), &output)) || given_name(name, &output))
    target.reset(named_output(path, &output));
  else
    target.reset(unnamed_output(path));
  if (!target) return nullptr;
  const int32_t index = container ? PACKAGE_INDEX : WHOLE_FILE;
  if (ruvo_container_copy_out(stream.get(), target.get(), index) != RUVO_CONTAINER_DONE)
    return nullptr;
  return target.take();
}
