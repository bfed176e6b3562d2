// The one writer of documents: any object tree as text, in any style (document/xp_style.h). It
// knows nothing of XML or JSON; all the difference lies in the tables.
//
// With a null buffer everything here measures: nothing is written, and the result is the number of
// bytes that would be. Measuring and writing are one code path. A text that doesn't fit is cut:
// nothing here fails, and no text is built on the side but for objects of kinds that no style
// knows.
#pragma once

#include "document/xp_style.h"
#include "object/xp_object.h"

// Where a walk over the items of a container stands. Visits of items share it.
struct xp_doc_cursor {
  char* buffer;     // start of the whole text; null measures
  int32_t written;  // bytes so far
  int32_t size;     // room in all, a NUL included
  int32_t depth;    // of the items
  int32_t count;    // items written so far
  const xp_style* style;
};

enum xp_write_option : uint32_t {
  XP_WRITE_ITEM = 0x001,  // an item of a container: behind a key, or in a sequence
  XP_WRITE_NEXT = 0x002,  // not the first element of its sequence
};

// Writes the text of `object` (null for an absent value) and a NUL into the `size` bytes at
// `buffer`, cut to what fits; returns the bytes written, without the NUL. `depth` is 0 for the root
// of a document. The walk is recursive: a tree that contains itself has no text.
int32_t xp_doc_write(xp_object* object, const xp_style* style, uint32_t options, int32_t depth,
                     char* buffer, int32_t size);

// The render slot of `plst`: header, root and trailer in the document's style. Give it one byte
// more than it measures: the root's text keeps a byte for a NUL.
int32_t xp_plst_render(xp_object* document, char* buffer, uint32_t size);
