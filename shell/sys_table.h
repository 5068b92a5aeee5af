// The top-level command table and the `times` group.
#pragma once

#include "cmd_table.h"

extern const sys_cmd_entry sys_cmd_table[];
extern const sys_cmd_entry times_cmd_table[];
