// The files of a package: unpacked into a folder beside the drives, then moved into their places.
// What stood there is kept until the install is through, so that a failure puts it back.
#include <errno.h>
#include <glib/gstdio.h>
#include <libgcab.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/host/installer_session.h"
#include "platform/host/machine.h"

namespace {

// A file that was moved into place.
struct placed_file {
  char* target;  // Linux path
  char* before;  // where what stood there waits, or null
};

void free_placed(void* data) {
  auto* placed = static_cast<placed_file*>(data);
  g_free(placed->target);
  g_free(placed->before);
  g_free(placed);
}

void remove_tree(const char* path) {
  if (GDir* folder = g_dir_open(path, 0, nullptr)) {
    while (const char* name = g_dir_read_name(folder)) {
      g_autofree char* entry = g_build_filename(path, name, nullptr);
      struct stat facts;
      if (lstat(entry, &facts) == 0 && S_ISDIR(facts.st_mode))
        remove_tree(entry);
      else
        unlink(entry);
    }
    g_dir_close(folder);
  }
  rmdir(path);
}

// Only files that the package names are unpacked, and none with a path in its name.
gboolean wanted(GCabFile* file, gpointer data) {
  const auto* session = static_cast<const installer_session*>(data);
  const char* name = gcab_file_get_name(file);
  return name && !strpbrk(name, "/\\") && g_hash_table_contains(session->files, name);
}

bool unpack_stream(const installer_session* session, GInputStream* stream, const char* folder) {
  g_autoptr(GCabCabinet) cabinet = gcab_cabinet_new();
  g_autoptr(GFile) target = g_file_new_for_path(folder);
  return stream && gcab_cabinet_load(cabinet, stream, nullptr, nullptr) &&
         gcab_cabinet_extract_simple(cabinet, target, wanted,
                                     const_cast<installer_session*>(session), nullptr, nullptr);
}

// A cabinet in the package ("#name") is one of its streams.
bool unpack_embedded(const installer_session* session, const char* name, const char* folder) {
  if (strchr(name, '\'')) return false;
  g_autofree char* sql = g_strdup_printf("SELECT `Data` FROM `_Streams` WHERE `Name` = '%s'", name);
  uint32_t code;
  g_autoptr(LibmsiRecord) row = package_first_row(session->database, sql, &code);
  g_autoptr(GInputStream) stream = row ? libmsi_record_get_stream(row, 1) : nullptr;
  return unpack_stream(session, stream, folder);
}

bool native_path(const char* path, char out[HOST_PATH_SIZE]) {
  g_autofree gunichar2* wide = g_utf8_to_utf16(path, -1, nullptr, nullptr, nullptr);
  return wide && host_native_path(reinterpret_cast<const char16_t*>(wide), out, HOST_PATH_SIZE) ==
                     XP_FILE_OK;
}

// A cabinet beside the package.
bool unpack_external(const installer_session* session, const char* name, const char* folder) {
  char native[HOST_PATH_SIZE];
  g_autofree char* path = g_strconcat(session->package_folder, name, nullptr);
  if (!native_path(path, native)) return false;
  g_autoptr(GFile) file = g_file_new_for_path(native);
  g_autoptr(GFileInputStream) stream = g_file_read(file, nullptr, nullptr);
  return unpack_stream(session, G_INPUT_STREAM(stream), folder);
}

bool unpack_all(const installer_session* session, const char* folder) {
  const package_table media(session->database, "SELECT `Cabinet` FROM `Media`");
  for (uint32_t i = 0; i < media.count(); i++) {
    const char* name = media.text(i, 0);
    if (!*name) continue;
    const bool unpacked = *name == '#' ? unpack_embedded(session, name + 1, folder)
                                       : unpack_external(session, name, folder);
    if (!unpacked) return false;
  }
  return true;
}

}  // namespace

struct installer_files {
  char* folder;       // where files are unpacked and wait
  GPtrArray* placed;  // placed_file, in the order of the moves
};

namespace {

// A package has no business outside the drives of the machine folder: Z: is the Linux computer.
bool on_a_drive(const char* native) {
  char drives[HOST_PATH_SIZE];
  return host_machine_path("drive_", drives, sizeof drives) && g_str_has_prefix(native, drives);
}

bool place_one(installer_files* files, const char* key, const char* path) {
  char native[HOST_PATH_SIZE];
  g_autofree char* unpacked = g_build_filename(files->folder, key, nullptr);
  if (!native_path(path, native) || !on_a_drive(native)) return false;
  g_autofree char* parent = g_path_get_dirname(native);
  if (g_mkdir_with_parents(parent, 0777) != 0) return false;
  auto* placed = g_new0(placed_file, 1);
  placed->target = g_strdup(native);
  if (g_file_test(native, G_FILE_TEST_EXISTS)) {
    g_autofree char* name = g_strdup_printf("before.%u", files->placed->len);
    placed->before = g_build_filename(files->folder, name, nullptr);
    if (rename(native, placed->before) != 0) {
      free_placed(placed);
      return false;
    }
  }
  g_ptr_array_add(files->placed, placed);
  if (rename(unpacked, native) == 0) return true;
  return false;
}

bool place_all(const installer_session* session, installer_files* files) {
  GHashTableIter iterator;
  void *key, *path;
  g_hash_table_iter_init(&iterator, session->files);
  while (g_hash_table_iter_next(&iterator, &key, &path))
    if (!place_one(files, static_cast<const char*>(key), static_cast<const char*>(path)))
      return false;
  return true;
}

installer_files* make_folder() {
  char pattern[HOST_PATH_SIZE];
  if (!host_machine_path("installing.XXXXXX", pattern, sizeof pattern) || !mkdtemp(pattern))
    return nullptr;
  auto* files = g_new0(installer_files, 1);
  files->folder = g_strdup(pattern);
  files->placed = g_ptr_array_new_with_free_func(free_placed);
  return files;
}

}  // namespace

installer_files* installer_files_put(const installer_session* session, const char** reason) {
  installer_files* files = make_folder();
  *reason = "the machine folder can't be written";
  if (!files) return nullptr;
  if (!unpack_all(session, files->folder)) {
    *reason = "a cabinet is missing or broken";
  } else if (!place_all(session, files)) {
    *reason = "a file is in no cabinet, or can't be put in its place";
  } else {
    return files;
  }
  installer_files_undo(files);
  return nullptr;
}

void installer_files_undo(installer_files* files) {
  for (uint32_t i = files->placed->len; i-- > 0;) {
    const auto* placed = static_cast<const placed_file*>(files->placed->pdata[i]);
    if (placed->before)
      (void)rename(placed->before, placed->target);  // there is nowhere left to put it if not
    else
      unlink(placed->target);
  }
  installer_files_keep(files);
}

void installer_files_keep(installer_files* files) {
  remove_tree(files->folder);
  g_ptr_array_unref(files->placed);
  g_free(files->folder);
  g_free(files);
}
