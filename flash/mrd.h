// The manufacturing record: 167 bytes written at the factory into the
// boot-loader block, at 0x1FF00 of /dev/mtd0.
#pragma once

#include <cstddef>
#include <cstdint>

constexpr long MRD_OFFSET = 0x1FF00;
constexpr size_t MRD_SIZE = 167;
constexpr size_t BOOT_BLOCK_SIZE = 0x20000;

// Field offsets inside the record.
enum MrdField : size_t {
	MRD_VENDOR_NAME = 4,       // 32 bytes, zero-terminated
	MRD_PRODUCT_MODEL = 36,    // 36 bytes, zero-terminated
	MRD_ETHER_ADDR = 72,       // 6 bytes
	MRD_COUNTRY_CODE = 100,    // 1 byte
	MRD_SERIAL_NUM = 104,      // 13 bytes, not terminated
	MRD_MAC_QUANTITY = 117,    // 1 byte
	MRD_DEBUG_FLAG = 119,      // 1 byte: Boot Module Debug Flag
	MRD_FEATURE_BITS = 120,    // 1 byte
	MRD_OTHER_FEATURES = 121,  // 30 bytes
	MRD_MODEL_ID = 121,        // 4 bytes, most significant first
	MRD_CHIP_ID = 128,         // 8 bytes, not terminated
	MRD_HTP_SWITCH = 150,      // 1 byte
	MRD_WPA_PSK = 151,         // 16 bytes, zero-padded
};

constexpr size_t MRD_VENDOR_NAME_LEN = 32;
constexpr size_t MRD_PRODUCT_MODEL_LEN = 36;
constexpr size_t MRD_ETHER_ADDR_LEN = 6;
constexpr size_t MRD_SERIAL_NUM_LEN = 13;
constexpr size_t MRD_OTHER_FEATURES_LEN = 30;
constexpr size_t MRD_CHIP_ID_LEN = 8;
constexpr size_t MRD_WPA_PSK_LEN = 16;

// 1 = read into buf (at least MRD_SIZE bytes), 0 = failure after a message.
int MRDread(unsigned char *buf);
// Rewrites the whole boot-loader block with the record in place through
// /tmp/boot.bin and the flash utility. 1 = started, 0 = failure.
int MRDwrite(const unsigned char *buf);

uint32_t MRDmodelId(const unsigned char *mrd);
void MRDsetModelId(unsigned char *mrd, uint32_t id);

// Hexadecimal text to a 32-bit value; an optional leading "0x" (lower-case)
// is skipped and the first non-hex character ends the number.
uint32_t lib_xtoi(const char *text);
