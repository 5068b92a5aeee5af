// A romfile partition image: trailer, decoding and checksum of the text, and
// the copy choice between it and the same image with the trailer swapped.
//
// The input is the trailer (checksum and version, 8 bytes), the byte the
// flash holds between the image's first bytes and the trailer (0xFF where
// erased, 0 where cleared), then those first bytes. Every image is one input,
// and the usual one, a short container, costs the fuzzer its own length, not
// a 128 KiB copy per run. The image is only read, so one buffer serves every
// input.
#include <algorithm>
#include <cstring>

#include "romfile/romfile.h"

namespace {

constexpr size_t TRAILER_SIZE = ROMFILE_SIZE - ROMFILE_CHECKSUM_OFFSET;

char image[ROMFILE_SIZE];

// The image of DATA: its first bytes, the fill up to the trailer, the
// trailer.
void lay_out(const unsigned char *data, size_t size)
{
	size_t trailer = std::min(size, TRAILER_SIZE);
	memset(image + ROMFILE_CHECKSUM_OFFSET, 0xFF, TRAILER_SIZE);
	memcpy(image + ROMFILE_CHECKSUM_OFFSET, data, trailer);
	int fill = size > TRAILER_SIZE ? data[TRAILER_SIZE] : 0xFF;
	size_t from = std::min(size, TRAILER_SIZE + 1);
	size_t used = std::min(size - from, ROMFILE_CHECKSUM_OFFSET);
	memcpy(image, data + from, used);
	memset(image + used, fill, ROMFILE_CHECKSUM_OFFSET - used);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, size_t size)
{
	lay_out(data, size);
	romfile_sums first = {}, second;
	romfile_image_sums(image, "fuzz", &first);
	second = first;
	second.stored = first.version;
	second.version = first.stored;
	romfile_choose_read_index(first, second);
	romfile_choose_write_index(first, second);
	return 0;
}
