# How the tests start the programs of the build: by themselves, or, on a kernel that runs no 32-bit
# programs, with an emulator. ./dev finds out and passes it on.
set(VALTROSSE_EMULATOR "" CACHE STRING "What runs the programs of the build: empty, or qemu-i386")

set(valtrosse_patience 1)
if(VALTROSSE_EMULATOR)
    # For tests whose command is a target, and to list the cases of the suite.
    set(CMAKE_CROSSCOMPILING_EMULATOR ${VALTROSSE_EMULATOR})
    set(valtrosse_patience 20)
endif()

# valtrosse_program(VARIABLE TARGET): the path by which scripts start the program. With an emulator it
# is a script of the same name.
function(valtrosse_program variable target)
    set(path $<TARGET_FILE:${target}>)
    if(VALTROSSE_EMULATOR)
        set(path ${PROJECT_BINARY_DIR}/emulated/${target})
        file(GENERATE OUTPUT ${path}
            CONTENT "#!/bin/sh\nexec '${VALTROSSE_EMULATOR}' '$<TARGET_FILE:${target}>' \"$@\"\n"
            FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE)
    endif()
    set(${variable} ${path} PARENT_SCOPE)
endfunction()

# valtrosse_time_limit(SECONDS TEST...): an emulated test gets more.
function(valtrosse_time_limit seconds)
    math(EXPR seconds "${seconds} * ${valtrosse_patience}")
    set_tests_properties(${ARGN} PROPERTIES TIMEOUT ${seconds})
endfunction()

# valtrosse_needs_valgrind(NAME COMMAND...): a test that starts valgrind. An emulator does not run
# valgrind: there the test is listed as one that did not run.
find_program(VALGRIND valgrind)
function(valtrosse_needs_valgrind name)
    if(VALTROSSE_SANITIZE)
        return() # Sanitized programs do not run under valgrind.
    elseif(VALGRIND AND NOT VALTROSSE_EMULATOR)
        add_test(NAME ${name} ${ARGN})
        return()
    elseif(VALTROSSE_EMULATOR)
        string(APPEND name " (valgrind does not run in an emulator)")
    else()
        string(APPEND name " (valgrind is not installed)")
    endif()
    add_test(NAME ${name} COMMAND ${CMAKE_COMMAND} -E false)
    set_tests_properties(${name} PROPERTIES DISABLED TRUE)
endfunction()

# valtrosse_valgrind_test(NAME SECONDS [TOOL ...] COMMAND ... [ENVIRONMENT ...]): a program under memcheck,
# or another tool of valgrind.
function(valtrosse_valgrind_test name seconds)
    cmake_parse_arguments(PARSE_ARGV 2 test "" "" "TOOL;COMMAND;ENVIRONMENT")
    if(NOT test_TOOL)
        set(test_TOOL --leak-check=full --show-leak-kinds=definite,possible
            --errors-for-leak-kinds=definite,possible)
    endif()
    valtrosse_needs_valgrind(${name}
        COMMAND ${VALGRIND} --quiet --vgdb=no --error-exitcode=99 --num-callers=24
            --smc-check=all-non-file # the JavaScript engine writes code
            ${test_TOOL}
            ${test_COMMAND})
    if(TEST ${name})
        # Those with the largest COST are started first.
        set_tests_properties(${name} PROPERTIES
            LABELS valgrind TIMEOUT ${seconds} COST ${seconds} ENVIRONMENT "${test_ENVIRONMENT}")
    endif()
endfunction()
