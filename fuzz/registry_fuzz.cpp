// A key, a value's name and a text, one a line, and any bytes behind them as the registry file of
// the stand-in computer: look-ups end, and a change is found where it was made.
#include <string>

#include "fuzz/fuzz_text.h"
#include "platform/host/registry_file.h"
#include "platform/text.h"

namespace {

void demand(bool holds) {
  if (!holds) abort();
}

std::string take_line(std::string* input) {
  const size_t feed = input->find('\n');
  std::string line = input->substr(0, feed);
  input->erase(0, feed == std::string::npos ? feed : feed + 1);
  return line.substr(0, line.find('\0'));  // what a C string can be
}

// The text with replacement characters for what is no UTF-8, as a value may be kept in UTF-16.
std::string as_utf8(const std::string& text) {
  std::u16string wide(text.size(), 0);
  const int32_t units = xp_text_to_wide(text.data(), static_cast<int32_t>(text.size()), wide.data(),
                                        static_cast<int32_t>(wide.size()));
  std::string narrow(static_cast<size_t>(units) * 3, 0);
  const int32_t length =
      xp_text_to_utf8(wide.data(), units, narrow.data(), static_cast<int32_t>(narrow.size()));
  narrow.resize(static_cast<size_t>(length));
  return narrow;
}

bool visit(void*, const char* name, const registry_value* value) {
  demand(strlen(name) < SIZE_MAX);
  // A text is read as one, also when the file gives it no bytes.
  if (value->type == XP_REG_TEXT) demand(strlen(value->bytes.bytes) <= value->bytes.length);
  return true;
}

void look_up(const registry_text* registry, const char* key, const char* name) {
  registry_value value;
  host_buffer text;
  uint32_t number;
  (void)registry_has_key(registry, key);
  (void)registry_get(registry, key, name, &value);
  (void)registry_get_text(registry, key, name, &text);
  (void)registry_get_number(registry, key, name, &number);
  demand(registry_each_value(registry, key, visit, nullptr));
}

void demand_text(const registry_text* registry, const char* key, const char* name,
                 const std::string& text) {
  host_buffer found;
  demand(registry_get_text(registry, key, name, &found));
  demand(found.length == text.size() && memcmp(found.bytes, text.data(), text.size()) == 0);
}

void change(registry_text* registry, const char* key, const char* name, const std::string& text) {
  uint32_t number = 0;
  registry_value value;
  if (registry_set_text(registry, key, name, text.c_str())) demand_text(registry, key, name, text);
  if (registry_set_number(registry, key, name, 0xFEDCBA98))
    demand(registry_get_number(registry, key, name, &number) && number == 0xFEDCBA98);
  if (registry_set(registry, key, name, XP_REG_BINARY, text.data(), text.size())) {
    demand(registry_get(registry, key, name, &value) == XP_REGISTRY_OK);
    demand(value.type == XP_REG_BINARY && value.bytes.length == text.size());
  }
  registry_remove_value(registry, key, name);
  demand(registry_get(registry, key, name, &value) == XP_REGISTRY_NOT_FOUND);
  if (registry_make_key(registry, key)) demand(registry_has_key(registry, key));
  registry_remove_key(registry, key);
  demand(!registry_has_key(registry, key));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  std::string input(reinterpret_cast<const char*>(bytes), size);
  host_buffer key;
  demand(registry_full_key(XP_HIVE_LOCAL_MACHINE, take_line(&input).c_str(), &key));
  const std::string name = take_line(&input);
  const std::string text = as_utf8(take_line(&input));
  host_buffer file;
  registry_text registry;
  demand(host_buffer_add(&file, input.data(), input.size()));
  demand(registry_parse(&file, &registry));
  look_up(&registry, key.bytes, name.c_str());
  change(&registry, key.bytes, name.c_str(), text);
  return 0;
}
