// The hex dump `sys atsh` shows the record's other feature bits with. The
// same routine serves the platform's register windows, which must be read a
// whole 32-bit word at a time.
#pragma once

#include <cstdint>

enum class DumpMode { Byte, Word };

// Word mode for addresses in the register windows: the top byte of the
// address's full pointer value is 0xFF or 0xBC. On a 64-bit host no user
// buffer has such an address, so it is always dumped byte by byte.
DumpMode dump_mode_for(uintptr_t address);

// Prints LENGTH bytes from ADDRESS in the given mode: a newline, lines of up
// to 16 bytes each opened by "\t \t", then "\r" and a newline. In word mode
// an unaligned address is rounded down to its word and the length grows by 4.
void dump_memory_as(const unsigned char *address, int length, DumpMode mode);

// dump_memory_as in the mode the address calls for.
void dump_memory(const void *address, int length);
// dump_memory when both are non-zero, else the usage line.
void dump_memory_cmd(const void *address, int length);
