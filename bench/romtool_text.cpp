// Prints the realistic 128 KiB configuration of the container benchmarks as
// the store writes its text, for bench/romtool.sh.
#include <cstdio>

#include "container_text.h"

int main()
{
	std::string t = bench_romfile_text(128 * 1024);
	fwrite(t.data(), 1, t.size(), stdout);
	return 0;
}
