// Streaming an image into a flash partition one erase block at a time, and
// installing an uploaded firmware image from Tclinux_Buffer.
#pragma once

#include <cstdint>

// Appends `length` bytes to the stream into partition `name`, opening it on
// the first call. Each erase block is erased and programmed as it fills; the
// call with `last` set writes the partly filled final block (zero-padded)
// and closes the stream. A null `data` or negative `length` does nothing.
// 0 = accepted; -1 = failure after a message on stderr, the stream closed
// (the next call starts again at block 0).
int writeFlash(const char *name, const unsigned char *data, int length, int last);

// Copies the image whose tag is at tag_offset of Tclinux_Buffer into
// partition `target`, its tag carrying new_version. Returns -1 whatever
// happened: success shows only as "\nDone" and the flash contents.
int nox_installFwImage(uint32_t new_version, const char *target, uint32_t tag_offset);
