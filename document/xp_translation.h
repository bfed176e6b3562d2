// The translation table reader. A table is one "dict" element that alternates "string" elements,
// the source texts, with "translation" elements; the result is a dictionary from the one to the
// other whose keys fold ASCII case.
//
//   <dict>
//     <string>Yes</string><translation>Oui</translation>
//   </dict>
#pragma once

#include "document/xp_xml.h"

// An xp_xml_handler; the context is an xp_plst_builder. It stops the scan with -1 at any other root
// and at anything out of place. The table is the builder's result when its element closes.
int32_t xp_translation_event(xp_xml_kind kind, xp_xml_record* record, void* context);
