// Commands handed to the gateway's shell. Their exit statuses are never
// examined: the platform's utilities report their own failures.
#pragma once

void run_system_cmd(const char *cmdline);
