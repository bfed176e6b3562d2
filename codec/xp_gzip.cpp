#include "codec/xp_gzip.h"

#include <string.h>

#include "codec/xp_deflate.h"
#include "stream/xp_stream.h"

namespace {

constexpr uint32_t GZIP = xp_tag("gzip");
constexpr uint32_t SCRATCH = 0x800A;

// The kind's flag word: written to, gzip framing, optional header fields dropped.
constexpr uint32_t GZIP_FLAGS = 0x111;

enum gzip_state : uint32_t { HEADER, BODY, TRAILER, ENDED };

// Bits of the flag byte of a member's header.
enum member_flag : uint8_t {
  HAS_HEADER_CRC = 0x02,
  HAS_EXTRA = 0x04,
  HAS_NAME = 0x08,
  HAS_COMMENT = 0x10,
  RESERVED = 0xE0,
};

constexpr uint32_t FIXED_HEADER = 10;
constexpr uint32_t FLAG_BYTE = 3;
constexpr uint32_t TRAILER_SIZE = 8;

struct gzip_stream : xp_stream {
  xp_stream* inner;   // takes the decoded bytes
  xp_filter* filter;  // while open
  uint32_t flags;
  uint32_t state;
  uint32_t crc;     // of the decoded bytes
  uint32_t total;   // decoded bytes, modulo 2^32
  uint32_t staged;  // bytes in `scratch`
  uint32_t scratch_capacity;
  uint8_t scratch[SCRATCH];  // header and trailer as they arrive, and the filter's output
};

gzip_stream* as_gzip(xp_stream* stream) {
  return static_cast<gzip_stream*>(stream);
}

// ---- header ----------------------------------------------------------------------------------

// The steps of the header give 0 when passed, 1 when more input is needed, else a code.
constexpr int32_t PASSED = 0;
constexpr int32_t NEEDS_INPUT = 1;

// Copies input into `scratch` until `wanted` bytes are staged: 0, 1 when the input is used up
// before, -1 when `scratch` is full before.
int32_t xp_gzip_gather(gzip_stream* gzip, uint32_t wanted, xp_filter_span* input) {
  if (gzip->staged >= wanted) return PASSED;
  const uint32_t limit = wanted < gzip->scratch_capacity ? wanted : gzip->scratch_capacity;
  const uint32_t room = limit - gzip->staged;
  const uint32_t count = input->count < room ? input->count : room;
  if (count > 0) memcpy(gzip->scratch + gzip->staged, input->bytes, count);
  gzip->staged += count;
  input->bytes += count;
  input->count -= count;
  if (gzip->staged >= wanted) return PASSED;
  return gzip->staged == gzip->scratch_capacity ? XP_E_STREAM : NEEDS_INPUT;
}

int32_t check_fixed_header(const gzip_stream* gzip) {
  constexpr uint8_t signature[3] = {0x1F, 0x8B, 8};
  if (memcmp(gzip->scratch, signature, sizeof signature) != 0) return XP_E_GZIP_SIGNATURE;
  return gzip->scratch[FLAG_BYTE] & RESERVED ? XP_E_GZIP_HEADER : PASSED;
}

// Its two length bytes stay at index 10 and count down what is still to pass; a field longer than
// `scratch` is passed in pieces.
int32_t pass_extra(gzip_stream* gzip, xp_filter_span* input) {
  constexpr uint32_t start = FIXED_HEADER + 2;
  uint8_t* left = gzip->scratch + FIXED_HEADER;
  for (;;) {
    int32_t step = xp_gzip_gather(gzip, start, input);
    if (step != PASSED) return step;
    const uint32_t length = left[0] | static_cast<uint32_t>(left[1]) << 8;
    const uint32_t room = gzip->scratch_capacity - start;
    step = xp_gzip_gather(gzip, start + (length < room ? length : room), input);
    if (step < 0) return step;
    const uint32_t rest = length - (gzip->staged - start);
    left[0] = static_cast<uint8_t>(rest);
    left[1] = static_cast<uint8_t>(rest >> 8);
    gzip->staged = rest > 0 ? start : FIXED_HEADER;
    if (rest == 0 || step == NEEDS_INPUT) return step;
  }
}

// A text of any length, up to its NUL.
int32_t pass_text(gzip_stream* gzip, xp_filter_span* input) {
  gzip->staged = FIXED_HEADER;
  if (input->count == 0) return NEEDS_INPUT;
  const void* end = memchr(input->bytes, 0, input->count);
  const auto passed =
      end ? static_cast<uint32_t>(static_cast<const uint8_t*>(end) - input->bytes) + 1
          : input->count;
  input->bytes += passed;
  input->count -= passed;
  return end ? PASSED : NEEDS_INPUT;
}

int32_t pass_header_crc(gzip_stream* gzip, xp_filter_span* input) {
  const int32_t step = xp_gzip_gather(gzip, FIXED_HEADER + 2, input);
  if (step == PASSED) gzip->staged = FIXED_HEADER;
  return step;
}

struct optional_field {
  uint8_t flag;
  int32_t (*pass)(gzip_stream* gzip, xp_filter_span* input);
};

// In the order in which they stand in a member.
constexpr optional_field optional_fields[] = {
    {HAS_EXTRA, pass_extra},
    {HAS_NAME, pass_text},
    {HAS_COMMENT, pass_text},
    {HAS_HEADER_CRC, pass_header_crc},
};

// The flag byte in `scratch` is the record of what is left: a bit is cleared when its field has
// been passed.
int32_t read_header(gzip_stream* gzip, xp_filter_span* input) {
  if (const int32_t step = xp_gzip_gather(gzip, FIXED_HEADER, input); step != PASSED) return step;
  if (const int32_t code = check_fixed_header(gzip); code != PASSED) return code;
  for (const optional_field& field : optional_fields) {
    if (!(gzip->scratch[FLAG_BYTE] & field.flag)) continue;
    const int32_t step = field.pass(gzip, input);
    if (step != PASSED) return step < 0 ? XP_E_GZIP_HEADER : step;
    gzip->scratch[FLAG_BYTE] &= static_cast<uint8_t>(~field.flag);
  }
  gzip->staged = 0;
  gzip->state = BODY;
  return PASSED;
}

// ---- body and trailer ------------------------------------------------------------------------

int32_t pass_on(gzip_stream* gzip, uint32_t count) {
  gzip->total += count;
  gzip->crc = static_cast<uint32_t>(crc32(gzip->crc, gzip->scratch, count));
  const int32_t written = xp_stream_write(gzip->inner, gzip->scratch, static_cast<int32_t>(count));
  if (written < 0) return written;
  return written == static_cast<int32_t>(count) ? PASSED : XP_E_IO;
}

int32_t read_body(gzip_stream* gzip, xp_filter_span* input) {
  int32_t step;
  do {
    xp_filter_span output = {.bytes = gzip->scratch, .count = gzip->scratch_capacity};
    step = xp_filter_step(gzip->filter, 0, input, &output);
    if (step < 0) return step;
    if (output.count > 0)
      if (const int32_t code = pass_on(gzip, output.count); code < 0) return code;
  } while (step > 0 && !xp_filter_finished(gzip->filter));
  if (!xp_filter_finished(gzip->filter)) return NEEDS_INPUT;
  gzip->state = TRAILER;
  gzip->staged = 0;
  return PASSED;
}

uint32_t little_endian(const uint8_t* bytes) {
  return bytes[0] | static_cast<uint32_t>(bytes[1]) << 8 | static_cast<uint32_t>(bytes[2]) << 16 |
         static_cast<uint32_t>(bytes[3]) << 24;
}

int32_t read_trailer(gzip_stream* gzip, xp_filter_span* input) {
  const int32_t step = xp_gzip_gather(gzip, TRAILER_SIZE, input);
  if (step != PASSED) return step;
  if (little_endian(gzip->scratch) != gzip->crc) return XP_E_GZIP_CHECKSUM;
  if (little_endian(gzip->scratch + 4) != gzip->total) return XP_E_GZIP_LENGTH;
  gzip->state = ENDED;
  return PASSED;
}

int32_t gzip_write(xp_stream* stream, const void* bytes, int32_t length) {
  gzip_stream* gzip = as_gzip(stream);
  if (gzip->state == ENDED) return XP_E_IO;
  if (length < 1) return 0;
  if (!gzip->filter) return XP_E_STREAM;
  using reader = int32_t (*)(gzip_stream*, xp_filter_span*);
  constexpr reader readers[] = {read_header, read_body, read_trailer};
  // zlib's input pointer isn't const; it only reads.
  xp_filter_span input = {.bytes = static_cast<uint8_t*>(const_cast<void*>(bytes)),
                          .count = static_cast<uint32_t>(length)};
  while (gzip->state < ENDED) {
    const int32_t step = readers[gzip->state](gzip, &input);
    if (step < 0) return step;
    if (step == NEEDS_INPUT) break;
  }
  return length;
}

// ---- the other slots -------------------------------------------------------------------------

int32_t gzip_open(xp_stream* stream, uint32_t mode) {
  gzip_stream* gzip = as_gzip(stream);
  if (!(mode & STREAM_MODE_WRITE)) return XP_E_PARAMETER;
  if (!gzip->inner) return XP_E_STREAM;
  const int32_t code = xp_stream_open(gzip->inner, mode);
  if (code != XP_OK) return code;
  gzip->filter = xp_filter_new(1, 0);
  gzip->state = HEADER;
  gzip->crc = gzip->total = gzip->staged = 0;
  if (gzip->filter) return XP_OK;
  xp_stream_close(gzip->inner);
  return XP_E_MEMORY;
}

int32_t gzip_close(xp_stream* stream) {
  gzip_stream* gzip = as_gzip(stream);
  xp_filter* filter = gzip->filter;
  gzip->filter = nullptr;
  xp_object_release(filter);
  xp_stream_close(gzip->inner);
  return XP_OK;
}

int32_t gzip_read(xp_stream*, void*, int32_t) {
  return XP_E_IO;
}

int32_t gzip_size(xp_stream*, int64_t* out) {
  if (!out) return XP_E_PARAMETER;
  *out = 0;
  return XP_OK;
}

int32_t gzip_rewind(xp_stream*) {
  return XP_E_IO;
}

int32_t gzip_option(xp_stream*, int32_t selector, void* argument) {
  if (selector != STREAM_OPTION_FLAGS) return XP_E_STREAM;
  if (argument) *static_cast<int32_t*>(argument) = 0;
  return XP_OK;
}

void gzip_release(xp_object* object) {
  if (!xp_object_drop(object)) return;
  auto* gzip = static_cast<gzip_stream*>(object);
  xp_object_release(gzip->filter);
  xp_object_release(gzip->inner);
  xp_object_free(gzip);
}

}  // namespace

xp_stream* xp_gzip_stream_new(xp_http*, xp_stream* output, void*) {
  if (!output) return nullptr;
  auto* gzip = xp_object_new<gzip_stream>(GZIP);
  if (!gzip) return nullptr;
  gzip->release = gzip_release;
  gzip->control = xp_stream_is_stream;
  gzip->open = gzip_open;
  gzip->close = gzip_close;
  gzip->read = gzip_read;
  gzip->write = gzip_write;
  gzip->size = gzip_size;
  gzip->rewind = gzip_rewind;
  gzip->option = gzip_option;
  gzip->inner = xp_retain(output);
  gzip->flags = GZIP_FLAGS;
  gzip->scratch_capacity = SCRATCH;
  return gzip;
}
