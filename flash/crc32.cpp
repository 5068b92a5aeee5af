#include "flash/crc32.h"

#include "lib/byteorder.h"

namespace {

// Slicing by eight: table[k][n] is the register change of byte n followed by
// k zero bytes, so eight bytes are folded with eight look-ups and no carried
// dependency between them. The 8 KiB of tables are built on first use into
// zeroed memory rather than stored in the program, which the gateway's
// flash budget counts.
constexpr size_t SLICES = 8;
uint32_t crc_table[SLICES][256];
bool crc_table_built;

void build_crc_table()
{
	for (uint32_t n = 0; n < 256; n++) {
		uint32_t c = n;
		for (int k = 0; k < 8; k++)
			c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
		crc_table[0][n] = c;
	}
	for (uint32_t n = 0; n < 256; n++)
		for (size_t k = 1; k < SLICES; k++)
			crc_table[k][n] = crc_table[0][crc_table[k - 1][n] & 0xFF] ^ (crc_table[k - 1][n] >> 8);
	crc_table_built = true;
}

uint32_t crc_byte(uint32_t crc, unsigned char b)
{
	return crc_table[0][(b ^ crc) & 0xFF] ^ (crc >> 8);
}

// The reflected register takes the first byte in its low bits, so the bytes
// are gathered little-endian whatever the CPU's own order.
__attribute__((always_inline)) inline uint64_t le64_get(const unsigned char *p)
{
	return uint64_t(le32_get(p + 4)) << 32 | le32_get(p);
}

// Inlined: the lanes only overlap when their look-ups sit in one loop body.
__attribute__((always_inline)) inline uint32_t crc_eight(uint32_t crc, const unsigned char *p)
{
	uint64_t w = le64_get(p) ^ crc;
	return crc_table[7][w & 0xFF] ^ crc_table[6][(w >> 8) & 0xFF] ^ crc_table[5][(w >> 16) & 0xFF] ^
	       crc_table[4][(w >> 24) & 0xFF] ^ crc_table[3][(w >> 32) & 0xFF] ^
	       crc_table[2][(w >> 40) & 0xFF] ^ crc_table[1][(w >> 48) & 0xFF] ^ crc_table[0][w >> 56];
}

uint32_t crc_words(uint32_t crc, const unsigned char *data, size_t words)
{
	for (; words > 0; words--, data += SLICES)
		crc = crc_eight(crc, data);
	return crc;
}

// The register is a polynomial over GF(2) kept bit-reversed (x^0 in the top
// bit). a * b mod the CRC polynomial; a must not be zero.
constexpr uint32_t mul_mod_poly(uint32_t a, uint32_t b)
{
	uint32_t m = 1u << 31;
	uint32_t product = 0;
	for (;;) {
		if (a & m) {
			product ^= b;
			if ((a & (m - 1)) == 0)
				break;
		}
		m >>= 1;
		b = (b & 1) ? (b >> 1) ^ 0xEDB88320u : b >> 1;
	}
	return product;
}

// x^(2^k) mod the polynomial, k = 0..31.
struct x2k_powers {
	uint32_t t[32];
};

constexpr x2k_powers make_x2k_table()
{
	x2k_powers powers{};
	auto &t = powers.t;
	uint32_t p = 1u << 30; // x^1
	t[0] = p;
	for (size_t k = 1; k < 32; k++)
		t[k] = p = mul_mod_poly(p, p);
	return powers;
}

constexpr x2k_powers x2k_made = make_x2k_table();
constexpr const uint32_t (&x2k_table)[32] = x2k_made.t;

// x^(8 * BYTES) mod the polynomial: running a register over BYTES zero bytes
// multiplies it by this.
uint32_t zero_bytes_factor(size_t bytes)
{
	uint32_t p = 1u << 31; // x^0
	for (size_t k = 3; bytes; bytes >>= 1, k++)
		if (bytes & 1)
			p = mul_mod_poly(x2k_table[k & 31], p);
	return p;
}

constexpr size_t LANES = 4;
// Below this, the lanes cost more to join than they save.
constexpr size_t LANES_MIN = LANES * 64 * SLICES;

} // namespace

// Long buffers run as four independent lanes interleaved in one loop, so the
// CPU overlaps their table look-ups; the register is linear in its input, so
// the lanes join exactly: the register over A then B is the register over A
// carried across len(B) zero bytes, XOR the register over B started from 0.
uint32_t nox_crc32_update(const unsigned char *data, size_t len, uint32_t crc)
{
	if (!crc_table_built)
		build_crc_table();
	if (len >= LANES_MIN) {
		size_t lane = len / (LANES * SLICES) * SLICES;
		const unsigned char *p1 = data + lane, *p2 = p1 + lane, *p3 = p2 + lane;
		uint32_t c1 = 0, c2 = 0, c3 = 0;
		for (size_t i = 0; i < lane; i += SLICES) {
			crc = crc_eight(crc, data + i);
			c1 = crc_eight(c1, p1 + i);
			c2 = crc_eight(c2, p2 + i);
			c3 = crc_eight(c3, p3 + i);
		}
		uint32_t carry = zero_bytes_factor(lane);
		crc = mul_mod_poly(carry, crc) ^ c1;
		crc = mul_mod_poly(carry, crc) ^ c2;
		crc = mul_mod_poly(carry, crc) ^ c3;
		data += LANES * lane;
		len -= LANES * lane;
	}
	crc = crc_words(crc, data, len / SLICES);
	data += len / SLICES * SLICES;
	for (len %= SLICES; len > 0; len--)
		crc = crc_byte(crc, *data++);
	return crc;
}

uint32_t nox_crc32(const unsigned char *data, size_t len)
{
	return nox_crc32_update(data, len, 0xFFFFFFFFu);
}
