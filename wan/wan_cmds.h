// `sys Wan ...`: handed to the platform's sub-command dispatcher.
#pragma once

#include "cmd_table.h"

extern const sys_cmd_entry wan_cmd_table[];

int wan_cmd(int argc, char *argv[], void *ctx);
