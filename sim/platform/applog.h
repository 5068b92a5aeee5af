// Append-only logs of the simulated gateway under /var/log (named in
// gateway_paths.h); tests read them to see what the program asked the
// platform to do.
#pragma once

#include <cstddef>

#include "gateway_paths.h"

// One write(2) with O_APPEND, so lines of concurrent writers never interleave.
// Returns 0, or -1 when the log cannot be written.
int sim_append_log(const char *path, const char *text, size_t len);

// TEXT in a malloc'd buffer with every byte below 0x20 and 0x7F written as
// \xNN, so that what a caller passed can never start a line of its own.
// nullptr when out of memory.
char *sim_escape_controls(const char *text);
