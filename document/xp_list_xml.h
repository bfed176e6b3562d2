// The list XML reader: a "list" of "item" elements, each holding typed "field" elements with the
// name in their "label", and "link" elements that name a URL. It reads back what the style
// xp_style_list writes. docs/documents.md has the vocabulary.
#pragma once

#include "document/xp_plst_builder.h"

// An xp_xml_handler; the context is an xp_plst_builder. -1 at anything out of place. There is a
// result only when the root element has closed.
int32_t xp_list_event(xp_xml_kind kind, xp_xml_record* record, void* context);
