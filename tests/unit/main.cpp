// The unit tests read and write /dev/mtd0, /proc/mtd and /tmp as the program
// does on the gateway; outside a simulated gateway they would touch the host.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>

int main(int argc, char **argv)
{
	if (access("/.gwsim", F_OK) != 0) {
		fprintf(stderr, "run the unit tests inside a simulated gateway (tests/run_in_gateway.sh)\n");
		return 2;
	}
	testing::InitGoogleTest(&argc, argv);
	return RUN_ALL_TESTS();
}
