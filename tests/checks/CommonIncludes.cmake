# Fails when a file of Core/Common includes anything but the C++ standard library, the compiler's
# x86 intrinsics, the library's own headers and the platform's Win32-shaped headers: the library
# never calls Linux directly.
file(GLOB files "${SOURCE_DIR}/Core/Common/*.h" "${SOURCE_DIR}/Core/Common/*.cpp")
set(standard
    algorithm array atomic bit charconv chrono climits cmath compare concepts cstdarg cstddef
    cstdint cstdio cstdlib cstring ctime cwchar exception functional initializer_list iomanip
    iterator limits map memory mutex new numeric optional set span sstream stdexcept string
    string_view system_error tuple type_traits typeinfo unordered_map utility variant vector)
set(bad "")
foreach(file ${files})
    file(STRINGS "${file}" lines REGEX "^[ \t]*#[ \t]*include")
    foreach(line ${lines})
        if(line MATCHES "#[ \t]*include[ \t]*\"Core/Common/[A-Za-z0-9_]+\\.h\"")
            continue()
        endif()
        if(line MATCHES "#[ \t]*include[ \t]*<bvplatform/[a-z0-9_]+\\.h>")
            continue()
        endif()
        if(line MATCHES "#[ \t]*include[ \t]*<[a-z]*intrin\\.h>")
            continue()
        endif()
        if(line MATCHES "#[ \t]*include[ \t]*<([a-z_]+)>")
            list(FIND standard "${CMAKE_MATCH_1}" index)
            if(NOT index EQUAL -1)
                continue()
            endif()
        endif()
        list(APPEND bad "${file}: ${line}")
    endforeach()
endforeach()
if(bad)
    list(JOIN bad "\n" text)
    message(FATAL_ERROR "Core/Common includes headers outside the standard library and the platform:\n${text}")
endif()
list(LENGTH files count)
message(STATUS "Core/Common: ${count} files checked, includes clean")
