// What the factory programs into a new unit's flash besides the boot-loader
// block: two firmware images, both romfile copies and ROM-D holding the
// default configuration, and the radio calibration file.
#pragma once

#include <cstddef>

// Reads the default configuration text and builds the images from it.
// false after a message on standard error.
bool factory_flash_prepare(const char *default_config_path);

// Programs the factory contents of partition NAME into BUF (SIZE bytes,
// erased on entry). Partitions the factory leaves erased are not touched.
// false when an image does not fit.
bool factory_fill_partition(const char *name, unsigned char *buf, size_t size);

// The ROM file text the unit loads at its first boot: the copy the reader
// chooses, decoded, in a malloc'd buffer. nullptr when no copy is valid.
char *factory_boot_config(size_t *len);

constexpr size_t RADIO_CALIBRATION_SIZE = 512;
// The radio calibration file the factory leaves in /etc.
void factory_radio_calibration(unsigned char *buf);

void factory_flash_release();
