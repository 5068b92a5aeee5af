// Identity of the simulated unit, written into its boot-loader block at the
// factory. Firmware images built for the simulation carry the same model and
// chip identifiers in their tag, or validation rejects them.
#pragma once

#include <cstdint>

constexpr char GW_VENDOR_NAME[] = "Larkspur Networks";
constexpr char GW_PRODUCT_MODEL[] = "LN-VX2204";
constexpr char GW_SERIAL_NUMBER[] = "LNX2404000123";                // 13 characters
constexpr unsigned char GW_BASE_MAC[6] = {0x02, 0x4C, 0x4E, 0x00, 0x01, 0x23};
constexpr unsigned char GW_MAC_QUANTITY = 8;
constexpr unsigned char GW_COUNTRY_CODE = 0x10;
constexpr unsigned char GW_DEBUG_FLAG = 0;
constexpr uint32_t GW_MODEL_ID = 0x4C4E2204;
constexpr char GW_CHIP_ID[] = "VX185B02";                          // 8 characters
constexpr char GW_WPA_PSK[] = "Lk7qWm3pZr9tXb2d";                   // 16 characters

// Boot-loader version 1.07 built 03/15/2024: major, minor, unused, two date
// fields and the year, each byte two BCD digits.
constexpr unsigned char GW_BOOT_INFO[14] = {0x01, 0x07, 0x00, 0x03, 0x15, 0x20, 0x24};
constexpr long GW_BOOT_INFO_OFFSET = 0x1FFF2;
