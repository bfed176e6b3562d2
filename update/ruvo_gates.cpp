#include "update/ruvo_gates.h"

#include "cmdline/xp_log.h"
#include "codec/xp_random.h"
#include "object/xp_ascii.h"
#include "time/xp_time.h"
#include "update/ruvo_events.h"
#include "update/ruvo_registry.h"

namespace {

constexpr char GATE_VALUE[] = "ruvogate";
constexpr char SEED_VALUE[] = "ruvoseed";
constexpr uint32_t COVERAGE_MASK = 0xFFFFF;  // coverage counts in parts of 2^20

bool is_blank(char c) {
  return c == ' ' || c == '\t';
}

// ---- the OS window ---------------------------------------------------------------------------

struct text_span {
  const char* at;
  const char* end;
};

text_span trimmed(const xp_str* text) {
  text_span span = {text->text, text->text + text->length};
  while (span.at < span.end && is_blank(*span.at))
    span.at++;
  while (span.at < span.end && is_blank(span.end[-1]))
    span.end--;
  return span;
}

// One number of a version text. The character that ends it, a letter for one, is consumed with it.
uint32_t read_component(text_span* span) {
  uint32_t value = 0;
  while (span->at < span->end) {
    const char c = *span->at++;
    if (is_blank(c)) continue;
    if (!xp_ascii_is_digit(c)) break;
    value = value * 10 + static_cast<uint32_t>(c - '0');
  }
  return value;
}

}  // namespace

int32_t ruvo_os_compare(const xp_str* text) {
  if (!text) return 0;
  text_span span = trimmed(text);
  if (span.at == span.end) return 0;
  uint32_t wanted[4];
  for (uint32_t& component : wanted)
    component = read_component(&span);
  xp_os_version os;
  if (!xp_platform->system->os_version(&os)) return 0;
  const uint32_t running[4] = {os.major, os.minor, os.build, 0};
  for (int i = 0; i < 4; i++) {
    const auto a = static_cast<int32_t>(running[i]);
    const auto b = static_cast<int32_t>(wanted[i]);
    if (a != b) return a < b ? -1 : 1;
  }
  return 0;
}

// ---- numbers in the registry -----------------------------------------------------------------

static uint32_t hexadecimal(const char* text) {
  uint32_t value = 0;
  for (; xp_ascii_hex_value(*text) >= 0; text++)
    value = value << 4 | static_cast<uint32_t>(xp_ascii_hex_value(*text));
  return value;
}

static uint32_t decimal(const char* text) {
  uint32_t value = 0;
  for (; xp_ascii_is_digit(*text); text++)
    value = value * 10 + static_cast<uint32_t>(*text - '0');
  return value;
}

uint32_t ruvo_setting_number(const char* name) {
  char text[64];
  if (!ruvo_read_key_text(XP_HIVE_LOCAL_MACHINE, RUVO_SETTINGS_KEY, name, text, sizeof(text)))
    return 0;
  const char* digits = text;
  const bool negative = *digits == '-';
  if (*digits == '+' || *digits == '-') digits++;
  const bool is_hexadecimal = digits[0] == '0' && digits[1] == 'x';
  const uint32_t value = is_hexadecimal ? hexadecimal(digits + 2) : decimal(digits);
  return negative ? 0u - value : value;
}

// ---- the gates -------------------------------------------------------------------------------

namespace {

// A moment that is set (not 0) and lies before now.
bool has_passed(uint32_t moment) {
  return moment != 0 && moment < xp_time_now();
}

// Stores a new seed; when that is refused the number serves this run, and the next makes another.
void store_seed(uint32_t seed) {
  const xp_registry_key key =
      ruvo_open_key(XP_HIVE_LOCAL_MACHINE, RUVO_SETTINGS_KEY, XP_KEY_ALL_ACCESS);
  if (!key) return;
  char text[16];
  const int32_t length = xp_fmt_print(text, sizeof(text), "%u", seed);
  (void)xp_platform->registry->write(key, SEED_VALUE, XP_REG_TEXT, text,
                                     static_cast<uint32_t>(length) + 1);
  xp_platform->registry->close(key);
}

uint32_t seed_of_computer() {
  uint32_t seed = ruvo_setting_number(SEED_VALUE);
  if (seed != 0) return seed;
  uint8_t bytes[4] = {};
  xp_random_bytes(bytes, sizeof(bytes));
  for (int i = 3; i >= 0; i--)
    seed = seed << 8 | bytes[i];
  seed &= 0x7FFFFFFF;
  store_seed(seed);
  return seed;
}

bool has_expired(const ruvo_state* state) {
  return has_passed(state->expiration);
}

bool os_is_unknown(const ruvo_state*) {
  xp_os_version os;
  return !xp_platform->system->os_version(&os);
}

bool os_is_not_targeted(const ruvo_state* state) {
  return ruvo_os_compare(state->os_minimum) < 0 || ruvo_os_compare(state->os_maximum) > 0;
}

bool is_gated_off(const ruvo_state*) {
  return has_passed(ruvo_setting_number(GATE_VALUE));
}

// The seed is read or drawn on every run that gets this far, whatever the coverage.
bool is_not_selected(const ruvo_state* state) {
  const uint32_t seed = seed_of_computer();
  const auto coverage = static_cast<int32_t>(static_cast<uint32_t>(state->coverage));
  return coverage > 0 && coverage < static_cast<int32_t>(seed & COVERAGE_MASK);
}

struct gate {
  bool (*refuses)(const ruvo_state* state);
  int32_t run_result;
  uint32_t event_id;
  const char* text;
};

constexpr gate gates[] = {
    {has_expired, RUVO_EXPIRED, RUVO_EVENT_EXPIRED, "update instructions have expired"},
    {os_is_unknown, RUVO_OS_UNKNOWN, RUVO_EVENT_OS_UNKNOWN, "OS version not sufficient"},
    {os_is_not_targeted, RUVO_OS_NOT_TARGETED, RUVO_EVENT_OS_NOT_TARGETED,
     "OS version not targeted"},
    {is_gated_off, RUVO_GATED_OFF, RUVO_EVENT_GATED_OFF, "update disabled for this client"},
    {is_not_selected, RUVO_NOT_SELECTED, RUVO_EVENT_NOT_SELECTED, "Random selector not targeted"},
};

}  // namespace

bool ruvo_pass_gates(ruvo_state* state) {
  for (const gate& one : gates) {
    if (!one.refuses(state)) continue;
    (void)xp_log(nullptr, RUVO_LOG_COURSE, one.event_id, one.text);
    state->run_result = one.run_result;
    return false;
  }
  return true;
}
