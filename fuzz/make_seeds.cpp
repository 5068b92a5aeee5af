// Seed corpus: containers and partition images as the gateway writes them,
// built with the gateway's own encoder from a generated configuration.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "lib/byteorder.h"
#include "flash/crc32.h"
#include "romfile/container.h"
#include "romfile/romfile.h"

namespace {

std::string config_text(size_t min_len)
{
	std::string t = "<ROMFILE>\n<Sys><Entry HostName=\"gateway\" ConsoleTimeout=\"300\"/></Sys>\n<Wan>\n";
	unsigned seed = 12345;
	for (int i = 0; t.size() < min_len; i++) {
		seed = seed * 1103515245u + 12345u;
		char line[200];
		snprintf(line, sizeof line, "<PVC%d VPI=\"%u\" VCI=\"%u\" ENCAP=\"PPPoE LLC\" MTU=\"%u\"/>\n", i,
			 seed % 256, 32 + (seed >> 8) % 200, 1400 + (seed >> 16) % 92);
		t += line;
	}
	return t + "</Wan>\n</ROMFILE>\n";
}

void write_seed(const std::string &dir, const std::string &name, const std::string &data)
{
	FILE *f = fopen((dir + "/" + name).c_str(), "wb");
	if (!f) {
		perror(name.c_str());
		exit(1);
	}
	fwrite(data.data(), 1, data.size(), f);
	fclose(f);
}

std::string container_of(const std::string &text)
{
	std::vector<char> out(CFG_HEADER_SIZE + cfg_stream_bound(text.size()));
	int n = 0;
	if (cfg_build_container(text.data(), static_cast<int>(text.size()), out.data(), out.size(), &n) != 0)
		exit(1);
	return std::string(out.data(), CFG_HEADER_SIZE + static_cast<size_t>(n));
}

std::string partition_of(const std::string &image, const std::string &text, uint32_t version)
{
	std::string p = image;
	p.resize(ROMFILE_CHECKSUM_OFFSET, '\xff');
	size_t end = text.find("</ROMFILE>") + 10;
	unsigned char trailer[8];
	be32_put(trailer, nox_crc32(reinterpret_cast<const unsigned char *>(text.data()), end));
	be32_put(trailer + 4, version);
	return p + std::string(reinterpret_cast<const char *>(trailer), 8);
}

// A partition image as fuzz_romfile_image takes it: the trailer first, the
// erased flash's byte, then the image's bytes up to the erased flash.
std::string packed_partition(const std::string &partition, size_t used)
{
	return partition.substr(ROMFILE_CHECKSUM_OFFSET) + '\xff' + partition.substr(0, used);
}

} // namespace

int main(int argc, char **argv)
{
	if (argc != 2) {
		fprintf(stderr, "usage: make_seeds DIR\n");
		return 2;
	}
	std::string dir = argv[1];
	for (size_t n : { 200u, 5000u, 40000u, 65536u + 100, 120000u }) {
		std::string text = config_text(n);
		std::string c = container_of(text);
		write_seed(dir, "container_" + std::to_string(n), c);
		if (c.size() <= ROMFILE_CHECKSUM_OFFSET) {
			std::string image = partition_of(c, text, static_cast<uint32_t>(n));
			write_seed(dir, "image_" + std::to_string(n), image);
			write_seed(dir, "packed_image_" + std::to_string(n), packed_partition(image, c.size()));
		}
		if (text.size() <= ROMFILE_CHECKSUM_OFFSET) {
			std::string plain = partition_of(text, text, 3);
			write_seed(dir, "plain_" + std::to_string(n), plain);
			write_seed(dir, "packed_plain_" + std::to_string(n), packed_partition(plain, text.size()));
		}
		write_seed(dir, "text_" + std::to_string(n), text);
	}
	for (size_t n : { 1u, 31u, 32u, 65537u })
		write_seed(dir, "short_tail_" + std::to_string(n), container_of(config_text(n).substr(0, n)));
	write_seed(dir, "erased", std::string(ROMFILE_SIZE, '\xff'));
	write_seed(dir, "packed_erased", std::string(9, '\xff'));
	write_seed(dir, "erased_head", std::string(64, '\xff'));
	write_seed(dir, "romd_header", "<compressed len=1234567>");
	return 0;
}
