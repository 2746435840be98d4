# What Debian asks of its packages: hardening, and nothing in the results that tells where they were
# built.
add_compile_options(
    -ffile-prefix-map=${PROJECT_BINARY_DIR}=build -ffile-prefix-map=${PROJECT_SOURCE_DIR}=.
    -fstack-protector-strong -Wformat -Wformat-security)
add_compile_definitions(_FORTIFY_SOURCE=2)
add_link_options(-Wl,-z,relro -Wl,-z,now)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
