// The update client's two entries: splitting a command line, and the run.
#pragma once

#include <stdint.h>

// Splits a command line into arguments: blanks separate, "..." and '...' quote, and a backslash
// stands for the blank, quote or backslash behind it. Returns one heap block with the vector, which
// ends in a null entry, and the texts behind it; the caller frees it. Null with *count 0 when
// memory is out.
char** ruvo_split_command_line(const char* text, int32_t* count);

// One update run over the arguments, argv[0] being the program. Returns the process result: 0, or
// with --result the run result (docs/results.md).
int32_t ruvo_run(int32_t argc, const char* const* argv);
