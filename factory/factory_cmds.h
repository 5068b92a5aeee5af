// Handlers of the factory and maintenance rows of the top-level table.
#pragma once

#include <cstdint>

// Identity display.
int atsh_cmd(int argc, char *argv[], void *ctx);
// The last address of the unit's block of MAC addresses, as two halves of
// (at least) 24 bits each.
void last_mac_address(const unsigned char *mac, unsigned quantity, uint32_t *high, uint32_t *low);

// Manufacturing record editing.
int atwz_cmd(int argc, char *argv[], void *ctx);
int atsn_cmd(int argc, char *argv[], void *ctx);
int atwp_cmd(int argc, char *argv[], void *ctx);
int atsw_cmd(int argc, char *argv[], void *ctx);
int atmt_cmd(int argc, char *argv[], void *ctx);
int romreset_cmd(int argc, char *argv[], void *ctx);

// ROM maintenance: `erase`, `copy` and `romd` share rom_maint_cmd.
int atbt_cmd(int argc, char *argv[], void *ctx);
int rom_maint_cmd(int argc, char *argv[], void *ctx);
int rominfo_cmd(int argc, char *argv[], void *ctx);

// LED and button tests.
int btntest_cmd(int argc, char *argv[], void *ctx);
int ledtest_cmd(int argc, char *argv[], void *ctx);
int ledonoff_cmd(int argc, char *argv[], void *ctx);

// Host, access and radio utilities.
int ipinfo_cmd(int argc, char *argv[], void *ctx);
int authkey_cmd(int argc, char *argv[], void *ctx);
int stdio_cmd(int argc, char *argv[], void *ctx);
int calibration_24g_cmd(int argc, char *argv[], void *ctx);
