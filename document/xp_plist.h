// The property list builder: XML of the published property list vocabulary in, objects out. The
// update instructions arrive in this form. It differs from the published one in that names are
// matched without regard to case, dates aren't read, integers are 32 bits wide and entities aren't
// decoded. docs/documents.md has the vocabulary.
#pragma once

#include "document/xp_plst_builder.h"

// An xp_xml_handler; the context is an xp_plst_builder. It stops the scan with -1 at anything out
// of place, and also at the close of "plist": what counts is whether there is a result.
int32_t xp_plist_event(xp_xml_kind kind, xp_xml_record* record, void* context);
