// Small file operations on path objects and open files.
#pragma once

#include "paths/xp_path.h"

// 0 for an existing file; XP_E_EXISTS for a folder; XP_E_NOT_FOUND when nothing can be opened
// there; XP_E_MEMORY when the path can't be converted.
int32_t xp_path_is_file(xp_path* path);
// 0 for an existing folder; XP_E_EXISTS for a file; XP_E_NOT_FOUND; XP_E_MEMORY.
int32_t xp_path_is_folder(xp_path* path);
// Makes an empty file: 0; XP_E_EXISTS when something can already be opened there, which stays as
// it is; XP_E_NOT_FOUND when it can't be made; XP_E_MEMORY.
int32_t xp_file_create(xp_path* path);
// Makes the folder and its parents: 0 when it stands at the end; XP_E_STREAM (-1) when one can't
// be made; XP_E_EXISTS when a file is in the way; XP_E_MEMORY.
int32_t xp_path_make_folders(xp_path* path);
// A path to a fresh temporary name, which the caller makes; null on failure.
xp_path* xp_path_temp_file();
// Deletes the file, if there is one; the outcome is nobody's concern.
void xp_file_delete(xp_path* path);
// The size of an open file, its position kept: 0, or XP_E_POSITION.
int32_t xp_file_size(xp_file_handle file, int64_t* out);
// Ends an open file at `length`: 0, or XP_E_POSITION.
int32_t xp_file_truncate(xp_file_handle file, int64_t length);
