// Small utilities: the LAN host list (ipinfo), the console access key
// (authKey), the console time-out (stdio) and the 2.4 GHz radio's
// calibration status.
#include "factory/factory_cmds.h"

#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <sys/socket.h>
#include <unistd.h>

#include "factory/factory_common.h"
#include "lib/safe_file.h"
#include "radio_dev.h"
#include "shell/store.h"
#include "shell_cmd.h"
#include "tcapi.h"

namespace {

constexpr const char IPV4_LEASES[] = "/etc/udhcp_lease";
constexpr const char IPV6_LEASES[] = "/var/run/dhcp6s.lease";
constexpr int IPV4_LINE_SIZE = 880;
constexpr int IPV6_LINE_SIZE = 256; // at most IPV4_LINE_SIZE
// The DHCP server renews at half the lease; the list shows its defaults,
// not the file's expiry times.
constexpr int SHOWN_LEASE_SECONDS = 3600;
constexpr int SHOWN_RENEW_SECONDS = 1800;

constexpr const char KEY_NODE[] = "Account_Common";
constexpr const char KEY_ATTR[] = "EncryptKey";
constexpr size_t KEY_SIZE = 128;
constexpr const char DEFAULT_KEY[] = "KVRP";

constexpr const char TIMEOUT_ATTR[] = "StdioTimeout";

constexpr const char RADIO_IF[] = "ra0";
constexpr unsigned long RADIO_PRIV_QUERY = SIOCIWFIRSTPRIV + 1;
constexpr uint16_t CALIBRATION_QUERY = 0x768;
constexpr uint32_t CALIBRATION_DONE = 1;

// The blank-separated words of LINE into N buffers, each word cut to its
// buffer. A line with fewer words leaves the later buffers as they were.
void split_words(const char *line, char *const words[], const size_t sizes[], int n)
{
	const unsigned char *p = reinterpret_cast<const unsigned char *>(line);
	for (int i = 0; i < n; i++) {
		while (*p && isspace(*p))
			p++;
		if (!*p)
			return;
		size_t len = 0;
		while (p[len] && !isspace(p[len]))
			len++;
		size_t kept = len < sizes[i] ? len : sizes[i] - 1;
		memcpy(words[i], p, kept);
		words[i][kept] = '\0';
		p += len;
	}
}

// The lease files belong to the DHCP servers; opened so that whatever sits
// at the name (a FIFO, a device) can never hold the command up. Each line,
// read up to LINE_SIZE bytes, is split into the words and shown; returns
// the number of lines.
int list_leases(const char *path, int line_size, char *const words[], const size_t sizes[],
		void (*show)(char *const words[]))
{
	FILE *f = safe_fopen(path, "r");
	int count = 0;
	if (!f)
		return count;
	char line[IPV4_LINE_SIZE];
	memset(line, 0, sizeof line);
	while (fgets(line, line_size, f)) {
		split_words(line, words, sizes, 4);
		show(words);
		count++;
		memset(line, 0, sizeof line);
	}
	fclose(f);
	return count;
}

void show_ipv4_host(char *const w[])
{
	printf("%s   %s   %s    %ds   %ds\n", w[3], w[1], w[0], SHOWN_LEASE_SECONDS, SHOWN_RENEW_SECONDS);
}

void show_ipv6_host(char *const w[])
{
	printf("%s   %s   %ss   %ss\n", w[1], w[0], w[2], w[3]);
}

// Word buffers: MAC, address, expiry (not shown), host name.
int list_ipv4_hosts()
{
	char mac[20] = "", ip[16] = "", expiry[12] = "", host[32] = "";
	char *const words[] = { mac, ip, expiry, host };
	const size_t sizes[] = { sizeof mac, sizeof ip, sizeof expiry, sizeof host };
	return list_leases(IPV4_LEASES, IPV4_LINE_SIZE, words, sizes, show_ipv4_host);
}

// Word buffers: client DUID, address, preferred and valid lifetime.
int list_ipv6_hosts()
{
	char duid[128] = "", ip[128] = "", preferred[12] = "", valid[10] = "";
	char *const words[] = { duid, ip, preferred, valid };
	const size_t sizes[] = { sizeof duid, sizeof ip, sizeof preferred, sizeof valid };
	return list_leases(IPV6_LEASES, IPV6_LINE_SIZE, words, sizes, show_ipv6_host);
}

// A key the 128-byte buffers cannot hold could never be typed back in, so
// it is refused like any key the store does not take.
bool store_new_key(const char *key)
{
	if (strlen(key) >= KEY_SIZE || tcapi_set(KEY_NODE, KEY_ATTR, key) != 0)
		return false;
	tcapi_commit(KEY_NODE);
	tcapi_save();
	return true;
}

} // namespace

int ipinfo_cmd(int, char *[], void *)
{
	printf("IPv4 Host List: \n");
	printf("HostName   IPAddress      MacAddress         LeaseTime  RenewTime\n");
	printf("Total IPv4 host num: %d\n\n", list_ipv4_hosts());
	printf("IPv6 Host List: \n");
	printf("IPAddress               ClientDUID          PreferredLifetime    ValidLifetime\n");
	printf("Total IPv6 host num: %d\n\n", list_ipv6_hosts());
	printf("WAN IPv4/IPv6 DNS info: \n");
	run_system_cmd("cat /etc/dnsmasq.conf");
	return 0;
}

int authkey_cmd(int argc, char *argv[], void *)
{
	if (argc < 2 || argc > 3) {
		printf("Error!\n");
		return 0;
	}
	char stored[KEY_SIZE];
	memset(stored, 0, sizeof stored);
	if (store_get(KEY_NODE, KEY_ATTR, stored, sizeof stored) != 0)
		snprintf(stored, sizeof stored, "%s", DEFAULT_KEY);
	if (strcmp(argv[1], stored) != 0) {
		printf("Wrong key input.\n");
		return 0;
	}
	printf("Correct key input. Authentication done.\n");
	// The shell's redirection follows links and waits on FIFOs; a fresh
	// file made here first is one nobody else can swap in the sticky /tmp.
	int mark = safe_create("/tmp/Authentication");
	if (mark >= 0) {
		close(mark);
		run_system_cmd("echo authenticated > /tmp/Authentication");
	}
	if (argc == 3) {
		if (store_new_key(argv[2]))
			printf("New key is configured. Please keep it in mind and don't tell others. \n");
		else
			printf("Error! New key is not set. Please reboot or reset to default. \n");
	}
	return 0;
}

int stdio_cmd(int argc, char *argv[], void *)
{
	if (argc != 2) {
		printf("usage: sys stdio [seconds]\n");
		return 0;
	}
	int seconds = decimal_int(argv[1]);
	if (seconds < 0) {
		printf("usage: sys stdio [seconds]!\n");
		return 0;
	}
	char text[16];
	snprintf(text, sizeof text, "%d", seconds);
	tcapi_set("GUI_Entry0", TIMEOUT_ATTR, text);
	// Committed under this spelling, as the console service has always
	// been told; the value itself is not saved.
	tcapi_commit("Gui_Entry0");
	printf("The system timeout is set to %s.\n", text);
	return 0;
}

int calibration_24g_cmd(int, char *[], void *)
{
	int sock = socket(AF_INET, SOCK_DGRAM, 0);
	uint32_t result = 0;
	struct iwreq req;
	memset(&req, 0, sizeof req);
	snprintf(req.ifr_name, sizeof req.ifr_name, "%s", RADIO_IF);
	req.u.data.pointer = &result;
	req.u.data.length = sizeof result;
	req.u.data.flags = CALIBRATION_QUERY;
	if (radio_dev_ioctl(sock, RADIO_PRIV_QUERY, &req) < 0)
		run_system_cmd("echo ioctl error!");
	else
		printf(result == CALIBRATION_DONE ? "Calibration is done!\n" : "Calibration is not done !\n");
	if (sock >= 0)
		close(sock);
	return 0;
}
