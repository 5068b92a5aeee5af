// A realistic 128 KiB gateway configuration for the container benchmarks:
// WAN connections, wireless SSIDs and filter rules with varied values.
#pragma once

#include <cstdio>
#include <string>

inline std::string bench_romfile_text(size_t len)
{
	std::string t = "<ROMFILE>\n<Sys>\n<Entry HostName=\"gateway\" TimeZone=\"GMT+01:00\" "
			"ConsoleTimeout=\"300\"/>\n</Sys>\n";
	unsigned seed = 20240601;
	auto next = [&seed](unsigned mod) {
		seed = seed * 1103515245u + 12345u;
		return (seed >> 8) % mod;
	};
	char line[400];
	for (int i = 0; t.size() + sizeof line + 12 < len; i++) {
		switch (i % 3) {
		case 0:
			snprintf(line, sizeof line,
				 "<PVC%d Active=\"Yes\" VPI=\"%u\" VCI=\"%u\" ENCAP=\"PPPoE LLC\" MTU=\"%u\" "
				 "USERNAME=\"user%u@isp.example\" PASSWORD=\"%06x\"/>\n",
				 i, next(256), 32 + next(200), 1400 + next(93), next(100000), next(0xFFFFFF));
			break;
		case 1:
			snprintf(line, sizeof line,
				 "<SSID%d SSID=\"HomeNet-%04X\" AuthMode=\"WPA2PSK\" EncrypType=\"AES\" "
				 "WPAPSK=\"%06x%06x\" HideSSID=\"%u\"/>\n",
				 i, next(0x10000), next(0xFFFFFF), next(0xFFFFFF), next(2));
			break;
		default:
			snprintf(line, sizeof line,
				 "<Rule%d SrcIP=\"192.168.%u.%u\" DesIP=\"10.%u.%u.%u\" Protocol=\"%s\" DesPort=\"%u\"/>\n",
				 i, next(255), 1 + next(254), next(255), next(255), 1 + next(254),
				 next(2) ? "TCP" : "UDP", 1 + next(65535));
		}
		t += line;
	}
	t += "</ROMFILE>\n";
	t.resize(len, '\n');
	return t;
}
