// `plst`, a parsed document: text of unknown kind in, an object tree out. The document remembers
// the writer style of the form in which it came, and its `render` slot writes it in that form.
//
// Nine kinds are understood: five in XML (property list, translation table, XML-RPC, SOAP, list
// XML), JSON, section text, rule text and form-encoded pairs. How they are told apart stands in
// docs/documents.md.
#pragma once

#include "document/xp_style.h"
#include "object/xp_object.h"

constexpr uint32_t XP_PLST = xp_tag("plst");

// Immutable once made. No compare and no control.
struct xp_plst : xp_object {
  const xp_style* style;  // never null
  xp_object* root;        // never null; owned
};

// Reads a NUL-terminated text, which is not kept: every string of the result is a copy. Null when
// no reader made anything of the text, and when memory is out. A null text gives a document whose
// root is an empty dictionary, in the style xp_style_plist. Linear in the text but for keys made
// to collide.
xp_plst* xp_plst_parse(const char* text);
// The same, and tells what the document is, in words such as "property list": for people. *kind is
// left alone when the result is null.
xp_plst* xp_plst_parse_kind(const char* text, const char** kind);

// A document made of an object, which is retained. Null for a null root or without memory.
xp_plst* xp_plst_new(xp_object* root, const xp_style* style);

// A new reference to what `path` names, or null. A path is a chain of "/step":
//   /name, /@name  the value under that key of a dictionary
//   /#n            element n of an array (decimal or 0x hexadecimal)
//   /@             the dictionary itself, /# the array itself: at the end of a path only
//   /              the dictionary or the array itself: at the end of a path only
// Any step into something else, a missing key or element, an empty step and a path that doesn't
// begin with "/" give null.
xp_object* xp_plst_lookup(xp_plst* document, const char* path);

inline xp_plst* xp_as_plst(xp_object* object) {
  return xp_cast<xp_plst>(object, XP_PLST);
}
