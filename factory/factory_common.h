// What the factory commands share: the result markers the test station
// parses, the block-0 write permission and the one-byte flag files in /tmp.
#pragma once

// "\nOK" and "\nERROR", each as a line: the station looks for the blank line
// and the marker after a command's own output.
void print_ok();
void print_error();

constexpr const char BLOCK0_PERMISSION_FILE[] = "/tmp/vorta_atbt";

// Creates or truncates PATH and writes VALUE as one raw byte. false after
// "Open file error!!" and "\nERROR" when the file cannot be opened safely.
bool write_flag_file(const char *path, unsigned char value);

// The block-0 write permission: 1 allows rewriting the boot-loader block.
// set: 1 = written, 0 = failure (messages printed). get: the stored byte, or
// 0 after "Open file error!!" and "\nERROR" when it cannot be read.
int set_block0_permission(unsigned char value);
int get_block0_permission();

// Decimal text to int as atoi reads it, with values beyond int clamped so
// both builds (32- and 64-bit long) agree.
int decimal_int(const char *text);
