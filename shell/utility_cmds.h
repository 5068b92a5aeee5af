// Small top-level commands: kernel-console forwarding, version and debug
// displays, NTP servers, the TFTP switch and the calibration writer.
#pragma once

int console_forward_cmd(int argc, char *argv[], void *ctx);
int realversion_cmd(int argc, char *argv[], void *ctx);
int debuginfo_cmd(int argc, char *argv[], void *ctx);
int times_cmd(int argc, char *argv[], void *ctx);
int times_address_cmd(int argc, char *argv[], void *ctx);
int tftpd_cmd(int argc, char *argv[], void *ctx);
int writeclbtoflash_cmd(int argc, char *argv[], void *ctx);

// Writes LINE, without a newline, to the kernel console's control file.
// false after "open /proc/tc3162/tcci_cmd fail" when it cannot be opened;
// otherwise *closed holds fclose's result.
bool console_ctrl_write(const char *line, int *closed);

struct FwTag;
// The active image's tag, decoded; false after "Fail to get firmware Tag".
bool load_fw_tag(FwTag *tag);
