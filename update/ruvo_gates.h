// The gates of a rollout: five questions before anything is fetched. docs/rollout.md tells how
// they work together.
#pragma once

#include "update/ruvo_state.h"

// Runs the gates in their order: expiration, Windows version readable, OS window, client gate,
// seed and coverage. The first one that refuses logs its record and sets the run result. True
// when all let the run pass. Draws and stores the computer's seed on its first run.
bool ruvo_pass_gates(ruvo_state* state);

// The running Windows version against a text of up to four numbers: -1 below, 1 above, 0 equal,
// and 0 when the text is null or blank or the version can't be read. The system's fourth number
// is 0.
int32_t ruvo_os_compare(const xp_str* text);

// The number in a value of the client service's settings, read as text: an optional sign, decimal
// or ("0x") hexadecimal, in 32 bits. 0 when it can't be read.
uint32_t ruvo_setting_number(const char* name);
