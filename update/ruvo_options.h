// The option table of the program: the command line's way into the fields of a run.
#pragma once

#include "cmdline/xp_args.h"
#include "update/ruvo_state.h"

constexpr int32_t RUVO_OPTION_COUNT = 17;

// Fills the table with the fields of `state` as targets.
void ruvo_fill_options(xp_arg_option options[RUVO_OPTION_COUNT], ruvo_state* state);

// Reads the settings document that the options named, if any, and applies its keys over them.
// Whatever can't be read, and a key of the wrong type, is passed over in silence. False when the
// settings disable the update.
[[nodiscard]] bool ruvo_read_settings(ruvo_state* state);
