// The installer container: a file, usually a signed Windows executable, that carries an installer
// package inside it. A trailer of 32 bytes ends at the end mark, which is the file offset of a PE
// file's certificate table, or the end of the file.
#pragma once

#include "paths/xp_path.h"
#include "stream/xp_stream.h"

// Unsigned little-endian numbers, in file order. With a count of exactly 2 the file stores no
// name, and the first two fields carry none.
struct ruvo_container_trailer_record {
  uint32_t name_offset;  // file offset of the payload's name
  uint32_t name_length;  // bytes of the name field; the name ends at a NUL within it
  uint32_t offset0;      // payload 0, which this program never reads
  uint32_t size0;
  uint32_t offset1;  // payload 1, the installer package
  uint32_t size1;
  uint32_t count;  // entries of this trailer; 0 and below (signed): no container
  uint32_t magic;  // "rvTP"
};
static_assert(sizeof(ruvo_container_trailer_record) == 32);

// What the trailer tells, as a caller uses it.
struct ruvo_container_entries {
  uint32_t name_offset;  // with a count of 2: offset0
  uint32_t name_length;  // with a count of 2: 0
  uint32_t offset0;
  uint32_t size0;
  uint32_t offset1;
  uint32_t size1;
};

enum ruvo_container_code : int32_t {
  RUVO_CONTAINER_DONE = 0,
  RUVO_CONTAINER_BAD_INDEX = 1,   // payload index above 1
  RUVO_CONTAINER_NO_INPUT = 3,    // the input is missing, can't be opened or has no size
  RUVO_CONTAINER_NO_TRAILER = 4,  // the trailer could not be read
  RUVO_CONTAINER_NO_PAYLOAD = 5,  // no such payload, or an empty file
  RUVO_CONTAINER_NO_OUTPUT = 6,   // the output file could not be made or opened
  RUVO_CONTAINER_COPY = 7,        // the copy failed
};

// Reads the trailer of an open stream: -1 on a read failure, 0 when the file has none, otherwise
// the trailer's count, which may be negative. `out` may be null.
int32_t ruvo_container_trailer(xp_stream* stream, ruvo_container_entries* out);

// Copies a payload (index 0 or 1) or, with a negative index, the whole file to `output`, which is
// made when absent and written from its first byte without being cut: input and output may be one
// file, which is then rewritten with its own bytes. A failed copy deletes the output,
// but not an output that is the input. The stream is opened when it is closed; one step of its open
// count is taken at the end.
int32_t ruvo_container_copy_out(xp_stream* stream, xp_path* output, int32_t index);
