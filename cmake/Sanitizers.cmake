# AddressSanitizer and UBSan see all of a process or nothing, hence options for every target. The
# library is compiled without RTTI, which UBSan's vptr check would need.
if(VALTROSSE_SANITIZE)
    add_compile_options(-fsanitize=address,undefined -fno-sanitize=vptr -fno-omit-frame-pointer
        -fno-sanitize-recover=undefined
        # The checks hide from g++ which union members are set.
        $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
    add_link_options(-fsanitize=address,undefined -fno-sanitize=vptr)
endif()
