// `sys snmp ...`: handed to the platform's sub-command dispatcher.
#pragma once

#include "cmd_table.h"

extern const sys_cmd_entry snmp_cmd_table[];

int snmp_cmd(int argc, char *argv[], void *ctx);
