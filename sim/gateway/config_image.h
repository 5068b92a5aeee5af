// Configuration images as the gateway's own writer lays them out in flash:
// the ROMFILE text in its compressed container, a romfile copy with its
// checksum and version trailer, and the text read back from a raw copy.
// Shared by the factory image builder (gwsim-mkroot) and the configuration
// writer service (cfgwriter).
#pragma once

#include <cstddef>
#include <cstdint>

// The container of the LEN bytes of TEXT in a malloc'd buffer, header
// included; *CONTAINER_LEN receives its length. nullptr when the text is
// empty or cannot be encoded.
unsigned char *config_container(const char *text, size_t len, size_t *container_len);

// Fills IMAGE (ROMFILE_SIZE bytes) as one romfile copy: the container, erased
// flash after it, and the trailer with TEXT's checksum and VERSION. false
// when the container does not fit before the trailer.
bool config_romfile_image(const char *text, size_t len, uint32_t version, unsigned char *image);

// The ROM file text held by the raw copy in *IMAGE (a romfile_buf_alloc
// buffer, replaced by the decoded image when it holds a container); its
// length through "</ROMFILE>", 0 when it holds none.
size_t config_image_text(char **image);

// Writes LEN bytes to PATH through a temporary file and a rename, so readers
// see the old or the new file whole. false on any failure.
bool config_write_file(const char *path, const char *data, size_t len);
