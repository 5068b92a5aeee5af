#include "shell/system_cmd.h"

#include <cstdlib>

void run_system_cmd(const char *cmdline)
{
	int status = system(cmdline);
	(void)status;
}
