// The work of get_read_romfile_index followed by nox_getRomChksum on two
// realistic 128 KiB copies, at buffer level (the partition reads aside):
// both copies decoded and summed, the copy chosen, the chosen copy decoded
// and summed again. Run under callgrind with --toggle-collect=read_romfile_core.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "bench/container_text.h"
#include "flash/byteorder.h"
#include "flash/crc32.h"
#include "romfile/container.h"
#include "romfile/romfile.h"

namespace {

std::string partition(const std::string &text, uint32_t version)
{
	std::vector<char> c(CFG_HEADER_SIZE + cfg_stream_bound(text.size()));
	int n = 0;
	cfg_build_container(text.data(), static_cast<int>(text.size()), c.data(), c.size(), &n);
	std::string p(c.data(), CFG_HEADER_SIZE + static_cast<size_t>(n));
	p.resize(ROMFILE_CHECKSUM_OFFSET, '\xff');
	int body = romfile_real_length(text.data(), text.size());
	unsigned char trailer[8];
	be32_put(trailer, nox_crc32(reinterpret_cast<const unsigned char *>(text.data()), static_cast<size_t>(body)));
	be32_put(trailer + 4, version);
	return p + std::string(reinterpret_cast<const char *>(trailer), 8);
}

char *read_copy(const std::string &flash)
{
	char *buf = romfile_buf_alloc();
	memcpy(buf, flash.data(), ROMFILE_SIZE);
	return buf;
}

} // namespace

extern "C" __attribute__((noinline)) uint32_t read_romfile_core(const std::string *first, const std::string *second)
{
	romfile_sums s1, s2;
	char *b1 = read_copy(*first);
	romfile_image_sums(&b1, "bench", &s1);
	free(b1);
	char *b2 = read_copy(*second);
	romfile_image_sums(&b2, "bench", &s2);
	free(b2);
	int index = romfile_choose_read_index(s1, s2);
	char *chosen = read_copy(index == ROMFILE_SECOND ? *second : *first);
	bool ok;
	uint32_t sum = romfile_image_checksum(&chosen, "bench", &ok);
	free(chosen);
	return sum;
}

int main()
{
	// Text that still fits in a partition once compressed; the second copy
	// is one version newer with a slightly different configuration.
	std::string text = bench_romfile_text(ROMFILE_SIZE);
	std::string text2 = text;
	text2.replace(text2.find("gateway"), 7, "gatewaY");
	std::string first = partition(text, 5), second = partition(text2, 6);
	uint32_t sum = read_romfile_core(&first, &second);
	printf("checksum of the copy read: %08X\n", sum);
	return 0;
}
