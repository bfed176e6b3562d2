// The SOAP reader. It doesn't know the vocabulary: it takes an "Envelope" of any prefix and maps
// each element to its text or to a dictionary of its children, whose keys are the names without
// their prefixes. docs/documents.md has the mapping.
#pragma once

#include "document/xp_plst_builder.h"

// An xp_xml_handler; the context is an xp_plst_builder. It drops every attribute, so that they
// cost no records. -1 for a foreign root, for text beside elements and for a second text in an
// element. There is a result only when the root element has closed.
int32_t xp_soap_event(xp_xml_kind kind, xp_xml_record* record, void* context);
