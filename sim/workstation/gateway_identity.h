// Identity of the simulated unit, written into its boot-loader block at the
// factory. Firmware images built for the simulation carry the same model and
// chip identifiers in their tag, or validation rejects them. Every
// identifier here is made up for the simulation and names no real part.
#pragma once

#include <cstdint>

constexpr char GW_VENDOR_NAME[] = "Larkspur Networks";
constexpr char GW_PRODUCT_MODEL[] = "LN-SIMGW1";
constexpr char GW_SERIAL_NUMBER[] = "LNX2404000123";                // 13 characters
constexpr unsigned char GW_BASE_MAC[6] = {0x02, 0x4C, 0x4E, 0x00, 0x01, 0x20};
constexpr unsigned char GW_MAC_QUANTITY = 8;             // base ends on a multiple of 8
constexpr unsigned char GW_COUNTRY_CODE = 0x10;
constexpr unsigned char GW_DEBUG_FLAG = 0;
constexpr unsigned char GW_FEATURE_BITS = 0x01;
constexpr unsigned char GW_HTP_SWITCH = 0;
constexpr uint32_t GW_MODEL_ID = 0x4C4E0001;
constexpr char GW_CHIP_ID[] = "SIMCHIP1";                          // 8 characters
constexpr char GW_WPA_PSK[] = "Lk7qWm3pZr9tXb2d";                   // 16 characters

// Boot-loader version 1.07 built 03/15/2024: major, minor, unused, two date
// fields and the year, each byte two BCD digits.
constexpr unsigned char GW_BOOT_INFO[14] = {0x01, 0x07, 0x00, 0x03, 0x15, 0x20, 0x24};
constexpr long GW_BOOT_INFO_OFFSET = 0x1FFF2;

// Hosts on the LAN when the unit is first looked at, in the DHCP servers'
// lease formats: MAC, address, expiry, host name; DUID, address, preferred
// and valid lifetime. Documentation addresses only.
constexpr char GW_DHCP_LEASES[] = "00:00:5e:00:53:21 192.168.1.33 86400 laptop\n"
				  "00:00:5e:00:53:22 192.168.1.34 86400 printer\n";
constexpr char GW_DHCP6_LEASES[] = "00:01:00:01:2e:5a:10:00:00:00:5e:00:53:21 2001:db8:0:1::21 3600 7200\n";
constexpr char GW_DNS_FORWARDER_CONF[] = "no-resolv\n"
					 "server=192.0.2.53\n"
					 "server=198.51.100.53\n"
					 "server=2001:db8::53\n"
					 "cache-size=150\n";
