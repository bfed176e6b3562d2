// The traversal of a folder: walks the tree below it depth first and gives one path an entry.
// A path that is an existing folder hands one out for XP_TRAV_NEW (see object/xp_trav.h).
#pragma once

#include "paths/xp_path.h"

// One open folder of the walk.
struct xp_folder_frame {
  xp_folder_frame* next;  // the folder above
  xp_find_handle find;    // 0 before the first entry is read
  uint32_t linked;        // the folder was reached through a reparse point
};

enum xp_folder_kinds : uint32_t { XP_FOLDER_GIVES_FILES = 1, XP_FOLDER_GIVES_FOLDERS = 2 };

struct xp_folder_walk : xp_object {
  xp_folder_frame* frames;  // one for each open folder, the innermost first
  xp_path* root;            // where a rewind goes back to
  int32_t depth;            // frames
  int32_t max_depth;        // 0: no limit; N: folders at depth N are not entered
  uint32_t kinds;           // xp_folder_kinds, all bits set at first
  uint32_t reparse;         // 0 passes over reparse points (links); 1 at first
  uint32_t folders_last;    // 0: a folder comes before what it holds
  char16_t* pattern;        // owned; only names that fit are given; null fits all
  xp_path* current;         // the folder being read
};

// A traversal of `path`, which answers XP_TRAV_REWIND and XP_TRAV_NEXT. Its items are paths. A
// folder that can't be read is passed over. Links to folders are entered, but below one no further
// link is, so that links in a circle end. Null for null and when memory is out.
xp_object* xp_folder_traversal_new(xp_object* path);
// Back to the first entry, with all settings as at first: 0, or XP_E_PARAMETER for null. When
// memory is out the walk is at its end, which shows as no entry.
int32_t xp_folder_rewind(xp_object* traversal);
// The next entry with a new reference; null at the end, and when memory is out, which ends the
// walk.
xp_object* xp_folder_next(xp_object* traversal);

// Whether a name fits a pattern: "*" is any run of characters, "?" any one (or none at the end of
// the name); ASCII letters in either case. A null pattern fits every name.
bool xp_name_match(const char16_t* name, const char16_t* pattern);
