// Configuration texts and containers for the romfile tests, built here with
// zlib's adler32 so the decoder is not only checked against its own encoder.
#pragma once

#include <cstdint>
#include <string>

// A gateway configuration "<ROMFILE>" to "</ROMFILE>\n" of at least MIN_LEN bytes.
std::string gateway_romfile(size_t min_len);
// Exactly N bytes cut from gateway configuration text.
std::string config_bytes(size_t n);

uint32_t zlib_adler(const std::string &data);
// One chunk: 16-byte little-endian header and payload.
std::string make_chunk(uint16_t id, uint16_t options, const std::string &payload, uint32_t checksum,
		       uint32_t extra);
std::string fastlz_chunk(const std::string &block);
std::string stored_chunk(const std::string &block);
// "<compressed len=N>" header padded to 40 bytes, then the stream.
std::string make_container(const std::string &stream);
std::string make_container_declaring(const std::string &stream, const std::string &number);
// TEXT's chunk stream by the test's encoder (a short last block stored as is).
std::string independent_stream(const std::string &text);

// A 128 KiB romfile partition image: IMAGE, 0xFF padding, trailer.
std::string partition_image(const std::string &image, uint32_t checksum, uint32_t version);
