// The gateway's partition list, /proc/mtd, in the kernel's format: a header
// line, then "mtdN: SIZE ERASESIZE "NAME"" with sizes in hex.
#pragma once

#include <cstddef>
#include <cstdint>
#include <sys/stat.h>

struct proc_mtd_entry {
	unsigned index;
	uint32_t size;       // 0 when the line gives none
	uint32_t erase_size; // 0 when the line gives none
	char dev[32];        // "/dev/mtdN"
};

// The partition found as the program finds it: the first "mtdN:" line that
// contains NAME anywhere. false when none does or the list is unreadable.
bool proc_mtd_by_name(const char *name, proc_mtd_entry *found);

// The listed partition whose /dev/mtdN is the file ST describes.
bool proc_mtd_by_file(const struct stat &st, proc_mtd_entry *found);
