// Throughput of the configuration container beside its floor: FastLZ level 1
// and Adler-32 alone on the same blocks, and nox_crc32 beside zlib's crc32.
#include <benchmark/benchmark.h>
#include <zlib.h>

#include <cstdlib>
#include <cstring>
#include <vector>

#include "bench/container_text.h"
#include "fastlz.h"
#include "flash/crc32.h"
#include "romfile/container.h"

namespace {

constexpr size_t IMAGE = 0x20000;

const std::string &text()
{
	static const std::string t = bench_romfile_text(IMAGE);
	return t;
}

const std::vector<char> &container()
{
	static std::vector<char> c = [] {
		std::vector<char> out(CFG_HEADER_SIZE + cfg_stream_bound(IMAGE));
		int n = 0;
		cfg_build_container(text().data(), static_cast<int>(IMAGE), out.data(), out.size(), &n);
		out.resize(CFG_HEADER_SIZE + static_cast<size_t>(n));
		return out;
	}();
	return c;
}

// The compressed blocks of the container, for the floor.
struct Block {
	std::vector<unsigned char> packed;
	int plain_len;
};

const std::vector<Block> &blocks()
{
	static std::vector<Block> b = [] {
		std::vector<Block> out;
		for (size_t off = 0; off < IMAGE; off += CFG_BLOCK_SIZE) {
			Block blk;
			blk.packed.resize(CFG_BLOCK_SIZE + CFG_BLOCK_SIZE / 16 + 66);
			int m = fastlz_compress_level(1, text().data() + off, CFG_BLOCK_SIZE, blk.packed.data());
			blk.packed.resize(static_cast<size_t>(m));
			blk.plain_len = CFG_BLOCK_SIZE;
			out.push_back(blk);
		}
		return out;
	}();
	return b;
}

// Each round decodes a fresh raw image (the decoder replaces the buffer);
// making it is not timed.
void BM_ContainerDecode(benchmark::State &state)
{
	for (auto _ : state) {
		state.PauseTiming();
		char *buf = static_cast<char *>(calloc(IMAGE + 1, 1));
		memcpy(buf, container().data(), container().size());
		state.ResumeTiming();
		int len = 0;
		nox_configFileLzDecoder(&buf, &len);
		benchmark::DoNotOptimize(buf);
		state.PauseTiming();
		free(buf);
		state.ResumeTiming();
	}
	state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * IMAGE));
}

void BM_FloorDecompressAdler(benchmark::State &state)
{
	std::vector<unsigned char> out(IMAGE);
	for (auto _ : state) {
		size_t o = 0;
		for (const Block &b : blocks()) {
			uLong a = adler32(1, b.packed.data(), static_cast<uInt>(b.packed.size()));
			benchmark::DoNotOptimize(a);
			o += static_cast<size_t>(fastlz_decompress(b.packed.data(), static_cast<int>(b.packed.size()),
								    out.data() + o, b.plain_len));
		}
		benchmark::DoNotOptimize(out.data());
	}
	state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * IMAGE));
}

void BM_ContainerEncode(benchmark::State &state)
{
	std::vector<char> out(CFG_HEADER_SIZE + cfg_stream_bound(IMAGE));
	for (auto _ : state) {
		int n = 0;
		cfg_build_container(text().data(), static_cast<int>(IMAGE), out.data(), out.size(), &n);
		benchmark::DoNotOptimize(out.data());
	}
	state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * IMAGE));
}

void BM_FloorCompressAdler(benchmark::State &state)
{
	std::vector<unsigned char> out(CFG_BLOCK_SIZE + CFG_BLOCK_SIZE / 16 + 66);
	for (auto _ : state) {
		for (size_t off = 0; off < IMAGE; off += CFG_BLOCK_SIZE) {
			int m = fastlz_compress_level(1, text().data() + off, CFG_BLOCK_SIZE, out.data());
			uLong a = adler32(1, out.data(), static_cast<uInt>(m));
			benchmark::DoNotOptimize(a);
		}
	}
	state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * IMAGE));
}

void BM_CfgAdler32(benchmark::State &state)
{
	const unsigned char *p = reinterpret_cast<const unsigned char *>(text().data());
	for (auto _ : state)
		benchmark::DoNotOptimize(cfg_adler32(1, p, IMAGE));
	state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * IMAGE));
}

void BM_ZlibAdler32(benchmark::State &state)
{
	const unsigned char *p = reinterpret_cast<const unsigned char *>(text().data());
	for (auto _ : state)
		benchmark::DoNotOptimize(adler32(1, p, IMAGE));
	state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * IMAGE));
}

void BM_NoxCrc32(benchmark::State &state)
{
	const unsigned char *p = reinterpret_cast<const unsigned char *>(text().data());
	for (auto _ : state)
		benchmark::DoNotOptimize(nox_crc32(p, IMAGE));
	state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * IMAGE));
}

void BM_ZlibCrc32(benchmark::State &state)
{
	const unsigned char *p = reinterpret_cast<const unsigned char *>(text().data());
	for (auto _ : state)
		benchmark::DoNotOptimize(crc32(0, p, IMAGE));
	state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * IMAGE));
}

} // namespace

BENCHMARK(BM_ContainerDecode);
BENCHMARK(BM_FloorDecompressAdler);
BENCHMARK(BM_ContainerEncode);
BENCHMARK(BM_FloorCompressAdler);
BENCHMARK(BM_CfgAdler32);
BENCHMARK(BM_ZlibAdler32);
BENCHMARK(BM_NoxCrc32);
BENCHMARK(BM_ZlibCrc32);
BENCHMARK_MAIN();
