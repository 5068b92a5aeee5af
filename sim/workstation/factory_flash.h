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

// The raw image of romfile copy INDEX (1 or 2) as the factory programs it,
// ROMFILE_SIZE bytes.
const unsigned char *factory_romfile_copy(int index);

constexpr size_t RADIO_CALIBRATION_SIZE = 512;
// The radio calibration file the factory leaves in /etc.
void factory_radio_calibration(unsigned char *buf);

void factory_flash_release();
