#include "wan/validators.h"

#include <cstdint>
#include <cstdio>
#include <cstring>

namespace {

constexpr size_t IPV4_TEXT_MIN = 7;  // "1.2.3.4"
constexpr size_t IPV4_TEXT_MAX = 15; // "255.255.255.255"
constexpr int IPV4_OCTETS = 4;
constexpr int MASK_BITS = 32;

// The octet tests compare the wrapped accumulators as signed 32-bit
// numbers, so an octet that wrapped past 2^31 counts as negative (and
// passes the "below 256" test).
int32_t as_signed32(uint32_t value)
{
	if (value <= INT32_MAX)
		return static_cast<int32_t>(value);
	return -static_cast<int32_t>(~value) - 1;
}

void format_mask(int ones, char *text, size_t size)
{
	uint32_t mask = ones == 0 ? 0 : 0xFFFFFFFFu << (MASK_BITS - ones);
	snprintf(text, size, "%u.%u.%u.%u", mask >> 24, (mask >> 16) & 0xFFu, (mask >> 8) & 0xFFu,
		 mask & 0xFFu);
}

} // namespace

bool is_valid_ipv4_addr(const char *text)
{
	if (!text)
		return false;
	if (strcmp(text, "0.0.0.0") == 0)
		return true;
	size_t len = strnlen(text, IPV4_TEXT_MAX + 1);
	if (len < IPV4_TEXT_MIN || len > IPV4_TEXT_MAX)
		return false;

	uint32_t octet[IPV4_OCTETS] = { 0, 0, 0, 0 };
	int dots = 0;
	for (const char *p = text; *p; p++) {
		if (*p >= '0' && *p <= '9') {
			if (dots < IPV4_OCTETS)
				octet[dots] = octet[dots] * 10u + static_cast<uint32_t>(*p - '0');
		} else if (*p == '.') {
			dots++;
		} else {
			return false;
		}
	}
	if (dots != IPV4_OCTETS - 1)
		return false;

	int32_t first = as_signed32(octet[0]);
	int32_t fourth = as_signed32(octet[3]);
	if (first == 0 || fourth == 255 || first == 127)
		return false;
	return first < 224 && as_signed32(octet[1]) < 256 && as_signed32(octet[2]) < 256 && fourth < 256;
}

bool is_valid_subnet_mask(const char *text)
{
	if (!text)
		return false;
	char mask[sizeof "255.255.255.255"];
	for (int ones = 0; ones <= MASK_BITS; ones++) {
		format_mask(ones, mask, sizeof mask);
		if (strcmp(text, mask) == 0)
			return true;
	}
	return false;
}

bool is_all_digits(const char *text)
{
	if (!text)
		return false;
	for (const char *p = text; *p; p++) {
		if (*p < '0' || *p > '9')
			return false;
	}
	return true;
}
