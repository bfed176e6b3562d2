#include "paths/xp_lookup.h"

namespace {

bool is_verbatim(const char16_t* path) {
  return path[0] == u'\\' && path[1] == u'\\' && path[2] == u'?' && path[3] == u'\\';
}

bool has_wildcard(const char16_t* path) {
  if (is_verbatim(path)) path += 4;
  while (*path && *path != u'*' && *path != u'?')
    path++;
  return *path != 0;
}

// The position behind the name that starts at `at`.
int32_t name_end(const char16_t* path, int32_t at) {
  while (path[at] && path[at] != u'\\')
    at++;
  return at;
}

int32_t skip_backslash(const char16_t* path, int32_t at) {
  return path[at] == u'\\' ? at + 1 : at;
}

// Behind the server's and the share's name, which start at `at`.
int32_t share_end(const char16_t* path, int32_t at) {
  const int32_t server = name_end(path, at);
  return skip_backslash(path, name_end(path, skip_backslash(path, server)));
}

}  // namespace

xp_file_status xp_lookup(const char16_t* path, xp_find_entry* entry) {
  if (has_wildcard(path)) return XP_FILE_NOT_FOUND;
  xp_find_handle find = 0;
  const xp_file_status status = xp_platform->files->find_first(path, entry, &find);
  if (status == XP_FILE_OK) xp_platform->files->find_close(find);
  return status;
}

const char16_t* xp_lookup_name(const xp_find_entry* entry) {
  const char16_t* at = entry->name;
  while (*at == u'?')
    at++;
  return *at || !entry->short_name[0] ? entry->name : entry->short_name;
}

int32_t xp_root_length(const char16_t* path) {
  int32_t at = is_verbatim(path) ? 4 : 0;
  if (at && path[4] == u'U' && path[5] == u'N' && path[6] == u'C' && path[7] == u'\\')
    return share_end(path, 8);
  if (!at && path[0] == u'\\' && path[1] == u'\\') return share_end(path, 2);
  if (path[at] && path[at + 1] == u':') at += 2;
  return skip_backslash(path, at);
}
