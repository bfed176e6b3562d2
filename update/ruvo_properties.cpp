#include "update/ruvo_properties.h"

#include <string.h>

#include "object/xp_ascii.h"
#include "object/xp_ref.h"
#include "object/xp_str.h"
#include "update/ruvo_install.h"

const char16_t ruvo_properties_reinstall[] =
    u"REINSTALL=ALL REINSTALLMODE=vamus PROP_AUTOSPAWN=1 PROP_SILENCE=2 REBOOT=ReallySuppress";
const char16_t ruvo_properties_replacing[] =
    u"PROP_REPLACING=1 PROP_AUTOSPAWN=1 PROP_SILENCE=2 REBOOT=ReallySuppress";
const char16_t ruvo_properties_first[] = u"PROP_AUTOSPAWN=1 PROP_SILENCE=2 REBOOT=ReallySuppress";

// ---- which properties may be set -------------------------------------------------------------

namespace {

// A text that begins with one of these is kept when it is well formed.
constexpr const char* permitted[] = {"TP_", "PROP_", "ARPSYSTEMCOMPONENT="};
// These stay refused, whatever the list above grows to: they would change where programs are
// found.
constexpr const char* refused[] = {"PATH=", "SHELL="};

// NUL counts: behind one the Windows Installer would not see the rest of the string.
bool is_control(char c) {
  return static_cast<uint8_t>(c) < 32;
}

// NAME=value: the name of letters, "_" and, after the first place, digits; the value without
// braces, which the Windows Installer would take for a reference; no control bytes anywhere.
bool is_well_formed(const xp_str* text) {
  const char* at = text->text;
  const char* const end = at + text->length;
  const char* const name = at;
  while (at < end &&
         (xp_ascii_is_letter(*at) || *at == '_' || (at > name && xp_ascii_is_digit(*at))))
    at++;
  if (at == name || at == end || *at != '=') return false;
  for (at++; at < end; at++)
    if (is_control(*at) || *at == '{' || *at == '}') return false;
  return true;
}

bool begins_with(const xp_str* text, const char* prefix, bool ignore_case) {
  const int32_t length = xp_text_length(prefix);
  if (text->length < length) return false;
  return ignore_case ? xp_text_compare_nocase(text->text, length, prefix, length) == 0
                     : memcmp(text->text, prefix, static_cast<size_t>(length)) == 0;
}

bool is_permitted(const xp_str* text) {
  if (!text || !is_well_formed(text)) return false;
  for (const char* prefix : refused)
    if (begins_with(text, prefix, true)) return false;
  for (const char* prefix : permitted)
    if (begins_with(text, prefix, false)) return true;
  return false;
}

}  // namespace

void ruvo_filter_properties(xp_array* properties) {
  for (int32_t i = 0; i < xp_array_count(properties); i++) {
    xp_ref element(xp_array_get(properties, i));
    if (!is_permitted(xp_as_str(element.get()))) (void)xp_array_set(properties, nullptr, i);
  }
  (void)xp_array_compact(properties);
}

// ---- the property string ---------------------------------------------------------------------

namespace {

// Units of one element as UTF-16, written to `out` when that isn't null.
int32_t put_element(xp_object* element, char16_t* out, int32_t room) {
  const xp_str* text = xp_as_str(element);
  if (xp_str_is_empty(text)) return 0;
  return xp_text_to_wide(text->text, text->length, out, out ? room : 0);
}

}  // namespace

char16_t* ruvo_join_properties(const char16_t* base, xp_array* properties) {
  const int32_t count = xp_array_count(properties);
  if (count == 0) return nullptr;
  int64_t units = xp_wide_length(base);
  for (int32_t i = 0; i < count; i++) {
    xp_ref element(xp_array_get(properties, i));
    units += 1 + put_element(element.get(), nullptr, 0);
  }
  auto joined = xp_block<char16_t>::of(static_cast<size_t>(units) + 1);
  if (!joined) return nullptr;
  int64_t at = xp_wide_length(base);
  memcpy(joined.get(), base, static_cast<size_t>(at) * sizeof(char16_t));
  for (int32_t i = 0; i < count; i++) {
    xp_ref element(xp_array_get(properties, i));
    joined[static_cast<size_t>(at++)] = u' ';
    at += put_element(element.get(), joined.get() + at, static_cast<int32_t>(units - at));
  }
  return joined.take();
}
