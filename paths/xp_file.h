// Small file operations on path objects and open files. All results are those of
// object/xp_result.h; a null path counts as one that can't be converted (XP_E_MEMORY).
#pragma once

#include "paths/xp_path.h"

// 0 for an existing file; XP_E_EXISTS for a folder; XP_E_NOT_FOUND when nothing can be opened
// there, so that the file is not usable, whether it is absent or not; XP_E_MEMORY when the path
// can't be converted. A name with "*" or "?" names nothing.
int32_t xp_path_is_file(xp_path* path);
// 0 for an existing folder; XP_E_EXISTS for a file; XP_E_NOT_FOUND; XP_E_MEMORY.
int32_t xp_path_is_folder(xp_path* path);
// Makes an empty file: 0; XP_E_EXISTS when something can already be opened there, which stays as
// it is; XP_E_NOT_FOUND when it can't be made; XP_E_MEMORY.
int32_t xp_file_create(xp_path* path);
// Makes the folder and what is missing above it, up to the drive or share: 0 when it stands at the
// end; XP_E_STREAM (-1) when one can't be made; XP_E_EXISTS when a file is in the way; XP_E_MEMORY.
int32_t xp_path_make_folders(xp_path* path);
// A path to a fresh name in the temporary folder, which the caller makes; null on failure. The name
// is free by chance only: nothing holds it until then.
xp_path* xp_path_temp_file();
// Deletes the file, if there is one; the outcome is nobody's concern. A path of less than 510 bytes
// takes no memory.
void xp_file_delete(xp_path* path);
// The size of an open file in bytes, its position kept: 0, or XP_E_POSITION and *out is 0.
int32_t xp_file_size(xp_file_handle file, int64_t* out);
// Ends an open file at `length` bytes and leaves its position there: 0, or XP_E_POSITION.
int32_t xp_file_truncate(xp_file_handle file, int64_t length);
