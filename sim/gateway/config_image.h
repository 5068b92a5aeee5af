// The configuration the gateway boots with. Shared by the gateway builder
// (gwsim-mkroot, at a fresh gateway's first boot) and the configuration
// writer service (cfgwriter load, at every reboot).
#pragma once

// Loads the ROM file text of the copy the reader chooses among the raw
// images FIRST and SECOND (ROMFILE_SIZE bytes each) into the running store
// of the gateway under ROOT ("" inside it), with the line end the store's
// text ends with. The caller holds sim_store_lock(ROOT). Returns the index of
// the copy loaded, or ROMFILE_NONE after a message on standard error.
int config_boot_load(const char *root, const unsigned char *first, const unsigned char *second);
