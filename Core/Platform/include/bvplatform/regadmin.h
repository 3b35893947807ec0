// Administrative registry calls for tools and tests; the library never includes this header.
#pragma once

#include <bvplatform/registry.h>

/// Marks the key `lpSubKey` below `hKey` read-only or clears the mark. A marked key refuses
/// every open or create asking for a write right (MAXIMUM_ALLOWED gets the read rights), new
/// sub-keys and its own deletion; reads work, and handles opened before keep their rights.
/// Fails: as RegOpenKeyExW; ERROR_ACCESS_DENIED for a predefined key.
BVPLATFORM_API LSTATUS BvRegSetKeyReadOnly(HKEY hKey, LPCWSTR lpSubKey, BOOL readOnly);

/// Starts a batch: the process's registry writes from now on commit or roll back together at
/// BvRegEndBatch. Other processes wait for the batch's end to write. Meant for a single-threaded
/// tool: writes of other threads of the process join the batch.
/// Fails: ERROR_INVALID_FUNCTION (a batch is already open); hive errors.
BVPLATFORM_API LSTATUS BvRegBeginBatch();

/// Ends the batch: commits it when `commit` is nonzero, else rolls it back.
/// Fails: ERROR_INVALID_FUNCTION (no batch open); hive errors (the batch is rolled back).
BVPLATFORM_API LSTATUS BvRegEndBatch(BOOL commit);

/// Runs SQLite's integrity check on the hive.
/// Fails: ERROR_REGISTRY_CORRUPT (the check found damage); ERROR_REGISTRY_IO_FAILED.
BVPLATFORM_API LSTATUS BvRegCheckIntegrity();
