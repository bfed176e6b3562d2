// What all readers of documents share: the state of one run of xp_plst_parse, and the moves on
// it. A reader leaves the finished root value in `result`; that is its whole outcome, whatever it
// returns. What a failed reader leaves on the stacks is dropped by xp_plst_builder_clear.
//
// Readers of texts have the form xp_plst_reader, readers of XML are handlers of the scanner
// (xp_xml_handler) with the builder as their context.
#pragma once

#include "document/xp_xml.h"
#include "object/xp_array.h"
#include "object/xp_dict.h"
#include "object/xp_str.h"

// Containers that are open at a time: as deep as a tree that was read can be.
constexpr uint32_t XP_PLST_DEPTH = 64;

// The containers being built, the innermost on top; each is owned. Of fixed depth, so that no
// text, however nested, makes a tree that is too deep to be walked or released on a small stack.
struct xp_plst_containers {
  uint32_t count;
  xp_object* items[XP_PLST_DEPTH];
};

// A key in the text that is being read.
struct xp_plst_key {
  const char* text;
  uint32_t length;
};

// The keys that wait for their values, the newest on top.
struct xp_plst_keys {
  xp_plst_key* items;
  size_t count;
  size_t capacity;
};

// The element that was opened last and its row in the vocabulary of the reader, which spares the
// look-up at its text and at its end. Every element passes through here as it opens, so a record
// that is used again never meets the row of another element.
struct xp_plst_known {
  const xp_xml_record* element;
  const void* row;
};

// All zero at the start of a run.
struct xp_plst_builder {
  xp_plst_containers containers;
  xp_plst_keys keys;
  xp_object* pending;  // the value of the element being read, or the current section; owned
  xp_object* result;   // the finished root value; owned
  int32_t bare_value;  // an XML-RPC "value" has no typed child so far
  xp_plst_known known;
};

// Reads a whole NUL-terminated text into the builder. The result counts for nothing but tests.
using xp_plst_reader = int32_t (*)(const char* text, xp_plst_builder* builder);

// Drops everything in the builder.
void xp_plst_builder_clear(xp_plst_builder* builder);

// Puts a container on top and takes the caller's reference over, also on failure. 0, or -1 for a
// null container or too many open ones.
[[nodiscard]] int32_t xp_plst_push(xp_plst_builder* builder, xp_object* container);
// The container on top, borrowed; null when there is none.
xp_object* xp_plst_top(const xp_plst_builder* builder);
// Takes the container on top off and hands it to the caller, an array trimmed to its count. Null
// when there is none or when memory is out.
xp_object* xp_plst_pop(xp_plst_builder* builder);

// Puts a key on top of the waiting ones. Its text is not copied: it stays alive as long as the
// run, like the text that is being read. 0, or -1 when memory is out.
[[nodiscard]] int32_t xp_plst_push_key(xp_plst_builder* builder, const char* text, uint32_t length);

// Hands a finished value to where it belongs, taking the caller's reference over in any case: to
// the array on top, under the newest waiting key to the dictionary on top, or as the result when
// nothing is open. 0, or -1 when no key is waiting, when there is a result already, for a null
// value and when memory is out.
[[nodiscard]] int32_t xp_plst_attach(xp_plst_builder* builder, xp_object* value);

// Adds to an array that is being read, taking the reference over. Room doubles, so that adding n
// values takes time linear in n; xp_plst_pop gives the surplus back. A null value makes an empty
// cell. 0, or -1 when memory is out.
[[nodiscard]] int32_t xp_plst_append(xp_array* array, xp_object* value);

// Replaces `pending`, taking the reference over; null clears it.
void xp_plst_set_pending(xp_plst_builder* builder, xp_object* value);
// Takes `pending` out and hands it to the caller.
xp_object* xp_plst_take_pending(xp_plst_builder* builder);
