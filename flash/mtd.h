// Flash partitions reached by name through the kernel's partition list.
#pragma once

#include <cstdint>
#include <cstdio>

#include "mtd_dev.h"

// Opens the partition whose /proc/mtd line contains NAME (first such line
// wins), or NAME itself as a path when no line does. Returns a descriptor or
// a negative value; prints nothing.
int nox_open_mtd(const char *name, int flags);
// The flash writer's copy of the same routine.
int mtd_open(const char *name, int flags);
// Total size of the partition in bytes, 0 on any failure (after a message).
uint32_t nox_mtd_size(const char *name);
// The MTD information record of the open partition FD (the MEMGETINFO
// request). On failure prints "Could not get MTD device info from NAME" on
// OUT and returns false; an erase size of 0 counts as a failure too when
// BLOCKS_NEEDED.
bool mtd_read_info(int fd, const char *name, mtd_info_user *info, FILE *out, bool blocks_needed);
