// Any two lines as a parent and a text below it: every constructor keeps the form that path.h
// promises, the slots agree with each other, and no name leads out of the drive that it names.
#include <stdlib.h>
#include <string.h>

#include <string>

#include "object/xp_ref.h"
#include "paths/xp_path.h"
#include "platform/host/machine.h"

namespace {

void demand(bool holds) {
  if (!holds) abort();
}

// Lookups go to a computer of the target's own, not to the user's.
const bool own_machine = setenv("RUVO_MACHINE", "/tmp/ruvo-path-fuzz", 1) == 0;

std::string text_of(xp_path* path) {
  std::string text(static_cast<size_t>(path->render(path, nullptr, 0)), 0);
  const int32_t shown = path->render(path, text.data(), static_cast<uint32_t>(text.size()));
  demand(shown == static_cast<int32_t>(text.size()));
  return text;
}

void check_native(const char16_t* wide) {
  char native[HOST_PATH_SIZE];
  if (host_native_path(wide, native, sizeof(native)) != XP_FILE_OK) return;
  const std::string path(native);
  demand(path[0] == '/' && strlen(native) < sizeof(native));
  demand((path + "/").find("/../") == std::string::npos);
  demand((path + "/").find("/./") == std::string::npos);
}

void check(xp_path* path) {
  if (!path) return;
  demand(path->length == static_cast<int32_t>(strlen(path->text)) && path->length > 0);
  const bool is_root = !path->parent && (path->length == 1 || path->length == 3);
  demand(is_root || path->text[path->length - 1] != '\\');
  if (path->parent) demand(path->text[0] == '\\' && path->text[1] != '\\');

  const xp_ref flat(xp_path_flatten(path));
  demand(text_of(path) == text_of(flat.get()));
  demand(xp_object_compare(path, flat.get()) == 0 || path->parent == flat.get());
  const xp_block<char16_t> wide(xp_path_to_wide(path));
  demand(static_cast<bool>(wide));
  check_native(wide.get());
  const xp_ref again(xp_path_from_wide(nullptr, wide.get()));
  demand(static_cast<bool>(again));
  const xp_ref above(xp_path_parent(path));
  if (above) demand(text_of(above.get()).size() < text_of(path).size());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  if (!own_machine) return 0;
  const std::string input(reinterpret_cast<const char*>(bytes), size);
  const size_t cut = input.find('\n');
  const std::string first = input.substr(0, cut);
  const std::string second = cut == std::string::npos ? "" : input.substr(cut + 1);
  const auto length = static_cast<int32_t>(second.size());

  const xp_ref parent(xp_path_new(nullptr, first.c_str(), -1));
  check(parent.get());
  // Counted exactly, in a block without a NUL behind it.
  const auto exact = xp_block<>::of(second.size());
  if (!second.empty()) memcpy(exact.get(), second.data(), second.size());
  check(xp_ref(xp_path_new(parent.get(), exact.get(), length)).get());
  check(xp_ref(xp_path_full(exact.get(), length)).get());
  check(xp_ref(xp_path_child(parent.get(), second.c_str())).get());
  check(xp_ref(xp_path_resolve(parent.get(), second.c_str())).get());
  return 0;
}
