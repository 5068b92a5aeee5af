#include "romfile_fixtures.h"

#include <zlib.h>

#include <cstdio>
#include <random>
#include <vector>

#include "fastlz.h"

namespace {

void put_le(std::string *s, uint32_t v, int bytes)
{
	for (int i = 0; i < bytes; i++)
		s->push_back(static_cast<char>(v >> (8 * i)));
}

// Values drawn in a fixed order, whatever the argument evaluation order.
struct Draw {
	std::mt19937 rng;
	unsigned operator()(unsigned mod) { return static_cast<unsigned>(rng() % mod); }
	unsigned word() { return static_cast<unsigned>(rng()); }
};

void append_wan(std::string *t, Draw &d, int pvc)
{
	const char *active = d(2) ? "Yes" : "No";
	unsigned vpi = d(256), vci = 32 + d(200), pcr = d(6000);
	const char *encap = d(2) ? "PPPoE LLC" : "1483 Bridged IP LLC";
	unsigned isp = d(4), mtu = 1400 + d(93), user = d(10000), pass = d.word(), idle = d(60);
	char line[512];
	snprintf(line, sizeof line,
		 "<PVC%d Active=\"%s\" VPI=\"%u\" VCI=\"%u\" QOS=\"ubr\" PCR=\"%u\" ENCAP=\"%s\" "
		 "ISP=\"%u\" MTU=\"%u\" NATENABLE=\"Enable\" USERNAME=\"user%u@isp.example\" "
		 "PASSWORD=\"%08x\" CONNECTION=\"Connect_Keep_Alive\" CLOSEIFIDLE=\"%u\"/>\n",
		 pvc, active, vpi, vci, pcr, encap, isp, mtu, user, pass, idle);
	*t += line;
}

void append_wlan(std::string *t, Draw &d, int ssid)
{
	unsigned tag = d(0x10000), enable = d(2), hide = d(2), k1 = d.word(), k2 = d.word();
	char line[512];
	snprintf(line, sizeof line,
		 "<Entry%d SSID=\"HomeNet-%04X\" EnableSSID=\"%u\" HideSSID=\"%u\" AuthMode=\"WPA2PSK\" "
		 "EncrypType=\"AES\" WPAPSK=\"%08x%08x\" RekeyInterval=\"3600\" WMM=\"1\"/>\n",
		 ssid, tag, enable, hide, k1, k2);
	*t += line;
}

void append_filter(std::string *t, Draw &d, int n)
{
	unsigned s3 = d(255), s4 = 1 + d(254), d2 = d(255), d3 = d(255), d4 = 1 + d(254);
	const char *proto = d(2) ? "TCP" : "UDP";
	unsigned port = 1 + d(65535);
	char line[256];
	snprintf(line, sizeof line,
		 "<Entry%d Active=\"Yes\" Name=\"rule%d\" SrcIP=\"192.168.%u.%u\" DesIP=\"10.%u.%u.%u\" "
		 "Protocol=\"%s\" DesPort=\"%u\"/>\n",
		 n, n, s3, s4, d2, d3, d4, proto, port);
	*t += line;
}

} // namespace

std::string gateway_romfile(size_t min_len)
{
	Draw rng{ std::mt19937(2024) };
	std::string t = "<ROMFILE>\n<Sys>\n<Entry HostName=\"gateway\" TimeZone=\"GMT+01:00\" "
			"ConsoleTimeout=\"300\"/>\n</Sys>\n";
	int round = 0;
	while (t.size() + 64 < min_len || round == 0) {
		t += "<Wan>\n";
		for (int i = 0; i < 8; i++)
			append_wan(&t, rng, round * 8 + i);
		t += "</Wan>\n<WLan>\n";
		for (int i = 0; i < 4; i++)
			append_wlan(&t, rng, round * 4 + i);
		t += "</WLan>\n<IpFilter>\n";
		for (int i = 0; i < 16; i++)
			append_filter(&t, rng, round * 16 + i);
		t += "</IpFilter>\n";
		round++;
	}
	t += "</ROMFILE>\n";
	return t;
}

std::string config_bytes(size_t n)
{
	return gateway_romfile(n).substr(0, n);
}

uint32_t zlib_adler(const std::string &data)
{
	uLong a = adler32(0L, Z_NULL, 0);
	a = adler32(a, reinterpret_cast<const Bytef *>(data.data()), static_cast<uInt>(data.size()));
	return static_cast<uint32_t>(a);
}

std::string make_chunk(uint16_t id, uint16_t options, const std::string &payload, uint32_t checksum,
		       uint32_t extra)
{
	std::string c;
	put_le(&c, id, 2);
	put_le(&c, options, 2);
	put_le(&c, static_cast<uint32_t>(payload.size()), 4);
	put_le(&c, checksum, 4);
	put_le(&c, extra, 4);
	return c + payload;
}

std::string fastlz_chunk(const std::string &block)
{
	std::vector<char> out(block.size() + block.size() / 16 + 128);
	int m = fastlz_compress_level(1, block.data(), static_cast<int>(block.size()), out.data());
	std::string payload(out.data(), static_cast<size_t>(m));
	return make_chunk(17, 1, payload, zlib_adler(payload), static_cast<uint32_t>(block.size()));
}

std::string stored_chunk(const std::string &block)
{
	return make_chunk(17, 0, block, zlib_adler(block), static_cast<uint32_t>(block.size()));
}

std::string make_container_declaring(const std::string &stream, const std::string &number)
{
	std::string head = "<compressed len=" + number + ">";
	head.resize(40, '\0');
	return head + stream;
}

std::string make_container(const std::string &stream)
{
	return make_container_declaring(stream, std::to_string(stream.size()));
}

std::string independent_stream(const std::string &text)
{
	std::string stream;
	for (size_t off = 0; off < text.size(); off += 65536) {
		std::string block = text.substr(off, 65536);
		stream += block.size() < 32 ? stored_chunk(block) : fastlz_chunk(block);
	}
	return stream;
}

std::string partition_image(const std::string &image, uint32_t checksum, uint32_t version)
{
	std::string p = image.substr(0, 0x1FFF8);
	p.resize(0x1FFF8, '\xff');
	for (uint32_t v : { checksum, version })
		for (int i = 3; i >= 0; i--)
			p.push_back(static_cast<char>(v >> (8 * i)));
	return p;
}
