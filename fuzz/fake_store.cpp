// The fuzz targets run on the workstation without a gateway: the store reads
// nothing back and only counts what would have been written.
#include "fuzz/fake_store.h"

#include "tcapi.h"

namespace {

int writes;

} // namespace

int fake_store_writes()
{
	return writes;
}

extern "C" int tcapi_get(const char *, const char *, char *)
{
	return -1;
}

extern "C" int tcapi_set(const char *, const char *, const char *)
{
	writes++;
	return 0;
}

extern "C" int tcapi_commit(const char *)
{
	writes++;
	return 0;
}

extern "C" int tcapi_save(void)
{
	writes++;
	return 0;
}
