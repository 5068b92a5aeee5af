// ROM-D: the factory default configuration, a compressed ROM file in the
// first erase block of the "romd" partition.
#pragma once

#include <cstddef>
#include <cstdint>

// Bytes of "romd" inspected for the container header.
constexpr size_t ROMD_HEADER_PROBE = 32;

// The length number of a container header found in the 32 bytes at HEAD, with
// its ">" at most 7 digits after "<compressed len="; 0 when absent.
int romd_header_length(const char *head);
int isRomdExist();
// Reads the first erase block of "romd" (at most 128 KiB) into BUF, a buffer
// of 131072 bytes. 1 on success, 0 on failure.
int nox_getRomdBuf(char *buf);
uint32_t nox_getRomdChksum();
// Writes the ROM-D text to /tmp/romd.cfg. 1 on success, 0 on failure.
int nox_dumpRomdContent();
