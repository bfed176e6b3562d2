// Folder traversal. The open folders are a stack of frames on the heap, so depth costs no stack.
#include "paths/xp_folder_walk.h"

#include "object/xp_ref.h"
#include "object/xp_trav.h"
#include "paths/xp_lookup.h"

namespace {

xp_folder_walk* walk_of(xp_object* object) {
  return static_cast<xp_folder_walk*>(object);
}

// ---- frames ----------------------------------------------------------------------------------

bool push_frame(xp_folder_walk* walk, bool linked) {
  auto* frame = static_cast<xp_folder_frame*>(xp_heap_alloc(sizeof(xp_folder_frame)));
  if (!frame) return false;
  frame->next = walk->frames;
  frame->linked = linked;
  walk->frames = frame;
  walk->depth++;
  return true;
}

void drop_frame(xp_folder_walk* walk) {
  xp_folder_frame* frame = walk->frames;
  if (frame->find) xp_platform->files->find_close(frame->find);
  walk->frames = frame->next;
  walk->depth--;
  xp_heap_free(frame);
}

void drop_frames(xp_folder_walk* walk) {
  while (walk->frames)
    drop_frame(walk);
}

void set_current(xp_folder_walk* walk, xp_path* path) {
  xp_path* old = walk->current;
  walk->current = path;
  xp_object_release(old);
}

bool at_max_depth(const xp_folder_walk* walk) {
  return walk->max_depth != 0 && walk->depth >= walk->max_depth;
}

// At the last level the system itself looks for the pattern, since no folder has to be entered.
bool is_narrowed(const xp_folder_walk* walk) {
  return at_max_depth(walk) && walk->pattern;
}

// ---- entries ---------------------------------------------------------------------------------

bool start_search(xp_folder_walk* walk, xp_find_entry* entry) {
  const xp_ref search(is_narrowed(walk) ? xp_path_from_wide(walk->current, walk->pattern)
                                        : xp_path_new(walk->current, "*.*", -1));
  const xp_block<char16_t> wide(xp_path_to_wide(search.get()));
  if (!wide) return false;
  return xp_platform->files->find_first(wide.get(), entry, &walk->frames->find) == XP_FILE_OK;
}

bool is_folder(const xp_find_entry& entry) {
  return entry.attributes & XP_FIND_FOLDER;
}

// The next entry of the innermost folder; files that don't fit the pattern are passed over.
bool read_entry(xp_folder_walk* walk, xp_find_entry* entry) {
  for (;;) {
    xp_folder_frame* frame = walk->frames;
    const bool found = frame->find ? xp_platform->files->find_next(frame->find, entry) == XP_FILE_OK
                                   : start_search(walk, entry);
    if (!found) return false;
    if (is_folder(*entry) || is_narrowed(walk) ||
        xp_name_match(xp_lookup_name(entry), walk->pattern))
      return true;
  }
}

bool is_dots(const char16_t* name) {
  return name[0] == u'.' && (!name[1] || (name[1] == u'.' && !name[2]));
}

bool is_passed_over(const xp_folder_walk* walk, const xp_find_entry& entry) {
  if (is_dots(entry.name)) return true;
  if ((entry.attributes & XP_FIND_REPARSE) && !walk->reparse) return true;
  return is_folder(entry) && !(walk->kinds & XP_FOLDER_GIVES_FOLDERS) && at_max_depth(walk);
}

// ---- steps -----------------------------------------------------------------------------------

// Whether the entry is given now.
bool is_given(const xp_folder_walk* walk, const xp_find_entry& entry) {
  if (!is_folder(entry)) return walk->kinds & XP_FOLDER_GIVES_FILES;
  return (walk->kinds & XP_FOLDER_GIVES_FOLDERS) && !walk->folders_last &&
         xp_name_match(xp_lookup_name(&entry), walk->pattern);
}

bool is_entered(const xp_folder_walk* walk, const xp_find_entry& entry) {
  if (!is_folder(entry) || at_max_depth(walk)) return false;
  return !(walk->frames->linked && (entry.attributes & XP_FIND_REPARSE));
}

// Makes the entry's path, enters it if it is to be entered, and hands it out if it is to be given.
// False when memory is out.
bool take_entry(xp_folder_walk* walk, const xp_find_entry& entry, xp_ref<xp_path>* given) {
  const bool gives = is_given(walk, entry);
  const bool enters = is_entered(walk, entry);
  if (!gives && !enters) return true;
  xp_ref path(xp_path_from_wide(walk->current, xp_lookup_name(&entry)));
  if (!path) return false;
  if (enters) {
    const bool linked = walk->frames->linked || (entry.attributes & XP_FIND_REPARSE);
    if (!push_frame(walk, linked)) return false;
    set_current(walk, xp_retain(path.get()));
  }
  if (gives) given->reset(path.take());
  return true;
}

// Whether the own name of a path fits the pattern. False when memory is out, too.
bool name_fits(const xp_folder_walk* walk, xp_path* path) {
  if (!walk->pattern) return true;
  const xp_block<char16_t> wide(xp_path_to_wide(path));
  if (!wide) return false;
  const char16_t* name = wide.get();
  for (const char16_t* at = name; *at; at++)
    if (*at == u'\\') name = at + 1;
  return xp_name_match(name, walk->pattern);
}

// Goes back to the folder above, and gives the one that is left when folders come last.
xp_path* leave_folder(xp_folder_walk* walk) {
  xp_ref left(xp_retain(walk->current));
  const bool gives = walk->folders_last && (walk->kinds & XP_FOLDER_GIVES_FOLDERS) &&
                     walk->depth > 1 && name_fits(walk, left.get());
  drop_frame(walk);
  set_current(walk, walk->frames ? xp_path_parent(left.get()) : nullptr);
  return gives ? left.take() : nullptr;
}

void walk_rewind(xp_object* object) {
  // The function of the protocol has no result.
  (void)xp_folder_rewind(object);
}

void walk_release(xp_object* object) {
  if (!xp_object_drop(object)) return;
  xp_folder_walk* walk = walk_of(object);
  drop_frames(walk);
  xp_heap_free(walk->pattern);
  xp_object_release(walk->current);
  xp_object_release(walk->root);
  xp_object_free(walk);
}

xp_word walk_control(xp_object*, int32_t selector, uint32_t argument, void*) {
  if (selector != XP_CTL_TRAV) return 0;
  switch (argument) {
    case XP_TRAV_REWIND:
      return reinterpret_cast<xp_word>(&walk_rewind);
    case XP_TRAV_NEXT:
      return reinterpret_cast<xp_word>(&xp_folder_next);
    default:
      return 0;
  }
}

}  // namespace

xp_object* xp_folder_traversal_new(xp_object* path) {
  xp_path* root = xp_as_path(path);
  xp_ref walk(root ? xp_object_new<xp_folder_walk>(XP_TRAV) : nullptr);
  if (!walk) return nullptr;
  walk->release = walk_release;
  walk->control = walk_control;
  walk->root = xp_retain(root);
  if (xp_folder_rewind(walk.get()) != XP_OK || !walk->frames) return nullptr;
  return walk.take();
}

int32_t xp_folder_rewind(xp_object* traversal) {
  if (!traversal) return XP_E_PARAMETER;
  xp_folder_walk* walk = walk_of(traversal);
  drop_frames(walk);
  xp_heap_free(walk->pattern);
  walk->pattern = nullptr;
  walk->max_depth = 0;
  walk->kinds = UINT32_MAX;
  walk->reparse = 1;
  walk->folders_last = 0;
  set_current(walk, xp_retain(walk->root));
  // Without a frame the next step finds no entry.
  (void)push_frame(walk, false);
  return XP_OK;
}

xp_object* xp_folder_next(xp_object* traversal) {
  if (!traversal) return nullptr;
  xp_folder_walk* walk = walk_of(traversal);
  while (walk->frames && walk->current) {
    xp_find_entry entry;
    xp_ref<xp_path> given;
    if (!read_entry(walk, &entry))
      given.reset(leave_folder(walk));
    else if (!is_passed_over(walk, entry) && !take_entry(walk, entry, &given))
      drop_frames(walk);
    if (given) return given.take();
  }
  return nullptr;
}

// ---- names -----------------------------------------------------------------------------------

static char16_t folded(char16_t unit) {
  return unit >= u'a' && unit <= u'z' ? static_cast<char16_t>(unit - 0x20) : unit;
}

bool xp_name_match(const char16_t* name, const char16_t* pattern) {
  if (!pattern) return true;
  if (!name) name = u"";
  // Going back to the last "*" alone is enough: what an earlier one could take, the last one can.
  const char16_t* behind_star = nullptr;
  const char16_t* retry = nullptr;
  while (*name) {
    if (*pattern == u'*') {
      behind_star = ++pattern;
      retry = name;
    } else if (*pattern && (*pattern == u'?' || folded(*pattern) == folded(*name))) {
      pattern++;
      name++;
    } else if (behind_star) {
      pattern = behind_star;
      name = ++retry;
    } else {
      return false;
    }
  }
  while (*pattern == u'*' || *pattern == u'?')
    pattern++;
  return !*pattern;
}
