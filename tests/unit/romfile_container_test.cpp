#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <unistd.h>
#include <vector>

#include "fastlz.h"
#include "helpers.h"
#include "romfile/container.h"
#include "romfile/romfile.h"
#include "romfile_fixtures.h"

namespace {

struct Decoded {
	int rc;
	int len;
	std::string image; // the first len bytes of the caller's buffer
	std::string printed;
};

Decoded decode(const std::string &container)
{
	char *buf = romfile_buf_alloc();
	memcpy(buf, container.data(), std::min(container.size(), ROMFILE_SIZE));
	Decoded d{};
	d.printed = capture_stdout([&] { d.rc = nox_configFileLzDecoder(&buf, &d.len); });
	if (d.rc == 0)
		d.image.assign(buf, static_cast<size_t>(d.len));
	free(buf);
	return d;
}

std::string encode_stream(const std::string &text)
{
	std::vector<char> out(cfg_stream_bound(text.size()));
	int len = static_cast<int>(text.size());
	EXPECT_EQ(compressCfgBufToBuf(text.data(), out.data(), out.size(), &len), 0);
	return std::string(out.data(), static_cast<size_t>(len));
}

// Reads a chunk stream with the test's own parser and zlib's adler32.
struct OracleChunk {
	uint16_t id, options;
	uint32_t size, checksum, extra;
	std::string payload;
};

std::vector<OracleChunk> oracle_chunks(const std::string &s)
{
	std::vector<OracleChunk> chunks;
	auto le = [&](size_t at, int n) {
		uint32_t v = 0;
		for (int i = n - 1; i >= 0; i--)
			v = v << 8 | static_cast<unsigned char>(s[at + i]);
		return v;
	};
	for (size_t p = 0; p + 16 <= s.size();) {
		OracleChunk c{ static_cast<uint16_t>(le(p, 2)), static_cast<uint16_t>(le(p + 2, 2)),
			       le(p + 4, 4), le(p + 8, 4), le(p + 12, 4), {} };
		c.payload = s.substr(p + 16, c.size);
		p += 16 + c.size;
		chunks.push_back(c);
	}
	return chunks;
}

std::string oracle_expand(const OracleChunk &c)
{
	std::string out(c.extra, '\0');
	int n = fastlz_decompress(c.payload.data(), static_cast<int>(c.payload.size()), &out[0],
				  static_cast<int>(out.size()));
	out.resize(static_cast<size_t>(std::max(n, 0)));
	return out;
}

TEST(ContainerHeader, LengthNumber)
{
	struct {
		std::string header;
		int length;
		const char *printed;
	} cases[] = {
		{ make_container_declaring("", "123"), 123, "" },
		{ make_container_declaring("", "131072"), 131072, "" },
		{ make_container_declaring("", "131073"), 0,
		  "Oversized length 131073 in compressed config file header\n" },
		{ make_container_declaring("", "-5"), 0, "Oversized length -5 in compressed config file header\n" },
		{ make_container_declaring("", "99999999999"), 0,
		  "Oversized length 2147483647 in compressed config file header\n" },
		{ make_container_declaring("", ""), 0, "" },
		{ "<compressed len=" + std::string(24, '1') + ">", 0, "" }, // ">" at byte 40
		{ std::string(40, '\xff'), 0, "" },
	};
	for (auto &c : cases) {
		int got = -1;
		std::string out = capture_stdout([&] { got = nox_getCompressedConfigFileLength(c.header.c_str()); });
		EXPECT_EQ(got, c.length) << c.header;
		EXPECT_EQ(out, c.printed) << c.header;
	}
	EXPECT_TRUE(isCompressedConfigFile("<compressed len=5>"));
	EXPECT_FALSE(isCompressedConfigFile("<compressed  len=5>"));
}

TEST(ContainerEncoder, BlockBoundariesAgainstIndependentReader)
{
	for (size_t n : { 0u, 1u, 31u, 32u, 65535u, 65536u, 65537u, 131072u }) {
		std::string text = config_bytes(n);
		std::string stream = encode_stream(text);
		std::vector<OracleChunk> chunks = oracle_chunks(stream);
		ASSERT_EQ(chunks.size(), (n + 65535) / 65536) << n;
		std::string rebuilt;
		for (size_t i = 0; i < chunks.size(); i++) {
			const OracleChunk &c = chunks[i];
			std::string block = text.substr(i * 65536, 65536);
			EXPECT_EQ(c.id, 17);
			EXPECT_EQ(c.extra, block.size());
			if (block.size() >= 32) {
				EXPECT_EQ(c.options, 1) << n;
				EXPECT_EQ(c.checksum, zlib_adler(c.payload));
				EXPECT_EQ(oracle_expand(c), block) << n;
			} else {
				// Stored tail: checksum of the real bytes, payload from the
				// compressor's scratch (zeros, or the previous block's output).
				EXPECT_EQ(c.options, 0) << n;
				EXPECT_EQ(c.checksum, zlib_adler(block));
				std::string expect = i == 0 ? std::string(block.size(), '\0')
							    : chunks[i - 1].payload.substr(0, block.size());
				EXPECT_EQ(c.payload, expect) << n;
			}
		}
	}
}

TEST(ContainerDecoder, RoundTripsAtBlockBoundaries)
{
	for (size_t n : { 0u, 1u, 31u, 32u, 65535u, 65536u, 65537u, 131072u }) {
		std::string text = config_bytes(n);
		std::string stream = encode_stream(text);
		Decoded d = decode(make_container(stream));
		ASSERT_EQ(d.rc, 0) << n;
		ASSERT_EQ(d.len, static_cast<int>(n));
		size_t tail = n % 65536 < 32 ? n % 65536 : 0;
		EXPECT_EQ(d.image.substr(0, n - tail), text.substr(0, n - tail)) << n;
		if (tail) {
			std::vector<OracleChunk> chunks = oracle_chunks(stream);
			EXPECT_EQ(d.image.substr(n - tail), chunks.back().payload) << n;
			char line[80];
			snprintf(line, sizeof line, "case 0: Got %08X Expecting %08X\n",
				 zlib_adler(chunks.back().payload), zlib_adler(text.substr(n - tail)));
			EXPECT_EQ(d.printed, std::string("Error: checksum mismatch. Skipped.\n") + line) << n;
		} else {
			EXPECT_EQ(d.printed, "") << n;
		}
	}
}

TEST(ContainerDecoder, ReadsTheIndependentEncodersContainers)
{
	// A stored tail holding its own bytes decodes cleanly.
	for (size_t n : { 20u, 65536u + 7, 131072u }) {
		std::string text = config_bytes(n);
		Decoded d = decode(make_container(independent_stream(text)));
		EXPECT_EQ(d.rc, 0);
		EXPECT_EQ(d.image, text) << n;
		EXPECT_EQ(d.printed, "") << n;
	}
}

TEST(ContainerDecoder, ImageLargerThanTheRawBufferGrowsIt)
{
	// Text this repetitive expands far beyond eight times its stream.
	std::string text(3 * 65536, 'A');
	std::string stream = independent_stream(text);
	ASSERT_LT(stream.size() * 8, text.size());
	Decoded d = decode(make_container(stream));
	EXPECT_EQ(d.rc, 0);
	EXPECT_EQ(d.image, text);
}

TEST(ContainerDecoder, DamagedChunksAreSkippedButCounted)
{
	std::string a = config_bytes(40000), b = config_bytes(50000).substr(10000);
	std::string good_a = fastlz_chunk(a), good_b = fastlz_chunk(b);
	std::string bad_sum = good_a;
	bad_sum[8] ^= 1;
	uint32_t stored_sum = zlib_adler(good_a.substr(16)) ^ 1;
	char mismatch[80];
	snprintf(mismatch, sizeof mismatch, "case 1: Got %08X Expecting %08X\n", zlib_adler(good_a.substr(16)),
		 stored_sum);
	std::string junk = "\x1f" + std::string(40, 'x');
	std::string garbage = make_chunk(17, 1, junk, zlib_adler(junk), 5000);
	struct {
		const char *name;
		std::string stream;
		int len;
		std::string image;
		std::string printed;
	} cases[] = {
		{ "bad checksum", bad_sum + good_b, 80000, b + std::string(40000, '\0'),
		  std::string("Error: checksum mismatch. Skipped.\n") + mismatch },
		{ "unknown method", make_chunk(17, 2, "", 0, 0) + good_a, 40000, a,
		  "Error: unknown compression method (2)\n" },
		// id 16: its 16-byte payload is read as the next chunk header.
		{ "other id", make_chunk(16, 1, good_a.substr(0, 16), 0, 0) + good_a.substr(16) + good_b, 80000,
		  a + b, "" },
		{ "bad stream", garbage + good_b, 45000, b + std::string(5000, '\0'),
		  "Error: decompression failed. Skipped.\n" },
	};
	for (auto &c : cases) {
		Decoded d = decode(make_container(c.stream));
		EXPECT_EQ(d.rc, 0) << c.name;
		EXPECT_EQ(d.len, c.len) << c.name;
		EXPECT_TRUE(d.image == c.image) << c.name;
		EXPECT_EQ(d.printed, c.printed) << c.name;
	}
}

TEST(ContainerDecoder, HostileSizesStayInsideTheirAreas)
{
	std::string full(ROMFILE_SIZE, '\xff');
	std::string tail_chunk = make_chunk(17, 0, "", 0, 0);
	tail_chunk.replace(4, 4, "\xff\xff\x00\x00", 4); // stored size 65535 past the buffer end
	struct {
		const char *name;
		std::string container;
		int rc;
		const char *printed_start;
	} cases[] = {
		{ "extra 4 GiB", make_container(make_chunk(17, 1, "abc", 0, 0xFFFFFFFFu)), -1,
		  "nox_configFileLzDecoder: fastlz calloc compressed buffer fail!\n" },
		{ "stored 4 GiB", make_container(make_chunk(17, 0, "", 0, 0).replace(4, 4, "\xff\xff\xff\xff")), -1,
		  "nox_configFileLzDecoder: fastlz calloc compressed buffer fail!\n" },
		{ "erased stream", make_container_declaring(std::string(ROMFILE_SIZE - 40, '\xff'), "131072"), 0, "" },
		{ "empty compressed chunk", make_container(make_chunk(17, 1, "", 1, 0) + make_chunk(17, 1, "", 1, 0)), 0, "" },
		{ "zero stream", make_container_declaring(std::string(ROMFILE_SIZE - 40, '\0'), "131072"), 0, "" },
		{ "payload past the end",
		  make_container_declaring(std::string(131008, '\0') + tail_chunk, "131072"), 0,
		  "Error: checksum mismatch. Skipped.\n" },
	};
	for (auto &c : cases) {
		Decoded d = decode(c.container);
		EXPECT_EQ(d.rc, c.rc) << c.name;
		EXPECT_EQ(d.printed.compare(0, strlen(c.printed_start), c.printed_start), 0) << c.name << d.printed;
	}
}

TEST(ContainerEncoder, EncodesInPlaceOnlyWhenTheContainerFits)
{
	std::string text = gateway_romfile(120000);
	std::vector<char> buf(text.begin(), text.end());
	int len = static_cast<int>(buf.size());
	int rc = -1;
	std::string out = capture_stdout([&] { rc = nox_configFileLzEncoder(buf.data(), &len); });
	ASSERT_EQ(rc, 0);
	EXPECT_EQ(out, "compressed len = " + std::to_string(len) + ", uncompressed len = " +
			       std::to_string(text.size()) + "\n");
	Decoded d = decode(std::string(buf.data(), buf.size()));
	EXPECT_EQ(d.image, text);

	std::vector<char> tiny(10, 'x');
	len = 10;
	out = capture_stdout([&] { rc = nox_configFileLzEncoder(tiny.data(), &len); });
	EXPECT_EQ(rc, -1);
	EXPECT_EQ(out, "compressed len = 26, uncompressed len = 10\nError: input buffer is not enough!\n");
}

TEST(ContainerEncoder, WritesTheContainerFile)
{
	std::string text = gateway_romfile(30000);
	std::vector<char> buf(text.begin(), text.end());
	int len = static_cast<int>(buf.size());
	char path[64] = "";
	int rc = 0;
	capture_stdout([&] { rc = nox_compressCfgBufferToFile(path, sizeof path, buf.data(), &len); });
	ASSERT_EQ(rc, 1);
	EXPECT_STREQ(path, "/tmp/tmp_compress");
	EXPECT_EQ(decode(read_file(path)).image, text);

	write_file("/tmp/plain.cfg", text);
	unlink("/tmp/plain.lz");
	std::string printed = capture_stdout([&] { rc = compressCfgFileToFile("/tmp/plain.cfg", "/tmp/plain.lz"); });
	EXPECT_EQ(rc, 0);
	EXPECT_EQ(read_file("/tmp/plain.lz"), encode_stream(text));
	printed = capture_stdout([&] { rc = compressCfgFileToFile("/tmp/plain.cfg", "/tmp/plain.lz"); });
	EXPECT_EQ(rc, -1);
	EXPECT_NE(printed.find("Error: file /tmp/plain.lz already exists. Aborted.\n\n"), std::string::npos);
	for (const char *f : { "/tmp/tmp_compress", "/tmp/plain.cfg", "/tmp/plain.lz" })
		unlink(f);
}

} // namespace
