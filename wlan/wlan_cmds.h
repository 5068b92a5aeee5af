// `sys wlan ...`: handed to the platform's sub-command dispatcher, and
// `sys wlan macfilter ...` again with its own table.
#pragma once

#include "cmd_table.h"

extern const sys_cmd_entry wlan_cmd_table[];
extern const sys_cmd_entry wlan_macfilter_table[];

int wlan_cmd(int argc, char *argv[], void *ctx);
