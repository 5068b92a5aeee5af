#include "lib/console_ctrl.h"

#include <cstdio>

namespace {

constexpr const char CONSOLE_CTRL_FILE[] = "/proc/tc3162/tcci_cmd";

} // namespace

bool console_ctrl_write(const char *line, int *closed)
{
	FILE *ctrl = fopen(CONSOLE_CTRL_FILE, "w");
	if (!ctrl) {
		printf("open /proc/tc3162/tcci_cmd fail\n");
		return false;
	}
	fputs(line, ctrl);
	*closed = fclose(ctrl);
	return true;
}
