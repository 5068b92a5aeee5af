// Opening files in world-writable places (/tmp). Any local user can plant a
// symlink, a FIFO or a directory at a fixed name there, so these routines
// never follow a symlink at the last component, never block on a FIFO or a
// device, and hand back only regular files. A refusal looks like any other
// failure to open: the caller takes its usual failure path and message.
#pragma once

#include <cstdio>
#include <sys/types.h>

// Opens PATH for reading (O_RDONLY), reading and writing (O_RDWR) or
// appending (O_WRONLY | O_APPEND), with O_CREAT if asked. The descriptor is
// returned in blocking mode. -1 when PATH is missing, a symlink (errno
// ELOOP), a directory (EISDIR), another kind of non-regular file (EINVAL),
// or cannot be opened.
int safe_open(const char *path, int flags, mode_t mode = 0666);

// Why safe_open or safe_fopen refused, for a message: ERR as they left it
// in errno ("is a symbolic link", "is a directory", "is not a regular
// file"), else strerror(ERR).
const char *safe_open_error(int err);

// Files whose contents carry authority (a write permission, pending
// changes, a state flag): only a regular file of the user running, with no
// other name, that no one else may write, counts. Opens PATH as safe_open
// does and refuses any other file (errno EPERM). When FLAGS hold O_CREAT, a
// regular file that does not count is removed and the file made afresh
// (O_EXCL), so another user's file never stands in the way of the owner's
// own; a link, FIFO or directory is still refused as safe_open refuses it.
int safe_open_own(const char *path, int flags, mode_t mode = 0644);

// Creates PATH afresh: a file left there (by anyone) is removed first and
// the new one is made with O_EXCL, so the descriptor is known to be the only
// file at PATH that this process wrote. -1 on failure.
int safe_create(const char *path, mode_t mode = 0644);

// Creates a new file with a name nobody else uses: TEMPLATE ends in
// "XXXXXX", which is replaced in place by the name chosen. The file is made
// with O_EXCL, so nothing planted at any name is followed or reused. -1 on
// failure.
int safe_create_unique(char *path_template, mode_t mode = 0600);

// True while PATH still names the file open on FD: checked before a path is
// handed to another program.
bool safe_file_is(int fd, const char *path);

// Writes all LEN bytes of DATA to FD, going on after short writes and
// interrupted calls. False when a write fails.
bool write_all(int fd, const void *data, size_t len);

// stdio over safe_open: modes "r", "rb", "r+", "w", "wb", "w+", "a". The
// writing modes create the file if missing and truncate it only once it is
// known to be a regular file.
FILE *safe_fopen(const char *path, const char *mode);
