// The registry: a persistent tree of keys holding typed values, shared by every process of the
// user (a SQLite hive in the prefix). Names compare without regard to case and keep the case in
// which they were created. Every call returns a status (0 or a Win32 error code) and leaves the
// last-error value alone.
#pragma once

#include <bvplatform/export.h>
#include <bvplatform/types.h>

using HKEY = struct HKEY__*;
using PHKEY = HKEY*;
using LSTATUS = LONG;
using REGSAM = DWORD;
using LPDWORD = DWORD*;
using LPBYTE = BYTE*;

#ifndef BV_FILETIME_DEFINED
#define BV_FILETIME_DEFINED
struct FILETIME {
    DWORD dwLowDateTime;  // low 32 bits of 100 ns ticks since 1601
    DWORD dwHighDateTime; // high 32 bits
};
using PFILETIME = FILETIME*;
#endif

// Predefined keys, sign-extended as the platform's 64-bit headers give them.
#define BV_PREDEFINED_HKEY(n) (reinterpret_cast<HKEY>(static_cast<LONG_PTR>(static_cast<LONG>(n))))
#define HKEY_CLASSES_ROOT BV_PREDEFINED_HKEY(0x80000000u)
#define HKEY_CURRENT_USER BV_PREDEFINED_HKEY(0x80000001u)
#define HKEY_LOCAL_MACHINE BV_PREDEFINED_HKEY(0x80000002u)
#define HKEY_USERS BV_PREDEFINED_HKEY(0x80000003u)
#define HKEY_PERFORMANCE_DATA BV_PREDEFINED_HKEY(0x80000004u)
#define HKEY_CURRENT_CONFIG BV_PREDEFINED_HKEY(0x80000005u)
#define HKEY_DYN_DATA BV_PREDEFINED_HKEY(0x80000006u)

constexpr DWORD REG_NONE = 0;
constexpr DWORD REG_SZ = 1;
constexpr DWORD REG_EXPAND_SZ = 2;
constexpr DWORD REG_BINARY = 3;
constexpr DWORD REG_DWORD = 4;
constexpr DWORD REG_DWORD_LITTLE_ENDIAN = 4;
constexpr DWORD REG_DWORD_BIG_ENDIAN = 5;
constexpr DWORD REG_LINK = 6;
constexpr DWORD REG_MULTI_SZ = 7;
constexpr DWORD REG_QWORD = 11;
constexpr DWORD REG_QWORD_LITTLE_ENDIAN = 11;

constexpr DWORD REG_OPTION_NON_VOLATILE = 0;
constexpr DWORD REG_OPTION_VOLATILE = 1;
constexpr DWORD REG_CREATED_NEW_KEY = 1;
constexpr DWORD REG_OPENED_EXISTING_KEY = 2;

constexpr REGSAM DELETE = 0x00010000;
constexpr REGSAM READ_CONTROL = 0x00020000;
constexpr REGSAM WRITE_DAC = 0x00040000;
constexpr REGSAM WRITE_OWNER = 0x00080000;
constexpr REGSAM SYNCHRONIZE = 0x00100000;
constexpr REGSAM STANDARD_RIGHTS_READ = READ_CONTROL;
constexpr REGSAM STANDARD_RIGHTS_WRITE = READ_CONTROL;
constexpr REGSAM STANDARD_RIGHTS_ALL = 0x001F0000;
constexpr REGSAM MAXIMUM_ALLOWED = 0x02000000;
constexpr REGSAM GENERIC_ALL = 0x10000000;
constexpr REGSAM GENERIC_EXECUTE = 0x20000000;
constexpr REGSAM GENERIC_WRITE = 0x40000000;
constexpr REGSAM GENERIC_READ = 0x80000000;

constexpr REGSAM KEY_QUERY_VALUE = 0x0001;
constexpr REGSAM KEY_SET_VALUE = 0x0002;
constexpr REGSAM KEY_CREATE_SUB_KEY = 0x0004;
constexpr REGSAM KEY_ENUMERATE_SUB_KEYS = 0x0008;
constexpr REGSAM KEY_NOTIFY = 0x0010;
constexpr REGSAM KEY_CREATE_LINK = 0x0020;
constexpr REGSAM KEY_WOW64_64KEY = 0x0100;
constexpr REGSAM KEY_WOW64_32KEY = 0x0200;
constexpr REGSAM KEY_READ = 0x00020019;
constexpr REGSAM KEY_WRITE = 0x00020006;
constexpr REGSAM KEY_EXECUTE = KEY_READ;
constexpr REGSAM KEY_ALL_ACCESS = 0x000F003F;

/// Opens an existing key below `hKey` (a predefined key or an open handle) with the rights
/// `samDesired`. A null or empty `lpSubKey` opens `hKey`'s own key again as a new handle. The
/// sub-key text may hold several levels separated by backslashes. The parent's rights don't
/// matter. Writes *phkResult only on success.
/// Fails: ERROR_INVALID_PARAMETER (null phkResult, a level over 255 units); ERROR_INVALID_HANDLE
/// (null, closed or unknown hKey); ERROR_BAD_PATHNAME (leading backslash); ERROR_KEY_DELETED
/// (hKey's key was deleted); ERROR_FILE_NOT_FOUND (no such key); ERROR_ACCESS_DENIED (write
/// rights on a read-only key); ERROR_REGISTRY_CORRUPT / ERROR_REGISTRY_IO_FAILED (the hive).
BVPLATFORM_API LSTATUS RegOpenKeyExW(HKEY hKey, LPCWSTR lpSubKey, DWORD ulOptions,
                                     REGSAM samDesired, PHKEY phkResult);

/// Creates every missing level of `lpSubKey` below `hKey` in one transaction, or opens the key
/// if it exists, with the rights `samDesired`. *lpdwDisposition (if given) says
/// REG_CREATED_NEW_KEY or REG_OPENED_EXISTING_KEY. Class and security are ignored, and a
/// volatile key is kept like any other. Writes the out-parameters only on success.
/// Fails: as RegOpenKeyExW, but a missing key is created; ERROR_ACCESS_DENIED also for a new
/// level below a read-only key; ERROR_INVALID_PARAMETER for unknown option bits.
BVPLATFORM_API LSTATUS RegCreateKeyExW(HKEY hKey, LPCWSTR lpSubKey, DWORD Reserved, LPWSTR lpClass,
                                       DWORD dwOptions, REGSAM samDesired,
                                       const void* lpSecurityAttributes, PHKEY phkResult,
                                       LPDWORD lpdwDisposition);

/// RegCreateKeyExW asking for MAXIMUM_ALLOWED (all rights, read rights on a read-only key).
/// Fails: as RegCreateKeyExW.
BVPLATFORM_API LSTATUS RegCreateKeyW(HKEY hKey, LPCWSTR lpSubKey, PHKEY phkResult);

/// Closes a handle; a handle of a deleted key closes normally, a predefined key is a no-op.
/// Fails: ERROR_INVALID_HANDLE (null, closed or unknown handle).
BVPLATFORM_API LSTATUS RegCloseKey(HKEY hKey);

/// Deletes the key `lpSubKey` below `hKey` (an empty text: hKey's own key) with its values.
/// Fails: ERROR_INVALID_HANDLE; ERROR_INVALID_PARAMETER (null text, long level);
/// ERROR_BAD_PATHNAME; ERROR_KEY_DELETED; ERROR_FILE_NOT_FOUND (no such key);
/// ERROR_ACCESS_DENIED (the key has sub-keys, is predefined or read-only).
BVPLATFORM_API LSTATUS RegDeleteKeyW(HKEY hKey, LPCWSTR lpSubKey);

/// Deletes the key `pszSubKey` below `hKey` with all its descendants in one transaction: all or
/// nothing. Fails: as RegDeleteKeyW, but sub-keys are deleted; ERROR_ACCESS_DENIED when any key
/// of the tree is read-only (nothing is deleted).
BVPLATFORM_API LSTATUS SHDeleteKeyW(HKEY hKey, LPCWSTR pszSubKey);

/// Deletes a value (a null name: the default value). Needs KEY_SET_VALUE.
/// Fails: ERROR_INVALID_HANDLE; ERROR_KEY_DELETED; ERROR_ACCESS_DENIED; ERROR_FILE_NOT_FOUND.
BVPLATFORM_API LSTATUS RegDeleteValueW(HKEY hKey, LPCWSTR lpValueName);

/// Facts about a key; every out-parameter may be null. Counts and longest lengths are in
/// units (names, without the NUL) or bytes (data). The class is empty, the security descriptor
/// size 0, the time the last write of the key's values. Needs KEY_QUERY_VALUE.
/// Fails: ERROR_INVALID_HANDLE; ERROR_KEY_DELETED; ERROR_ACCESS_DENIED; nothing is written.
BVPLATFORM_API LSTATUS RegQueryInfoKeyW(HKEY hKey, LPWSTR lpClass, LPDWORD lpcchClass,
                                        LPDWORD lpReserved, LPDWORD lpcSubKeys,
                                        LPDWORD lpcbMaxSubKeyLen, LPDWORD lpcbMaxClassLen,
                                        LPDWORD lpcValues, LPDWORD lpcbMaxValueNameLen,
                                        LPDWORD lpcbMaxValueLen, LPDWORD lpcbSecurityDescriptor,
                                        PFILETIME lpftLastWriteTime);

/// The `dwIndex`-th sub-key's name, in the order of the upper-cased names. *lpcchName is the
/// buffer's size in units on entry, the name's length without NUL on success. Needs
/// KEY_ENUMERATE_SUB_KEYS. Fails: ERROR_INVALID_PARAMETER (null name or length);
/// ERROR_INVALID_HANDLE; ERROR_KEY_DELETED; ERROR_ACCESS_DENIED; ERROR_NO_MORE_ITEMS (index past
/// the end); ERROR_MORE_DATA (no room for name and NUL; nothing written).
BVPLATFORM_API LSTATUS RegEnumKeyExW(HKEY hKey, DWORD dwIndex, LPWSTR lpName, LPDWORD lpcchName,
                                     LPDWORD lpReserved, LPWSTR lpClass, LPDWORD lpcchClass,
                                     PFILETIME lpftLastWriteTime);

/// The `dwIndex`-th value, in creation order: name as RegEnumKeyExW, then type and data as
/// RegQueryValueExW. Needs KEY_QUERY_VALUE. Fails: as RegEnumKeyExW; ERROR_MORE_DATA also for a
/// short data buffer (*lpcbData gets the size needed, nothing else is written).
BVPLATFORM_API LSTATUS RegEnumValueW(HKEY hKey, DWORD dwIndex, LPWSTR lpValueName,
                                     LPDWORD lpcchValueName, LPDWORD lpReserved, LPDWORD lpType,
                                     LPBYTE lpData, LPDWORD lpcbData);

/// Reads a value (a null name: the default value): its type, and its bytes into lpData of
/// *lpcbData bytes. With null data only the size is given. A text value stored without its NUL
/// gets one appended when the buffer has room (the size reported stays the stored one). Needs
/// KEY_QUERY_VALUE. Fails: ERROR_INVALID_PARAMETER (data without size); ERROR_INVALID_HANDLE;
/// ERROR_KEY_DELETED; ERROR_ACCESS_DENIED; ERROR_FILE_NOT_FOUND (nothing written);
/// ERROR_MORE_DATA (*lpcbData gets the size needed, type is written, data untouched).
BVPLATFORM_API LSTATUS RegQueryValueExW(HKEY hKey, LPCWSTR lpValueName, LPDWORD lpReserved,
                                        LPDWORD lpType, LPBYTE lpData, LPDWORD lpcbData);

/// Writes a value of any type and size, keeping its place in the order when it exists; it is
/// on disk for every process when the call returns. A text written without its NUL, followed by
/// a NUL in memory, is stored with it (as the platform does). Needs KEY_SET_VALUE.
/// Fails: ERROR_INVALID_PARAMETER (name over 16383 units); ERROR_NOACCESS (null data of non-zero
/// size); ERROR_INVALID_HANDLE; ERROR_KEY_DELETED; ERROR_ACCESS_DENIED; hive errors.
BVPLATFORM_API LSTATUS RegSetValueExW(HKEY hKey, LPCWSTR lpValueName, DWORD Reserved, DWORD dwType,
                                      const BYTE* lpData, DWORD cbData);

/// Forces everything written so far to disk (a checkpoint with fsync).
/// Fails: ERROR_INVALID_HANDLE; ERROR_KEY_DELETED; ERROR_REGISTRY_IO_FAILED.
BVPLATFORM_API LSTATUS RegFlushKey(HKEY hKey);
