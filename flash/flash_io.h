// Positioned reads from a flash partition opened as a file.
#pragma once

#include <cstddef>
#include <cstdint>

// Moves FD to OFFSET. Partitions are far smaller than 2 GiB; a position
// beyond that is refused before it could wrap the gateway's 32-bit file
// offsets.
bool flash_seek(int fd, uint64_t offset);
// Reads up to LEN bytes at OFFSET into BUF, leaving FD's position as it
// was; returns how many arrived (0 when the position is refused). A short
// count means the partition ended or a read failed.
size_t flash_read_at(int fd, uint64_t offset, void *buf, size_t len);
