// Fixed byte order for every field stored in flash or in files, whatever the
// CPU's own order.
#pragma once

#include <cstdint>

inline uint32_t be32_get(const unsigned char *p)
{
	return uint32_t(p[0]) << 24 | uint32_t(p[1]) << 16 | uint32_t(p[2]) << 8 | p[3];
}

inline void be32_put(unsigned char *p, uint32_t v)
{
	p[0] = static_cast<unsigned char>(v >> 24);
	p[1] = static_cast<unsigned char>(v >> 16);
	p[2] = static_cast<unsigned char>(v >> 8);
	p[3] = static_cast<unsigned char>(v);
}

inline uint16_t be16_get(const unsigned char *p)
{
	return uint16_t(p[0] << 8 | p[1]);
}

inline void be16_put(unsigned char *p, uint16_t v)
{
	p[0] = static_cast<unsigned char>(v >> 8);
	p[1] = static_cast<unsigned char>(v);
}

inline uint32_t le32_get(const unsigned char *p)
{
	return uint32_t(p[3]) << 24 | uint32_t(p[2]) << 16 | uint32_t(p[1]) << 8 | p[0];
}

inline void le32_put(unsigned char *p, uint32_t v)
{
	p[0] = static_cast<unsigned char>(v);
	p[1] = static_cast<unsigned char>(v >> 8);
	p[2] = static_cast<unsigned char>(v >> 16);
	p[3] = static_cast<unsigned char>(v >> 24);
}

inline uint16_t le16_get(const unsigned char *p)
{
	return uint16_t(p[1] << 8 | p[0]);
}

inline void le16_put(unsigned char *p, uint16_t v)
{
	p[0] = static_cast<unsigned char>(v);
	p[1] = static_cast<unsigned char>(v >> 8);
}
