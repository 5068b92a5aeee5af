// `sys wlan ...`: handed to the platform's sub-command dispatcher.
#pragma once

#include "cmd_table.h"

extern const sys_cmd_entry wlan_cmd_table[];

int wlan_cmd(int argc, char *argv[], void *ctx);
