// Instruction counts (callgrind) of the container and of the romfile copies,
// each beside its floor. Run under callgrind with --toggle-collect=SCENARIO,
// the scenario named as the program's argument:
//   decode, floor_decode   nox_configFileLzDecoder on a 128 KiB ROMFILE's
//                          container / fastlz_decompress + zlib adler32 on
//                          the same chunks
//   encode, floor_encode   cfg_build_container / fastlz level 1 + adler32 on
//                          the same blocks
//   atsh_flow, floor_read  nox_getRomChksum (choosing the copy to read, then
//                          its checksum), as sys atsh does, on two partition
//                          files in the current directory / each copy's
//                          chunks expanded and checked once and its text
//                          summed once (zlib)
//   rominfo_flow           both copies' sums, then the copy to read, as
//                          sys rominfo does
// "make-copies" writes the two partition files.
#include <zlib.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "bench/container_text.h"
#include "fastlz.h"
#include "lib/byteorder.h"
#include "flash/crc32.h"
#include "romfile/container.h"
#include "romfile/romfile.h"

namespace {

constexpr size_t IMAGE = 0x20000;
constexpr size_t HEADER = 40, CHUNK_HEADER = 16;

std::string container_of(const std::string &text)
{
	std::vector<char> c(HEADER + cfg_stream_bound(text.size()));
	int n = 0;
	cfg_build_container(text.data(), static_cast<int>(text.size()), c.data(), c.size(), &n);
	return std::string(c.data(), HEADER + static_cast<size_t>(n));
}

// A romfile partition: container, 0xFF up to the trailer, checksum, version.
std::string partition(const std::string &text, uint32_t version)
{
	std::string p = container_of(text);
	p.resize(0x1FFF8, '\xff');
	size_t body = text.find("</ROMFILE>") + 10;
	unsigned char trailer[8];
	be32_put(trailer, nox_crc32(reinterpret_cast<const unsigned char *>(text.data()), body));
	be32_put(trailer + 4, version);
	return p + std::string(reinterpret_cast<const char *>(trailer), 8);
}

// The chunks of a container as the floor takes them.
struct chunk {
	const unsigned char *payload;
	size_t size;
	size_t plain;
};

std::vector<chunk> chunks_of(const std::string &container)
{
	std::vector<chunk> out;
	const unsigned char *p = reinterpret_cast<const unsigned char *>(container.data()) + HEADER;
	const unsigned char *end = reinterpret_cast<const unsigned char *>(container.data()) + container.size();
	while (p + CHUNK_HEADER <= end) {
		chunk c = { p + CHUNK_HEADER, le32_get(p + 4), le32_get(p + 12) };
		out.push_back(c);
		p += CHUNK_HEADER + c.size;
	}
	return out;
}

std::string text1()
{
	return bench_romfile_text(IMAGE);
}

// The second copy is one version newer with a slightly different text.
std::string text2()
{
	std::string t = text1();
	t.replace(t.find("gateway"), 7, "gatewaY");
	return t;
}

void write_whole(const char *path, const std::string &data)
{
	FILE *f = fopen(path, "wb");
	if (!f || fwrite(data.data(), 1, data.size(), f) != data.size()) {
		perror(path);
		exit(1);
	}
	fclose(f);
}

} // namespace

extern "C" {

__attribute__((noinline)) uint32_t decode(char *raw)
{
	int len = 0;
	nox_configFileLzDecoder(&raw, &len);
	uint32_t first = static_cast<unsigned char>(raw[0]);
	free(raw);
	return first + static_cast<uint32_t>(len);
}

__attribute__((noinline)) uint32_t floor_decode(const std::vector<chunk> *chunks, unsigned char *out)
{
	uint32_t sums = 0;
	for (const chunk &c : *chunks) {
		sums += static_cast<uint32_t>(adler32(1, c.payload, static_cast<uInt>(c.size)));
		out += fastlz_decompress(c.payload, static_cast<int>(c.size), out, static_cast<int>(c.plain));
	}
	return sums;
}

__attribute__((noinline)) int encode(const std::string *text, char *out, size_t out_size)
{
	int n = 0;
	cfg_build_container(text->data(), static_cast<int>(text->size()), out, out_size, &n);
	return n;
}

__attribute__((noinline)) uint32_t floor_encode(const std::string *text, unsigned char *out)
{
	uint32_t sums = 0;
	for (size_t off = 0; off < text->size(); off += CFG_BLOCK_SIZE) {
		size_t n = std::min(text->size() - off, CFG_BLOCK_SIZE);
		int m = fastlz_compress_level(1, text->data() + off, static_cast<int>(n), out);
		sums += static_cast<uint32_t>(adler32(1, out, static_cast<uInt>(m)));
	}
	return sums;
}

__attribute__((noinline)) uint32_t atsh_flow()
{
	return nox_getRomChksum();
}

__attribute__((noinline)) uint32_t rominfo_flow()
{
	romfile_readings readings = {};
	romfile_sums sums;
	uint32_t sum = 0;
	for (const char *copy : { "romfile", "second_romfile" }) {
		romfile_copy_sums(&readings, copy, &sums);
		sum += sums.stored + sums.version;
	}
	sum += static_cast<uint32_t>(romfile_read_index(&readings));
	romfile_readings_free(&readings);
	return sum;
}

__attribute__((noinline)) uint32_t floor_read(const std::vector<chunk> *first, const std::vector<chunk> *second,
					       unsigned char *out)
{
	uint32_t sum = 0;
	for (const std::vector<chunk> *copy : { first, second }) {
		sum += floor_decode(copy, out);
		const char *end = static_cast<const char *>(memmem(out, IMAGE, "</ROMFILE>", 10));
		size_t body = end ? static_cast<size_t>(end - reinterpret_cast<const char *>(out)) + 10 : 0;
		sum += static_cast<uint32_t>(crc32(0, out, static_cast<uInt>(body)));
	}
	return sum;
}

} // extern "C"

int main(int argc, char **argv)
{
	std::string what = argc > 1 ? argv[1] : "";
	std::string t1 = text1(), c1 = container_of(t1);
	std::vector<unsigned char> out(IMAGE + 1);
	uint32_t r = 0;
	if (what == "make-copies") {
		write_whole("romfile", partition(t1, 5));
		write_whole("second_romfile", partition(text2(), 6));
	} else if (what == "decode") {
		char *raw = static_cast<char *>(calloc(IMAGE + 1, 1));
		memcpy(raw, c1.data(), c1.size());
		r = decode(raw);
	} else if (what == "floor_decode") {
		std::vector<chunk> ch = chunks_of(c1);
		r = floor_decode(&ch, out.data());
	} else if (what == "encode") {
		std::vector<char> area(HEADER + cfg_stream_bound(t1.size()));
		r = static_cast<uint32_t>(encode(&t1, area.data(), area.size()));
	} else if (what == "floor_encode") {
		std::vector<unsigned char> area(cfg_stream_bound(t1.size()));
		r = floor_encode(&t1, area.data());
	} else if (what == "atsh_flow") {
		r = atsh_flow();
	} else if (what == "rominfo_flow") {
		r = rominfo_flow();
	} else if (what == "floor_read") {
		std::string c2 = container_of(text2());
		std::vector<chunk> ch1 = chunks_of(c1), ch2 = chunks_of(c2);
		r = floor_read(&ch1, &ch2, out.data());
	} else {
		fprintf(stderr, "usage: %s make-copies|decode|floor_decode|encode|floor_encode|atsh_flow|rominfo_flow|floor_read\n",
			argv[0]);
		return 2;
	}
	printf("%s: %08X\n", what.c_str(), r);
	return 0;
}
