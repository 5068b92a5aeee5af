/* The same on every platform: the simulated gateway's /bin/sh is its own. */
#include <stdio.h>
#include <stdlib.h>

#include "shell_cmd.h"

void run_system_cmd(const char *cmdline)
{
	/* What was printed before the command comes before what it prints,
	 * also when stdout is a pipe or a file rather than the console. */
	fflush(stdout);
	int status = system(cmdline);
	(void)status;
}
