#include <gtest/gtest.h>
#include <zlib.h>

#include <cstring>
#include <random>
#include <vector>

#include "flash/crc32.h"
#include "flash/mrd.h"

namespace {

struct XtoiCase { const char *text; uint32_t value; };

TEST(LibXtoi, ReadsHexUpToTheFirstOtherCharacter)
{
	const XtoiCase cases[] = {
		{ "0x1F", 31 },	       { "1f", 31 },	  { "0X1F", 0 }, // capital X is no prefix
		{ "12g4", 0x12 },      { "", 0 },	  { "0x", 0 },
		{ "zz", 0 },	       { "FFFFFFFF", 0xFFFFFFFFu },
		{ "123456789", 0x23456789u }, // wraps past 32 bits
		{ "0x0x5", 0 },	       { "aBcDeF", 0xABCDEF },
	};
	for (const XtoiCase &c : cases)
		EXPECT_EQ(lib_xtoi(c.text), c.value) << c.text;
}

uint32_t zlib_crc(const unsigned char *p, size_t n)
{
	return static_cast<uint32_t>(crc32(0, p, static_cast<uInt>(n)));
}

TEST(NoxCrc32, IsZlibCrcWithoutTheFinalInversion)
{
	const unsigned char check[] = "123456789";
	EXPECT_EQ(nox_crc32(check, 9), 0x340BC6D9u);
	EXPECT_EQ(nox_crc32(check, 0), 0xFFFFFFFFu);
	std::mt19937 rng(7);
	// Lengths around the point where long buffers split into lanes, and odd tails.
	for (size_t len : { 1u, 63u, 64u, 2047u, 2048u, 2053u, 65536u, 131071u, 131072u }) {
		std::vector<unsigned char> data(len);
		for (auto &b : data)
			b = static_cast<unsigned char>(rng());
		EXPECT_EQ(nox_crc32(data.data(), len), ~zlib_crc(data.data(), len)) << len;
	}
}

TEST(NoxCrc32, UpdateContinuesAcrossPieces)
{
	std::vector<unsigned char> data(200000);
	for (size_t i = 0; i < data.size(); i++)
		data[i] = static_cast<unsigned char>(i * 7 + 3);
	uint32_t running = 0xFFFFFFFFu;
	for (size_t off = 0; off < data.size(); off += 65536) {
		size_t n = std::min<size_t>(65536, data.size() - off);
		running = nox_crc32_update(data.data() + off, n, running);
	}
	EXPECT_EQ(running, nox_crc32(data.data(), data.size()));
	EXPECT_EQ(running, ~zlib_crc(data.data(), data.size()));
	// Starting from another value is zlib's crc of that prefix state.
	EXPECT_EQ(nox_crc32_update(data.data(), 10, 0), ~static_cast<uint32_t>(crc32(0xFFFFFFFFu, data.data(), 10)));
}

TEST(MrdModelId, StoredMostSignificantByteFirst)
{
	unsigned char mrd[MRD_SIZE] = {};
	MRDsetModelId(mrd, 0x01020304u);
	const unsigned char expected[] = { 1, 2, 3, 4 };
	EXPECT_EQ(memcmp(mrd + MRD_MODEL_ID, expected, 4), 0);
	EXPECT_EQ(MRDmodelId(mrd), 0x01020304u);
}

} // namespace
