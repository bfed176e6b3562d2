#include "update/ruvo_options.h"

namespace {

// One row of the table; the target is added for each run.
struct option_row {
  const char* name;
  uint8_t letter;
  uint8_t type;
  const char* help;
};

constexpr option_row rows[RUVO_OPTION_COUNT] = {
    {"url", 'u', XARG_STRING, "URL of installer"},
    {"proxy", 'p', XARG_STRING, "Proxy server"},
    {"name", 'n', XARG_STRING, "Canonical name of installer"},
    {"file", 'f', XARG_PATH, "Local MSI installer"},
    {"version", 'v', XARG_STRING, "Version of installer"},
    {"digest", 'd', XARG_STRING, "sha256 digest of installer"},
    {"instpath", 'w', XARG_STRING, "system path for installed version"},
    {"mode", 'm', XARG_INT, "install mode"},
    {"quiet", 'q', XARG_FLAG, "suppress output"},
    {"loglevel", 'l', XARG_INT, "record activity in system logs"},
    {"verify", 0, XARG_FLAG, "verify only"},
    {"notify", 't', XARG_STRING, "attempt to notify user after install"},
    {"result", 'r', XARG_FLAG, "return error code as process result"},
    {nullptr, 'x', XARG_FLAG, "read settings from stdin (xml plist format)"},
    {nullptr, 'X', XARG_PATH, "read settings from file (xml plist format)"},
    {nullptr, XARG_REST, XARG_STRING | XARG_ARRAY, nullptr},
    {"help", '?', XARG_FLAG, "print usage"},
};

}  // namespace

void ruvo_fill_options(xp_arg_option options[RUVO_OPTION_COUNT], ruvo_state* state) {
  void* const targets[RUVO_OPTION_COUNT] = {
      &state->url,     &state->proxy,          &state->name,          &state->file,
      &state->version, &state->digest,         &state->instpath,      &state->mode,
      &state->quiet,   &state->loglevel,       &state->verify,        &state->notify,
      &state->result,  &state->settings_input, &state->settings_file, &state->properties,
      &state->help,
  };
  for (int32_t i = 0; i < RUVO_OPTION_COUNT; i++)
    options[i] = {.name = rows[i].name,
                  .letter = rows[i].letter,
                  .type = rows[i].type,
                  .target = targets[i],
                  .help = rows[i].help,
                  .value_name = nullptr};
}
