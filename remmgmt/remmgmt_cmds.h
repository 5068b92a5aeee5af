// `sys remmgmt ...`: handed to the platform's sub-command dispatcher.
#pragma once

#include "cmd_table.h"

extern const sys_cmd_entry remmgmt_cmd_table[];

int remmgmt_cmd(int argc, char *argv[], void *ctx);
