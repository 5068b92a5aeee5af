// A romfile partition image: trailer, decoding and checksum of the text, and
// the copy choice between it and the same image with the trailer swapped.
//
// The input is the trailer (checksum and version, 8 bytes) and then the
// image's first bytes; the flash between them and the trailer is erased, as
// the writer leaves it. Every image is one input, and the usual one, a short
// container, costs the fuzzer its own length, not a 128 KiB copy per run.
// The image is only read, so one buffer serves every input.
#include <algorithm>
#include <cstring>

#include "romfile/romfile.h"

namespace {

constexpr size_t TRAILER_SIZE = ROMFILE_SIZE - ROMFILE_CHECKSUM_OFFSET;

char image[ROMFILE_SIZE];
size_t written = ROMFILE_CHECKSUM_OFFSET; // bytes from the start not erased

// The image of DATA: its body at the start, erased flash up to the trailer
// (only where the last input wrote), its trailer at the end.
void lay_out(const unsigned char *data, size_t size)
{
	size_t trailer = std::min(size, TRAILER_SIZE);
	memset(image + ROMFILE_CHECKSUM_OFFSET, 0xFF, TRAILER_SIZE);
	memcpy(image + ROMFILE_CHECKSUM_OFFSET, data, trailer);
	size_t used = std::min(size - trailer, ROMFILE_CHECKSUM_OFFSET);
	memcpy(image, data + trailer, used);
	if (written > used)
		memset(image + used, 0xFF, written - used);
	written = used;
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
