#include "update/ruvo_container.h"

#include <string.h>
#include <bit>

#include "object/xp_ref.h"
#include "paths/xp_file.h"
#include "stream/xp_file_stream.h"

static_assert(std::endian::native == std::endian::little, "the trailer is read as it lies");

namespace {

constexpr char MAGIC[4] = {'r', 'v', 'T', 'P'};
constexpr int32_t BLOCK_SIZE = 65536;

// Seeks and reads exactly `length` bytes.
bool read_at(xp_stream* stream, int64_t offset, void* out, int32_t length) {
  if (xp_stream_option(stream, STREAM_OPTION_SEEK, &offset) != 0) return false;
  return xp_stream_read(stream, out, length) == length;
}

uint32_t number_at(const uint8_t* bytes, size_t offset, size_t size) {
  uint32_t number = 0;
  memcpy(&number, bytes + offset, size);
  return number;
}

// ---- the end mark ----------------------------------------------------------------------------

constexpr int32_t DOS_HEADER_SIZE = 64;
constexpr int32_t PE_HEADER_SIZE = 264;
constexpr size_t PE_OFFSET_AT = 60;       // in the DOS header, signed
constexpr size_t OPTIONAL_MAGIC_AT = 24;  // in the PE header
constexpr uint32_t PE32_PLUS = 0x20B;
constexpr uint32_t CERTIFICATE_ENTRY = 4;  // index among the data directories

// Where the data directories stand in the PE header, by the optional header's magic.
struct directory_layout {
  size_t count_at;
  size_t certificate_offset_at;
  size_t certificate_size_at;
};

constexpr directory_layout layout_pe32 = {0x74, 0x98, 0x9C};
constexpr directory_layout layout_pe32_plus = {0x84, 0xA8, 0xAC};

// The file offset of a PE file's certificate table; 0 when the file is no PE file or has none.
uint32_t certificate_offset(xp_stream* stream) {
  uint8_t dos[DOS_HEADER_SIZE];
  if (!read_at(stream, 0, dos, DOS_HEADER_SIZE) || memcmp(dos, "MZ", 2) != 0) return 0;
  const auto pe_offset = static_cast<int32_t>(number_at(dos, PE_OFFSET_AT, 4));
  uint8_t pe[PE_HEADER_SIZE];
  if (pe_offset < 0 || !read_at(stream, pe_offset, pe, PE_HEADER_SIZE)) return 0;
  if (memcmp(pe, "PE\0\0", 4) != 0) return 0;
  const bool plus = number_at(pe, OPTIONAL_MAGIC_AT, 2) == PE32_PLUS;
  const directory_layout& layout = plus ? layout_pe32_plus : layout_pe32;
  if (number_at(pe, layout.count_at, 4) <= CERTIFICATE_ENTRY) return 0;
  if (number_at(pe, layout.certificate_size_at, 4) == 0) return 0;
  return number_at(pe, layout.certificate_offset_at, 4);
}

// ---- copying ---------------------------------------------------------------------------------

struct copy_range {
  int64_t offset;
  int64_t length;
};

// What an index names: the whole file, or a payload of the trailer.
int32_t find_range(xp_stream* stream, int32_t index, copy_range* range) {
  if (index < 0) {
    int64_t size = 0;
    if (xp_stream_size(stream, &size) != 0) return RUVO_CONTAINER_NO_INPUT;
    *range = {0, size};
    return size == 0 ? RUVO_CONTAINER_NO_PAYLOAD : RUVO_CONTAINER_DONE;
  }
  ruvo_container_entries entries;
  const int32_t count = ruvo_container_trailer(stream, &entries);
  if (count < 0) return RUVO_CONTAINER_NO_TRAILER;
  if (count <= index) return RUVO_CONTAINER_NO_PAYLOAD;
  *range = index == 0 ? copy_range{entries.offset0, entries.size0}
                      : copy_range{entries.offset1, entries.size1};
  if (range->offset == 0 || range->length == 0) return RUVO_CONTAINER_NO_PAYLOAD;
  return RUVO_CONTAINER_DONE;
}

int32_t open_output(xp_path* output, xp_file_handle* file) {
  // An existing file is as good as a new one; whether it can be written shows at the open.
  (void)xp_file_create(output);
  xp_block<char16_t> wide(xp_path_to_wide(output));
  if (!wide) return RUVO_CONTAINER_NO_OUTPUT;
  const xp_file_status status = xp_platform->files->open(
      wide.get(), XP_FILE_READ | XP_FILE_WRITE, XP_FILE_SHARE_READ, XP_FILE_OPEN_EXISTING, file);
  return status == XP_FILE_OK ? RUVO_CONTAINER_DONE : RUVO_CONTAINER_NO_OUTPUT;
}

int32_t copy_range_to(xp_stream* stream, copy_range range, xp_file_handle file) {
  if (xp_stream_option(stream, STREAM_OPTION_SEEK, &range.offset) != 0) return RUVO_CONTAINER_COPY;
  auto block = xp_block<uint8_t>::of(BLOCK_SIZE);
  if (!block) return RUVO_CONTAINER_COPY;
  for (int64_t left = range.length; left > 0;) {
    const auto length = static_cast<int32_t>(left < BLOCK_SIZE ? left : BLOCK_SIZE);
    if (xp_stream_read(stream, block.get(), length) != length) return RUVO_CONTAINER_COPY;
    uint32_t written = 0;
    const xp_file_status status =
        xp_platform->files->write(file, block.get(), static_cast<uint32_t>(length), &written);
    if (status != XP_FILE_OK || written != static_cast<uint32_t>(length))
      return RUVO_CONTAINER_COPY;
    left -= length;
  }
  return RUVO_CONTAINER_DONE;
}

bool reads_from(xp_stream* stream, xp_path* output) {
  xp_object* file = nullptr;
  if (xp_stream_option(stream, STREAM_OPTION_FILE_OBJECT, &file) != XP_OK) return false;
  const xp_ref path(file);
  return path && xp_object_compare(path.get(), output) == 0;
}

int32_t copy_open_stream(xp_stream* stream, xp_path* output, int32_t index) {
  copy_range range;
  int32_t code = find_range(stream, index, &range);
  if (code != RUVO_CONTAINER_DONE) return code;
  xp_file_handle file;
  code = open_output(output, &file);
  if (code == RUVO_CONTAINER_DONE) {
    code = copy_range_to(stream, range, file);
    xp_platform->files->close(file);
  }
  // The given file is no output of ours, and still has its own bytes.
  if (code != RUVO_CONTAINER_DONE && !reads_from(stream, output)) xp_file_delete(output);
  return code;
}

}  // namespace

int32_t ruvo_container_trailer(xp_stream* stream, ruvo_container_entries* out) {
  if (!stream || stream->open_count == 0) return XP_E_STREAM;
  int64_t size = 0;
  if (xp_stream_size(stream, &size) != 0) return XP_E_STREAM;
  const uint32_t certificates = certificate_offset(stream);
  const int64_t end_mark = certificates ? certificates : size;
  ruvo_container_trailer_record record;
  const int64_t start = end_mark - static_cast<int64_t>(sizeof(record));
  if (start < 0 || !read_at(stream, start, &record, sizeof(record))) return XP_E_STREAM;
  if (memcmp(&record.magic, MAGIC, sizeof(MAGIC)) != 0) return 0;
  if (out) {
    const bool has_name = record.count != 2;
    *out = {.name_offset = has_name ? record.name_offset : record.offset0,
            .name_length = has_name ? record.name_length : 0,
            .offset0 = record.offset0,
            .size0 = record.size0,
            .offset1 = record.offset1,
            .size1 = record.size1};
  }
  return static_cast<int32_t>(record.count);
}

int32_t ruvo_container_copy_out(xp_stream* stream, xp_path* output, int32_t index) {
  if (index > 1) return RUVO_CONTAINER_BAD_INDEX;
  if (!stream) return RUVO_CONTAINER_NO_INPUT;
  if (stream->open_count == 0 && xp_stream_open(stream, 0) != 0) return RUVO_CONTAINER_NO_INPUT;
  const int32_t code = copy_open_stream(stream, output, index);
  xp_stream_close(stream);
  return code;
}
