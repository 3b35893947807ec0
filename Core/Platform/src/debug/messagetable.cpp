// The system's message table. Texts are Windows' English ones, character for character, each
// ending in CR LF as the message compiler stores them; FormatMessageW turns those breaks into
// blanks or keeps them according to its width flags.
#include "debug/messagetable.h"

#include <algorithm>
#include <iterator>

namespace bvplatform::detail {
namespace {

struct Message {
    DWORD id;                 // Win32 code or HRESULT
    std::u16string_view text; // Windows' text, lines ending in CR LF
};

constexpr bool ById(const Message& a, const Message& b) {
    return a.id < b.id;
}

// Sorted by id (checked below) for a binary search.
constexpr Message kMessages[] = {
    // Win32 codes: files, memory, handles, parameters.
    {0, u"The operation completed successfully.\r\n"},
    {1, u"Incorrect function.\r\n"},
    {2, u"The system cannot find the file specified.\r\n"},
    {3, u"The system cannot find the path specified.\r\n"},
    {4, u"The system cannot open the file.\r\n"},
    {5, u"Access is denied.\r\n"},
    {6, u"The handle is invalid.\r\n"},
    {7, u"The storage control blocks were destroyed.\r\n"},
    {8, u"Not enough memory resources are available to process this command.\r\n"},
    {9, u"The storage control block address is invalid.\r\n"},
    {10, u"The environment is incorrect.\r\n"},
    {11, u"An attempt was made to load a program with an incorrect format.\r\n"},
    {12, u"The access code is invalid.\r\n"},
    {13, u"The data is invalid.\r\n"},
    {14, u"Not enough storage is available to complete this operation.\r\n"},
    {15, u"The system cannot find the drive specified.\r\n"},
    {16, u"The directory cannot be removed.\r\n"},
    {17, u"The system cannot move the file to a different disk drive.\r\n"},
    {18, u"There are no more files.\r\n"},
    {19, u"The media is write protected.\r\n"},
    {20, u"The system cannot find the device specified.\r\n"},
    {21, u"The device is not ready.\r\n"},
    {22, u"The device does not recognize the command.\r\n"},
    {23, u"Data error (cyclic redundancy check).\r\n"},
    {24, u"The program issued a command but the command length is incorrect.\r\n"},
    {25, u"The drive cannot locate a specific area or track on the disk.\r\n"},
    {26, u"The specified disk or diskette cannot be accessed.\r\n"},
    {27, u"The drive cannot find the sector requested.\r\n"},
    {29, u"The system cannot write to the specified device.\r\n"},
    {30, u"The system cannot read from the specified device.\r\n"},
    {31, u"A device attached to the system is not functioning.\r\n"},
    {32, u"The process cannot access the file because it is being used by another process.\r\n"},
    {33, u"The process cannot access the file because another process has locked a portion of "
         u"the file.\r\n"},
    {38, u"Reached the end of the file.\r\n"},
    {39, u"The disk is full.\r\n"},
    {50, u"The request is not supported.\r\n"},
    {53, u"The network path was not found.\r\n"},
    {80, u"The file exists.\r\n"},
    {82, u"The directory or file cannot be created.\r\n"},
    {87, u"The parameter is incorrect.\r\n"},
    {109, u"The pipe has been ended.\r\n"},
    {110, u"The system cannot open the device or file specified.\r\n"},
    {111, u"The file name is too long.\r\n"},
    {112, u"There is not enough space on the disk.\r\n"},
    {120, u"This function is not supported on this system.\r\n"},
    {122, u"The data area passed to a system call is too small.\r\n"},
    {123, u"The filename, directory name, or volume label syntax is incorrect.\r\n"},
    {126, u"The specified module could not be found.\r\n"},
    {127, u"The specified procedure could not be found.\r\n"},
    {145, u"The directory is not empty.\r\n"},
    {161, u"The specified path is invalid.\r\n"},
    {170, u"The requested resource is in use.\r\n"},
    {183, u"Cannot create a file when that file already exists.\r\n"},
    {193, u"%1 is not a valid Win32 application.\r\n"},
    {203, u"The system could not find the environment option that was entered.\r\n"},
    {206, u"The filename or extension is too long.\r\n"},
    {232, u"The pipe is being closed.\r\n"},
    {233, u"No process is on the other end of the pipe.\r\n"},
    {234, u"More data is available.\r\n"},
    {258, u"The wait operation timed out.\r\n"},
    {259, u"No more data is available.\r\n"},
    {267, u"The directory name is invalid.\r\n"},
    {317, u"The system cannot find message text for message number 0x%1 in the message file for "
          u"%2.\r\n"},
    {995, u"The I/O operation has been aborted because of either a thread exit or an application "
          u"request.\r\n"},
    {996, u"Overlapped I/O event is not in a signaled state.\r\n"},
    {997, u"Overlapped I/O operation is in progress.\r\n"},
    {998, u"Invalid access to memory location.\r\n"},
    {1001, u"Recursion too deep; the stack overflowed.\r\n"},
    {1002, u"The window cannot act on the sent message.\r\n"},
    {1003, u"Cannot complete this function.\r\n"},
    {1004, u"Invalid flags.\r\n"},
    // Registry.
    {1009, u"The configuration registry database is corrupt.\r\n"},
    {1010, u"The configuration registry key is invalid.\r\n"},
    {1011, u"The configuration registry key could not be opened.\r\n"},
    {1012, u"The configuration registry key could not be read.\r\n"},
    {1013, u"The configuration registry key could not be written.\r\n"},
    {1014, u"One of the files in the registry database had to be recovered by use of a log or "
           u"alternate copy. The recovery was successful.\r\n"},
    {1015, u"The registry is corrupted. The structure of one of the files containing registry "
           u"data is corrupted, or the system's memory image of the file is corrupted, or the "
           u"file could not be recovered because the alternate copy or log was absent or "
           u"corrupted.\r\n"},
    {1016, u"An I/O operation initiated by the registry failed unrecoverably. The registry could "
           u"not read in, or write out, or flush, one of the files that contain the system's "
           u"image of the registry.\r\n"},
    {1017, u"The system has attempted to load or restore a file into the registry, but the "
           u"specified file is not in a registry file format.\r\n"},
    {1018, u"Illegal operation attempted on a registry key that has been marked for deletion.\r\n"},
    {1019, u"System could not allocate the required space in a registry log.\r\n"},
    {1020, u"Cannot create a symbolic link in a registry key that already has subkeys or "
           u"values.\r\n"},
    {1021, u"Cannot create a stable subkey under a volatile parent key.\r\n"},
    // Text conversion, modules, shell.
    {1113, u"No mapping for the Unicode character exists in the target multi-byte code page.\r\n"},
    {1114, u"A dynamic link library (DLL) initialization routine failed.\r\n"},
    {1155, u"No application is associated with the specified file for this operation.\r\n"},
    {1168, u"Element not found.\r\n"},
    {1223, u"The operation was canceled by the user.\r\n"},
    {1392, u"The file or directory is corrupted and unreadable.\r\n"},
    // Windows and messages.
    {1400, u"Invalid window handle.\r\n"},
    {1401, u"Invalid menu handle.\r\n"},
    {1402, u"Invalid cursor handle.\r\n"},
    {1407, u"Cannot find window class.\r\n"},
    {1408, u"Invalid window; it belongs to other thread.\r\n"},
    {1410, u"Class already exists.\r\n"},
    {1411, u"Class does not exist.\r\n"},
    {1412, u"Class still has open windows.\r\n"},
    {1413, u"Invalid index.\r\n"},
    {1414, u"Invalid icon handle.\r\n"},
    {1450, u"Insufficient system resources exist to complete the requested service.\r\n"},
    {1453, u"Insufficient quota to complete the requested service.\r\n"},
    {1455, u"The paging file is too small for this operation to complete.\r\n"},
    {1460, u"This operation returned because the timeout period expired.\r\n"},
    // Resources.
    {1812, u"The specified image file did not contain a resource section.\r\n"},
    {1813, u"The specified resource type cannot be found in the image file.\r\n"},
    {1814, u"The specified resource name cannot be found in the image file.\r\n"},
    {1815, u"The specified resource language ID cannot be found in the image file.\r\n"},
    {1816, u"Not enough quota is available to process this command.\r\n"},
    // HRESULTs of COM and automation (their MessageText in the SDK's winerror.h).
    {0x8000000A, u"The data necessary to complete this operation is not yet available.\r\n"},
    {0x80004001, u"Not implemented\r\n"},
    {0x80004002, u"No such interface supported\r\n"},
    {0x80004003, u"Invalid pointer\r\n"},
    {0x80004004, u"Operation aborted\r\n"},
    {0x80004005, u"Unspecified error\r\n"},
    {0x8000FFFF, u"Catastrophic failure\r\n"},
    {0x80010106, u"Cannot change thread mode after it is set.\r\n"},
    {0x80020001, u"Unknown interface.\r\n"},
    {0x80020003, u"Member not found.\r\n"},
    {0x80020004, u"Parameter not found.\r\n"},
    {0x80020005, u"Type mismatch.\r\n"},
    {0x80020006, u"Unknown name.\r\n"},
    {0x80020007, u"No named arguments.\r\n"},
    {0x80020008, u"Bad variable type.\r\n"},
    {0x80020009, u"Exception occurred.\r\n"},
    {0x8002000A, u"Out of present range.\r\n"},
    {0x8002000B, u"Invalid index.\r\n"},
    {0x8002000C, u"Unknown language.\r\n"},
    {0x8002000D, u"Memory is locked.\r\n"},
    {0x8002000E, u"Invalid number of parameters.\r\n"},
    {0x8002000F, u"Parameter not optional.\r\n"},
    {0x80020010, u"Invalid callee.\r\n"},
    {0x80020011, u"Does not support a collection.\r\n"},
    {0x80020012, u"Division by zero.\r\n"},
    {0x80020013, u"Buffer too small\r\n"},
    {0x80040110, u"Class does not support aggregation (or class object is remote)\r\n"},
    {0x80040111, u"ClassFactory cannot supply requested class\r\n"},
    {0x80040112, u"Class is not licensed for use\r\n"},
    {0x80040150, u"Could not read key from registry\r\n"},
    {0x80040151, u"Could not write key to registry\r\n"},
    {0x80040152, u"Could not find the key in the registry\r\n"},
    {0x80040153, u"Invalid value for registry\r\n"},
    {0x80040154, u"Class not registered\r\n"},
    {0x80040155, u"Interface not registered\r\n"},
    {0x80040156, u"Threading model entry is not valid\r\n"},
    {0x800401F0, u"CoInitialize has not been called.\r\n"},
    {0x800401F1, u"CoInitialize has already been called.\r\n"},
    {0x800401F3, u"Invalid class string\r\n"},
    {0x800401F4, u"Invalid interface string\r\n"},
    {0x800401F5, u"Application not found\r\n"},
    {0x800401F8, u"DLL for class not found\r\n"},
    {0x80080005, u"Server execution failed\r\n"},
};

static_assert(std::is_sorted(std::begin(kMessages), std::end(kMessages), ById));

constexpr DWORD kWin32FacilityMask = 0xFFFF0000; // severity, facility and flags of an HRESULT
constexpr DWORD kWin32Facility = 0x80070000;     // an error HRESULT carrying a Win32 code

std::optional<std::u16string_view> Lookup(DWORD id) {
    const Message key{id, {}};
    const auto it = std::lower_bound(std::begin(kMessages), std::end(kMessages), key, ById);
    if (it == std::end(kMessages) || it->id != id) {
        return std::nullopt;
    }
    return it->text;
}

} // namespace

std::optional<std::u16string_view> FindSystemMessage(DWORD id) {
    if (auto text = Lookup(id)) {
        return text;
    }
    if ((id & kWin32FacilityMask) == kWin32Facility) {
        return Lookup(id & ~kWin32FacilityMask);
    }
    return std::nullopt;
}

bool IsSystemMessageLanguage(DWORD languageId) {
    constexpr DWORD kLangIdMask = 0xFFFF;  // a LANGID is 16 bits
    constexpr DWORD kPrimaryMask = 0x03FF; // primary language of a LANGID
    constexpr DWORD kLangNeutral = 0x00;   // neutral, user/system/custom defaults
    constexpr DWORD kLangEnglish = 0x09;   // every English sublanguage
    if ((languageId & ~kLangIdMask) != 0) {
        return false;
    }
    const DWORD primary = languageId & kPrimaryMask;
    return primary == kLangNeutral || primary == kLangEnglish;
}

} // namespace bvplatform::detail
