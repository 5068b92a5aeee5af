// The kernel console's control file: the top-level forwarding commands and
// the factory's LED test both hand it one command line.
#pragma once

// Writes LINE, without a newline, to the kernel console's control file.
// false after "open /proc/tc3162/tcci_cmd fail" when it cannot be opened;
// otherwise *closed holds the result of closing it, as fclose gives it (0, or
// EOF when the line could not be written or the file not closed).
bool console_ctrl_write(const char *line, int *closed);
