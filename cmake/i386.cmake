# Toolchain for 32-bit x86 with SSE2 on a 64-bit (or 32-bit) Debian.
#
# CMAKE_SYSTEM_NAME stays unset on purpose: the results run on the building machine, so this is no
# cross build and the tests run as they are.

set(CMAKE_C_FLAGS_INIT "-m32 -msse2")
set(CMAKE_CXX_FLAGS_INIT "-m32 -msse2")

# pkg-config looks at the machine's own architecture unless it is told otherwise.
set(ENV{PKG_CONFIG_LIBDIR} "/usr/lib/i386-linux-gnu/pkgconfig:/usr/share/pkgconfig")

# Say what is missing before CMake's own compiler check fails with a page of output.
get_property(valtrosse_in_try_compile GLOBAL PROPERTY IN_TRY_COMPILE)
if(NOT valtrosse_in_try_compile AND NOT VALTROSSE_M32_WORKS)
    if(CMAKE_CXX_COMPILER)
        set(valtrosse_compiler ${CMAKE_CXX_COMPILER})
    elseif(DEFINED ENV{CXX})
        set(valtrosse_compiler $ENV{CXX})
    else()
        set(valtrosse_compiler c++)
    endif()
    set(valtrosse_probe ${CMAKE_BINARY_DIR}/CMakeFiles/m32-probe)
    file(WRITE ${valtrosse_probe}.cpp "#include <string>\nint main() { return 0; }\n")
    execute_process(
        COMMAND ${valtrosse_compiler} -m32 ${valtrosse_probe}.cpp -o ${valtrosse_probe}
        RESULT_VARIABLE valtrosse_result OUTPUT_QUIET ERROR_VARIABLE valtrosse_errors)
    if(NOT valtrosse_result EQUAL 0)
        message(FATAL_ERROR "${valtrosse_compiler} cannot build 32-bit programs (-m32): install the "
            "package g++-multilib, or run ./dev setup.\n${valtrosse_errors}")
    endif()
    set(VALTROSSE_M32_WORKS TRUE CACHE INTERNAL "The compiler builds 32-bit programs")
endif()
