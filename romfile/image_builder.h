// Building configuration images as the gateway's writer lays them out: the
// ROM file text in its compressed container, and a romfile copy (container,
// erased flash after it, checksum and version trailer). One builder for the
// workstation tool and the simulated gateway's writer and factory images.
#pragma once

#include <cstddef>
#include <cstdint>

enum romfile_build_result {
	ROMFILE_BUILT,
	ROMFILE_BUILD_NO_TEXT,       // no <ROMFILE>...</ROMFILE> at the start
	ROMFILE_BUILD_NOT_ENCODED,   // the encoder refused the text
	ROMFILE_BUILD_TOO_LARGE,     // the container does not fit before the trailer
	ROMFILE_BUILD_NOT_DECODABLE, // the container does not decode back to the text
};

// The container of the LEN bytes of TEXT in a malloc'd buffer, header
// included; *CONTAINER_LEN receives its length. nullptr when the text is
// empty or cannot be encoded.
unsigned char *romfile_build_container(const char *text, size_t len, size_t *container_len);

// Fills IMAGE (ROMFILE_SIZE bytes) as one romfile copy of TEXT stamped with
// its checksum and VERSION, after checking that the container decodes back
// to the same ROM file. *CONTAINER_LEN receives the container's length
// whenever it was built. Prints only the container routines' own messages.
romfile_build_result romfile_build_image(const char *text, size_t len, uint32_t version, unsigned char *image,
					 size_t *container_len);
