// Registry access of the program: every key is opened in the 64-bit view but by a 32-bit process
// on a 64-bit system.
#pragma once

#include "platform/platform.h"

// The key of the client service, below the local machine. This program never makes it.
constexpr char RUVO_SETTINGS_KEY[] = "System\\CurrentControlSet\\Services\\Tallyport\\Settings";

// 64 in a 32-bit process on a 64-bit system, otherwise 32.
int32_t ruvo_wow64();

// Opens a key for `access`, with the view added. 0 when it can't be opened.
xp_registry_key ruvo_open_key(xp_registry_hive hive, const char* path, uint32_t access);

// Reads a value of an open key as text, whatever its type, into a cleared buffer; the text is cut
// to size - 1 bytes and always ends in a NUL. False when it can't be read; the buffer is then
// empty. `type` may be null.
bool ruvo_read_text(xp_registry_key key, const char* name, uint32_t* type, char* out,
                    uint32_t size);

// Opens the key for reading, reads one text value and closes it.
bool ruvo_read_key_text(xp_registry_hive hive, const char* path, const char* name, char* out,
                        uint32_t size);
