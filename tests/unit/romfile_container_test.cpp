#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <unistd.h>
#include <vector>

#include "fastlz.h"
#include "lib/byteorder.h"
#include "helpers.h"
#include "romfile/container.h"
#include "romfile/romfile.h"
#include "romfile_fixtures.h"

namespace {

// image: the first len bytes of the caller's buffer.
struct Decoded { int rc, len; std::string image, printed; };

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

// A chunk stream read by the test's own parser.
struct OracleChunk { uint32_t id, options, size, checksum, extra; std::string payload; };

std::vector<OracleChunk> oracle_chunks(const std::string &s)
{
	std::vector<OracleChunk> chunks;
	for (size_t p = 0; p + 16 <= s.size(); p += 16 + chunks.back().size) {
		const unsigned char *h = bytes_of(s) + p;
		chunks.push_back({ le16_get(h), le16_get(h + 2), le32_get(h + 4), le32_get(h + 8), le32_get(h + 12), {} });
		chunks.back().payload = s.substr(p + 16, chunks.back().size);
	}
	return chunks;
}

TEST(ContainerHeader, LengthNumber)
{
	auto h = [](const char *number) { return make_container_declaring("", number); };
	const struct { std::string header; int length; const char *printed; } cases[] = {
		{ h("123"), 123, "" },
		{ h("131072"), 131072, "" },
		{ h("131073"), 0, "Oversized length 131073 in compressed config file header\n" },
		{ h("-5"), 0, "Oversized length -5 in compressed config file header\n" },
		{ h("99999999999"), 0, "Oversized length 2147483647 in compressed config file header\n" },
		{ h(""), 0, "" },
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

// Each size's chunks are read back by the test's parser and zlib's adler32.
TEST(ContainerCodec, BlockBoundariesAndGrowth)
{
	for (size_t n : { 0u, 1u, 31u, 32u, 65535u, 65536u, 65537u, 131072u }) {
		std::string text = config_bytes(n), stream = encode_stream(text), image, printed;
		std::vector<OracleChunk> chunks = oracle_chunks(stream);
		ASSERT_EQ(chunks.size(), (n + 65535) / 65536) << n;
		for (size_t i = 0; i < chunks.size(); i++) {
			const OracleChunk &c = chunks[i];
			std::string block = text.substr(i * 65536, 65536);
			EXPECT_EQ(c.id, 17u);
			EXPECT_EQ(c.extra, block.size());
			if (block.size() >= 32) {
				EXPECT_EQ(c.options, 1u) << n;
				EXPECT_EQ(c.checksum, zlib_adler(c.payload));
				std::string out(block.size(), '\0');
				int m = fastlz_decompress(c.payload.data(), int(c.payload.size()), &out[0], int(out.size()));
				EXPECT_EQ(out.substr(0, size_t(std::max(m, 0))), block) << n;
				image += block;
				continue;
			}
			// Stored tail: checksum of the real bytes, payload from the compressor's
			// scratch (zeros, or the previous block's); the decoder says so.
			EXPECT_EQ(c.options, 0u) << n;
			EXPECT_EQ(c.checksum, zlib_adler(block));
			EXPECT_EQ(c.payload, i == 0 ? std::string(block.size(), '\0') : chunks[i - 1].payload.substr(0, block.size()));
			char line[80];
			snprintf(line, sizeof line, "case 0: Got %08X Expecting %08X\n", zlib_adler(c.payload), zlib_adler(block));
			printed = std::string("Error: checksum mismatch. Skipped.\n") + line;
			image += c.payload;
		}
		Decoded d = decode(make_container(stream));
		ASSERT_EQ(d.rc, 0) << n;
		EXPECT_EQ(d.len, static_cast<int>(n));
		EXPECT_TRUE(d.image == image) << n;
		EXPECT_EQ(d.printed, printed) << n;
		// The test's own encoder stores a short tail with its own bytes: clean.
		d = decode(make_container(independent_stream(text)));
		EXPECT_TRUE(d.rc == 0 && d.image == text && d.printed.empty()) << n;
	}
	std::string same(3 * 65536, 'A'); // expands far beyond eight times its stream: the raw buffer grows
	EXPECT_TRUE(decode(make_container(independent_stream(same))).image == same);
}

TEST(ContainerDecoder, DamagedChunksAreSkippedButCounted)
{
	std::string a = config_bytes(40000), b = config_bytes(50000).substr(10000);
	std::string good_a = fastlz_chunk(a), good_b = fastlz_chunk(b), bad_sum = good_a;
	bad_sum[8] ^= 1;
	char mismatch[80];
	snprintf(mismatch, sizeof mismatch, "case 1: Got %08X Expecting %08X\n", zlib_adler(good_a.substr(16)),
		 zlib_adler(good_a.substr(16)) ^ 1);
	std::string junk = "\x1f" + std::string(40, 'x');
	const struct { const char *name; std::string stream; int len; std::string image, printed; } cases[] = {
		{ "bad checksum", bad_sum + good_b, 80000, b + std::string(40000, '\0'),
		  std::string("Error: checksum mismatch. Skipped.\n") + mismatch },
		{ "unknown method", make_chunk(17, 2, "", 0, 0) + good_a, 40000, a, "Error: unknown compression method (2)\n" },
		// id 16: its 16-byte payload is read as the next chunk header.
		{ "other id", make_chunk(16, 1, good_a.substr(0, 16), 0, 0) + good_a.substr(16) + good_b, 80000, a + b, "" },
		{ "bad stream", make_chunk(17, 1, junk, zlib_adler(junk), 5000) + good_b, 45000, b + std::string(5000, '\0'),
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
	const char *no_memory = "nox_configFileLzDecoder: fastlz calloc compressed buffer fail!\n";
	std::string tail_chunk = make_chunk(17, 0, "", 0, 0).replace(4, 4, "\xff\xff\x00\x00", 4); // past the buffer end
	const struct { const char *name; std::string container; int rc; const char *printed_start; } cases[] = {
		{ "extra 4 GiB", make_container(make_chunk(17, 1, "abc", 0, 0xFFFFFFFFu)), -1, no_memory },
		{ "stored 4 GiB", make_container(make_chunk(17, 0, "", 0, 0).replace(4, 4, "\xff\xff\xff\xff")), -1, no_memory },
		{ "erased stream", make_container_declaring(std::string(ROMFILE_SIZE - 40, '\xff'), "131072"), 0, "" },
		{ "empty compressed chunk", make_container(make_chunk(17, 1, "", 1, 0) + make_chunk(17, 1, "", 1, 0)), 0, "" },
		{ "zero stream", make_container_declaring(std::string(ROMFILE_SIZE - 40, '\0'), "131072"), 0, "" },
		{ "payload past the end", make_container_declaring(std::string(131008, '\0') + tail_chunk, "131072"), 0,
		  "Error: checksum mismatch. Skipped.\n" },
	};
	for (auto &c : cases) {
		Decoded d = decode(c.container);
		EXPECT_EQ(d.rc, c.rc) << c.name;
		EXPECT_EQ(d.printed.compare(0, strlen(c.printed_start), c.printed_start), 0) << c.name << d.printed;
	}
}

TEST(ContainerEncoder, EncodesInPlaceOnlyWhenTheContainerFitsAndWritesFiles)
{
	std::string text = gateway_romfile(120000);
	std::vector<char> buf(text.begin(), text.end()), again = buf, tiny(10, 'x');
	int len = static_cast<int>(buf.size()), rc = -1;
	std::string out = capture_stdout([&] { rc = nox_configFileLzEncoder(buf.data(), &len); });
	ASSERT_EQ(rc, 0);
	EXPECT_EQ(out, "compressed len = " + std::to_string(len) + ", uncompressed len = " + std::to_string(text.size()) + "\n");
	EXPECT_EQ(decode(std::string(buf.data(), buf.size())).image, text);
	len = 10;
	out = capture_stdout([&] { rc = nox_configFileLzEncoder(tiny.data(), &len); });
	EXPECT_EQ(rc, -1);
	EXPECT_EQ(out, "compressed len = 26, uncompressed len = 10\nError: input buffer is not enough!\n");
	len = static_cast<int>(again.size());
	char path[64] = "";
	capture_stdout([&] { rc = nox_compressCfgBufferToFile(path, sizeof path, again.data(), &len); });
	ASSERT_EQ(rc, 1);
	EXPECT_STREQ(path, "/tmp/tmp_compress");
	EXPECT_EQ(decode(read_file(path)).image, text);
	write_file("/tmp/plain.cfg", text);
	unlink("/tmp/plain.lz");
	capture_stdout([&] { rc = compressCfgFileToFile("/tmp/plain.cfg", "/tmp/plain.lz"); });
	EXPECT_EQ(rc, 0);
	EXPECT_EQ(read_file("/tmp/plain.lz"), encode_stream(text));
	out = capture_stdout([&] { rc = compressCfgFileToFile("/tmp/plain.cfg", "/tmp/plain.lz"); });
	EXPECT_EQ(rc, -1);
	EXPECT_NE(out.find("Error: file /tmp/plain.lz already exists. Aborted.\n\n"), std::string::npos);
}

// Whatever another user planted at the /tmp work file is refused, never followed.
TEST(ContainerEncoder, WorkFileRefusesWhatWasPlantedThere)
{
	const char *work = "/tmp/tmp_compress", *target = "/tmp/tmp_compress.target";
	const struct { const char *name; int (*plant)(const char *, const char *); } cases[] = {
		{ "symlink", [](const char *path, const char *to) { return symlink(to, path); } },
		{ "dangling symlink", [](const char *path, const char *) { return symlink("/tmp/nowhere/x", path); } },
		{ "fifo", [](const char *path, const char *) { return mkfifo(path, 0666); } },
		{ "directory", [](const char *path, const char *) { return mkdir(path, 0777); } },
	};
	std::string text = gateway_romfile(20000);
	for (auto &c : cases) {
		unlink(work);
		rmdir(work);
		write_file(target, "kept");
		ASSERT_EQ(c.plant(work, target), 0) << c.name;
		std::vector<char> buf(text.begin(), text.end());
		int len = static_cast<int>(buf.size()), rc = -1;
		char path[64] = "unset";
		std::string out = capture_stdout([&] { rc = nox_compressCfgBufferToFile(path, sizeof path, buf.data(), &len); });
		EXPECT_EQ(rc, 0) << c.name;
		std::string refusal = "nox_compressCfgBufferToFile: open file /tmp/tmp_compress error!\n";
		EXPECT_EQ(out.substr(out.find('\n') + 1), refusal) << c.name;
		EXPECT_STREQ(path, "unset") << c.name;
		EXPECT_EQ(read_file(target), "kept") << c.name;
	}
	unlink(work);
	rmdir(work);
	unlink(target);
}

} // namespace
