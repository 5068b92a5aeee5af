// Checking an uploaded firmware image before it is installed.
#pragma once

#include <cstdint>

// Checks an uploaded image in Tclinux_Buffer, its tag at tag_offset, before
// it is installed into `target`: checksums, default configuration, model and
// chip against the manufacturing record, size against the target partition.
// 1 = the upgrade may go on, 0 = rejected after a message.
int nox_fwValidation(const char *target, uint32_t tag_offset);
