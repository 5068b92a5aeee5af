// Append-only logs of the simulated gateway under /var/log; tests read them to
// see what the program asked the platform to do.
#pragma once

#include <cstddef>

constexpr const char SIM_TCAPI_LOG[] = "/var/log/tcapi.log";
constexpr const char SIM_CONSOLE_LOG[] = "/var/log/console.log";

// One write(2) with O_APPEND, so lines of concurrent writers never interleave.
// Returns 0, or -1 when the log cannot be written.
int sim_append_log(const char *path, const char *text, size_t len);
