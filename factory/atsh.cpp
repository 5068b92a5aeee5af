// sys atsh: the unit's identity as the factory station and service staff
// read it. The station parses these lines by their exact text, blanks,
// doubled colon and carriage returns included.
#include "factory/factory_cmds.h"

#include <cstdint>
#include <cstdio>

#include "factory/memdump.h"
#include "flash/fwtag.h"
#include "flash/mrd.h"
#include "romfile/romfile.h"

namespace {

constexpr uint32_t MAC_HALF_LIMIT = 0x1000000;

uint32_t mac_half(const unsigned char *b)
{
	return uint32_t(b[0]) << 16 | uint32_t(b[1]) << 8 | b[2];
}

void print_serial_number(const unsigned char *mrd)
{
	printf("Serial Number          : ");
	if (mrd[MRD_SERIAL_NUM] == 0) {
		printf("0000000000000\n");
		return;
	}
	for (size_t i = 0; i < MRD_SERIAL_NUM_LEN; i++)
		putchar(mrd[MRD_SERIAL_NUM + i]);
	putchar('\n');
}

void print_identity(const unsigned char *mrd, const FwTag &tag, const char *boot_version,
		    const char *boot_date)
{
	const unsigned char *mac = mrd + MRD_ETHER_ADDR;
	printf("Bootbase Version       : %s | %s\n", boot_version, boot_date);
	printf("Vendor Name            : %.*s\n", int(MRD_VENDOR_NAME_LEN), mrd + MRD_VENDOR_NAME);
	printf("Product Model          : %.*s\n", int(MRD_PRODUCT_MODEL_LEN), mrd + MRD_PRODUCT_MODEL);
	print_serial_number(mrd);
	printf("First MAC Address      : %02X%02X%02X%02X%02X%02X\n", mac[0], mac[1], mac[2], mac[3], mac[4],
	       mac[5]);
	uint32_t high = 0;
	uint32_t low = 0;
	last_mac_address(mac, mrd[MRD_MAC_QUANTITY], &high, &low);
	printf("Last MAC Address       : %06X%06X\n", high, low);
	printf("MAC Address Quantity   : %02d\n", mrd[MRD_MAC_QUANTITY]);
	printf("Default Country Code   : %02X\n", mrd[MRD_COUNTRY_CODE]);
	printf("Boot Module Debug Flag : %02X\n", mrd[MRD_DEBUG_FLAG]);
	printf("HTP Switch:            : %02d\n", mrd[MRD_HTP_SWITCH]);
	printf("Kernel      Checksum   : %08x\r\n", tag.kernelChksum);
	printf("RootFS      Checksum   : %08x\r\n", tag.rootfsChksum);
	printf("RomFile     Checksum   : %08x\r\n", nox_getRomChksum());
	printf("Main Feature Bits      : %02X\n", mrd[MRD_FEATURE_BITS]);
	printf("Other Feature Bits     :");
	dump_memory_cmd(mrd + MRD_OTHER_FEATURES, int(MRD_OTHER_FEATURES_LEN));
}

} // namespace

// A quantity of 0 gives one less than the first address, with no borrow
// into the high half (a low half of 0 shows as FFFFFFFF), and the high half
// may grow past 24 bits: the station's records were made with this
// arithmetic, so it stays. The sum is signed, so -1 never meets the carry.
void last_mac_address(const unsigned char *mac, unsigned quantity, uint32_t *high, uint32_t *low)
{
	*high = mac_half(mac);
	int32_t sum = int32_t(mac_half(mac + 3)) + int32_t(quantity & 0xFF) - 1;
	if (sum >= int32_t(MAC_HALF_LIMIT)) {
		*high += 1;
		sum &= int32_t(MAC_HALF_LIMIT - 1);
	}
	*low = uint32_t(sum);
}

int atsh_cmd(int, char *[], void *)
{
	FwTag tag;
	if (!load_fw_tag(&tag))
		return 0;
	unsigned char mrd[MRD_SIZE];
	if (!MRDread(mrd)) {
		printf("Fail to get MRD information!\n");
		return 0;
	}
	printf("\nFW       Version       : V%s\n", tag.internalVersion);
	printf("External Version       : %s\n", tag.externalVersion);
	char boot_version[BOOT_VERSION_TEXT_SIZE];
	char boot_date[BOOT_DATE_TEXT_SIZE];
	if (!nox_getBootInfo(boot_version, boot_date)) {
		printf("Fail to get Bootloader information!\n");
		return 0;
	}
	print_identity(mrd, tag, boot_version, boot_date);
	return 0;
}
