// The registry of the machine folder. Every call reads the file anew, so a person's change and
// another process's are seen at once, and a change is in the file when the call returns.
//
// This is the registry of a 64-bit computer as a 64-bit process sees it: the 64-bit view is the
// only one, and WOW6432Node is an ordinary key.
#include "platform/host/registry_file.h"

#include <string.h>

#include "object/xp_ref.h"
#include "platform/host/host.h"
#include "platform/host/registry_scan.h"

namespace {

// Keys that refuse: each value is named after a key and says "all" or "write". What a key
// refuses, the keys below it refuse.
constexpr char DENIED_KEY[] = "HKEY_LOCAL_MACHINE\\SOFTWARE\\Ruvo\\Rehearsal\\Denied";

struct open_key {
  uint32_t access;
  char name[1];  // the full name, NUL-terminated
};

struct denial {
  const registry_key_name* key;
  bool write;    // the caller wants to write
  bool refused;  // the answer
};

bool note_denial(void* context, const char* name, const registry_value* value) {
  auto* asked = static_cast<denial*>(context);
  registry_key_name denied;
  if (value->type != XP_REG_TEXT || !registry_compare_form(name, strlen(name), &denied) ||
      !registry_at_or_below(asked->key, &denied))
    return true;
  if (strcmp(value->bytes.bytes, "all") == 0) asked->refused = true;
  if (strcmp(value->bytes.bytes, "write") == 0 && asked->write) asked->refused = true;
  return true;
}

bool refuses(const registry_text* registry, const char* key, bool write) {
  registry_key_name name;
  if (!registry_compare_form(key, strlen(key), &name)) return false;
  denial asked = {.key = &name, .write = write, .refused = false};
  return !registry_each_value(registry, DENIED_KEY, note_denial, &asked) || asked.refused;
}

xp_registry_status make_handle(const host_buffer* name, uint32_t access, xp_registry_key* out) {
  auto* key = static_cast<open_key*>(xp_heap_alloc(sizeof(open_key) + name->length));
  if (!key) return XP_REGISTRY_FAILED;
  key->access = access;
  memcpy(key->name, name->bytes, name->length + 1);
  *out = reinterpret_cast<xp_registry_key>(key);
  return XP_REGISTRY_OK;
}

xp_registry_status host_registry_open(xp_registry_hive hive, const char* path, uint32_t access,
                                      xp_registry_key* out) {
  registry_text registry;
  host_buffer name;
  if (!registry_full_key(hive, path, &name) || !registry_load(&registry)) return XP_REGISTRY_FAILED;
  if (!registry_has_key(&registry, name.bytes)) return XP_REGISTRY_NOT_FOUND;
  if (refuses(&registry, name.bytes, access & XP_KEY_SET_VALUE)) return XP_REGISTRY_DENIED;
  return make_handle(&name, access, out);
}

xp_registry_status host_registry_create(xp_registry_hive hive, const char* path,
                                        xp_registry_key* out) {
  registry_edit edit;
  host_buffer name;
  if (!registry_full_key(hive, path, &name) || !registry_edit_begin(&edit))
    return XP_REGISTRY_FAILED;
  if (refuses(&edit.now, name.bytes, true)) return XP_REGISTRY_DENIED;
  if (!registry_has_key(&edit.now, name.bytes) &&
      (!registry_make_key(&edit.now, name.bytes) || !registry_edit_save(&edit)))
    return XP_REGISTRY_FAILED;
  return make_handle(&name, XP_KEY_ALL_ACCESS, out);
}

xp_registry_status host_registry_read(xp_registry_key handle, const char* name, uint32_t* type,
                                      void* out, uint32_t* size) {
  const auto* key = reinterpret_cast<const open_key*>(handle);
  registry_text registry;
  registry_value value;
  if (!(key->access & XP_KEY_QUERY_VALUE)) return XP_REGISTRY_DENIED;
  if (!registry_load(&registry)) return XP_REGISTRY_FAILED;
  const xp_registry_status status = registry_get(&registry, key->name, name, &value);
  if (status != XP_REGISTRY_OK) return status;
  const uint32_t room = *size;
  *size = static_cast<uint32_t>(value.bytes.length);
  if (type) *type = value.type;
  if (!out) return XP_REGISTRY_OK;
  if (room < *size) return XP_REGISTRY_MORE_DATA;
  if (*size > 0) memcpy(out, value.bytes.bytes, *size);
  return XP_REGISTRY_OK;
}

xp_registry_status host_registry_write(xp_registry_key handle, const char* name, uint32_t type,
                                       const void* bytes, uint32_t size) {
  const auto* key = reinterpret_cast<const open_key*>(handle);
  registry_edit edit;
  if (!(key->access & XP_KEY_SET_VALUE)) return XP_REGISTRY_DENIED;
  if (!registry_edit_begin(&edit)) return XP_REGISTRY_FAILED;
  return registry_set(&edit.now, key->name, name, type, bytes, size) && registry_edit_save(&edit)
             ? XP_REGISTRY_OK
             : XP_REGISTRY_FAILED;
}

void host_registry_close(xp_registry_key handle) {
  xp_heap_free(reinterpret_cast<void*>(handle));
}

}  // namespace

constinit const xp_registry_ops host_registry = {.open = host_registry_open,
                                                 .create = host_registry_create,
                                                 .read = host_registry_read,
                                                 .write = host_registry_write,
                                                 .close = host_registry_close};
