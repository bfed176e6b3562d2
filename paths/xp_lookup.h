// Looking names up on the disk, for the files of this folder.
#pragma once

#include "platform/platform.h"

// Looks one name up, without wildcards: what the folder says of it. XP_FILE_NOT_FOUND also for a
// text that holds "*" or "?", which would find whatever fits instead.
xp_file_status xp_lookup(const char16_t* path, xp_find_entry* entry);

// The name to use for an entry: the long one, or the alias where the long one is nothing but "?",
// as a file system gives it that can't express the name.
const char16_t* xp_lookup_name(const xp_find_entry* entry);

// Units at the start of a path that are no entry of any folder: "X:\", "\", "\\server\share" and
// their verbatim forms "\\?\X:\" and so on. 0 when the path begins with a name.
int32_t xp_root_length(const char16_t* path);
