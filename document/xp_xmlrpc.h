// The XML-RPC reader: a "methodCall" or "methodResponse" in, one dictionary with case-sensitive
// keys out ("methodName" and "params", or "params", or "fault"). docs/documents.md has the
// vocabulary.
#pragma once

#include "document/xp_plst_builder.h"

// An xp_xml_handler; the context is an xp_plst_builder. -1 at anything out of place. There is a
// result only when the root element has closed.
int32_t xp_rpc_event(xp_xml_kind kind, xp_xml_record* record, void* context);
