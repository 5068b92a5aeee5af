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
