// What else goes into the machine folder's event log.
#pragma once

#include <stdint.h>

// Appends one record. `type` is the word of the second column. False when it is lost.
bool host_record_event(const char* type, uint32_t event_id, const char* source, const char* text);
