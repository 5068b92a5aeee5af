// CRC-32 of the flash library: IEEE 802.3 table, initial value all ones and
// no final inversion, so the stored checksums differ from zlib's crc32().
#pragma once

#include <cstddef>
#include <cstdint>

uint32_t nox_crc32(const unsigned char *data, size_t len);
uint32_t nox_crc32_update(const unsigned char *data, size_t len, uint32_t crc);
