// A configuration store for fuzz targets: holds nothing, counts writes.
#pragma once

// tcapi_set, tcapi_commit and tcapi_save calls since the program started.
int fake_store_writes();
