#include "tests/support/fake_machine.h"

#include <string.h>

#include <algorithm>

#include "time/xp_time.h"

namespace {

fake_machine* machine;
std::vector<std::string> open_keys;  // by handle - 1

std::string folded(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(tolower(c)); });
  return text;
}

std::string key_name(xp_registry_hive hive, const char* path) {
  return folded(std::string(hive == XP_HIVE_CURRENT_USER ? "HKCU\\" : "HKLM\\") + path);
}

xp_registry_status registry_open(xp_registry_hive hive, const char* path, uint32_t access,
                                 xp_registry_key* out) {
  char mask[16];
  snprintf(mask, sizeof(mask), " %X", access);
  machine->registry_opens.push_back(key_name(hive, path) + mask);
  if (!machine->keys.count(key_name(hive, path))) return XP_REGISTRY_NOT_FOUND;
  open_keys.push_back(key_name(hive, path));
  *out = static_cast<xp_registry_key>(open_keys.size());
  return XP_REGISTRY_OK;
}

xp_registry_status registry_create(xp_registry_hive hive, const char* path, xp_registry_key* out) {
  if (machine->refuse_registry_writes) return XP_REGISTRY_DENIED;
  machine->keys[key_name(hive, path)];
  return registry_open(hive, path, XP_KEY_ALL_ACCESS, out);
}

xp_registry_status registry_read(xp_registry_key key, const char* name, uint32_t* type, void* out,
                                 uint32_t* size) {
  const auto& values = machine->keys[open_keys[static_cast<size_t>(key) - 1]];
  const auto found = values.find(folded(name));
  if (found == values.end()) return XP_REGISTRY_NOT_FOUND;
  const auto length = static_cast<uint32_t>(found->second.bytes.size());
  if (type) *type = found->second.type;
  const bool fits = length <= *size;
  *size = length;
  if (!fits) return XP_REGISTRY_MORE_DATA;
  memcpy(out, found->second.bytes.data(), length);
  return XP_REGISTRY_OK;
}

xp_registry_status registry_write(xp_registry_key key, const char* name, uint32_t type,
                                  const void* bytes, uint32_t size) {
  if (machine->refuse_registry_writes) return XP_REGISTRY_DENIED;
  machine->keys[open_keys[static_cast<size_t>(key) - 1]][folded(name)] = {
      type, std::string(static_cast<const char*>(bytes), size)};
  return XP_REGISTRY_OK;
}

void registry_close(xp_registry_key) {}

xp_event_source event_open(const char*) {
  return 1;
}

bool event_report(xp_event_source, xp_event_type type, uint32_t event_id, const char* text) {
  machine->events.push_back({type, event_id, text});
  return true;
}

void event_close(xp_event_source) {}

uint32_t package_open(const char16_t*, xp_package* out) {
  machine->course.push_back("open");
  *out = 1;
  return machine->open_code;
}

uint32_t package_text(xp_package, const char* sql, char* out, uint32_t size) {
  const auto found = machine->texts_by_query.find(sql);
  if (found == machine->texts_by_query.end()) return 259;  // no more items
  if (found->second.size() >= size) return 234;            // more data
  memcpy(out, found->second.c_str(), found->second.size() + 1);
  return 0;
}

uint32_t package_integer(xp_package, const char* sql, int32_t* out) {
  const auto found = machine->integers_by_query.find(sql);
  if (found == machine->integers_by_query.end()) return 259;
  *out = found->second;
  return 0;
}

void package_close(xp_package) {
  machine->course.push_back("close");
}

int32_t product_state(const char* code) {
  const auto found = machine->product_states.find(code);
  return found == machine->product_states.end() ? -1 : found->second;
}

void installer_silence(xp_installer_handler, uint32_t) {
  machine->course.push_back("silence");
}

uint32_t installer_install(const char16_t*, const char16_t* properties) {
  machine->course.push_back("install");
  const size_t attempt = std::min(machine->installs.size(), machine->install_codes.size() - 1);
  machine->installs.push_back(properties);
  return machine->install_codes[attempt];
}

xp_trust* const the_trust = reinterpret_cast<xp_trust*>(&open_keys);

xp_trust* trust_load() {
  return machine->trust_missing ? nullptr : the_trust;
}

int32_t trust_verify(xp_trust*, const char16_t*) {
  machine->course.push_back("verify");
  return machine->trust_code;
}

bool trust_can_name(xp_trust*) {
  return machine->trust_names;
}

bool trust_has_signers(xp_trust*) {
  return machine->trust_data;
}

// An empty name stands for one that can't be read.
int32_t trust_signer(xp_trust*, uint32_t index, char16_t* out, uint32_t size) {
  if (index >= machine->signers.size()) return -1;
  const std::u16string& name = machine->signers[index];
  if (name.empty()) return 0;
  const size_t units = std::min<size_t>(name.size(), size - 1);
  memcpy(out, name.data(), units * sizeof(char16_t));
  out[units] = 0;
  return static_cast<int32_t>(units) + 1;
}

void trust_close(xp_trust*) {
  machine->course.push_back("trust closed");
}

void trust_unload(xp_trust*) {}

bool system_os(xp_os_version* out) {
  *out = machine->os;
  return machine->os_known;
}

bool system_wow64() {
  return machine->wow64_process;
}

bool system_file_version(const char*, xp_file_version* out) {
  *out = machine->installed_file;
  return machine->has_file_version;
}

void system_message(const char* text, const char*) {
  machine->messages.push_back(text);
}

void clock_utc(xp_system_time* out) {
  xp_time_fields fields;
  xp_time_to_fields(machine->now, &fields);
  *out = {.year = fields.year,
          .month = fields.month,
          .weekday = fields.weekday,
          .day = fields.day,
          .hour = fields.hour,
          .minute = fields.minute,
          .second = fields.second,
          .millisecond = 0};
}

void clock_sleep(uint32_t milliseconds) {
  machine->course.push_back("sleep " + std::to_string(milliseconds));
}

}  // namespace

fake_machine::fake_machine() {
  machine = this;
  open_keys.clear();
  registry = {.open = registry_open,
              .create = registry_create,
              .read = registry_read,
              .write = registry_write,
              .close = registry_close};
  event_log = {.open = event_open, .report = event_report, .close = event_close};
  installer = {.open = package_open,
               .query_text = package_text,
               .query_integer = package_integer,
               .close = package_close,
               .product_state = product_state,
               .silence = installer_silence,
               .install = installer_install};
  trust = {.load = trust_load,
           .verify = trust_verify,
           .can_name_signers = trust_can_name,
           .has_signers = trust_has_signers,
           .signer_name = trust_signer,
           .close = trust_close,
           .unload = trust_unload};
  system.os_version = system_os;
  system.is_wow64 = system_wow64;
  system.file_version = system_file_version;
  system.message_box = system_message;
  clock.utc = clock_utc;
  clock.sleep = clock_sleep;
}

fake_machine::~fake_machine() {
  machine = nullptr;
}

void fake_machine::set_text(const char* key, const char* name, const char* text) {
  keys[folded(key)][folded(name)] = {XP_REG_TEXT, std::string(text, strlen(text) + 1)};
}

std::string fake_machine::text(const char* key, const char* name) {
  const auto& values = keys[folded(key)];
  const auto found = values.find(folded(name));
  return found == values.end() ? "(none)" : std::string(found->second.bytes.c_str());
}

std::vector<std::string> fake_machine::texts() const {
  std::vector<std::string> all;
  for (const fake_event& event : events)
    all.push_back(event.text);
  return all;
}
