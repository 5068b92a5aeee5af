/* The same on every platform: the simulated gateway's /bin/sh is its own. */
#include <stdlib.h>

#include "shell_cmd.h"

void run_system_cmd(const char *cmdline)
{
	int status = system(cmdline);
	(void)status;
}
