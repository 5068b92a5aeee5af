#include "flash/crc32.h"

#include <array>

namespace {

constexpr std::array<uint32_t, 256> make_crc_table()
{
	std::array<uint32_t, 256> table{};
	for (uint32_t n = 0; n < 256; n++) {
		uint32_t c = n;
		for (int k = 0; k < 8; k++)
			c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
		table[n] = c;
	}
	return table;
}

constexpr std::array<uint32_t, 256> crc_table = make_crc_table();

} // namespace

uint32_t nox_crc32_update(const unsigned char *data, size_t len, uint32_t crc)
{
	for (size_t i = 0; i < len; i++)
		crc = crc_table[(data[i] ^ crc) & 0xFF] ^ (crc >> 8);
	return crc;
}

uint32_t nox_crc32(const unsigned char *data, size_t len)
{
	return nox_crc32_update(data, len, 0xFFFFFFFFu);
}
