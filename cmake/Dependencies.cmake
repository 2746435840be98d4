# What the targets need from the system, under the names that the other folders use. The script
# runner's own needs, SpiderMonkey, CLI11 and readline, stand in script/ and cli/.
#   PkgConfig::LIBXML2, PkgConfig::LIBXSLT   the library
#   GTest::gtest_main, GTest::gmock          tests
#   benchmark::benchmark                     benchmarks
find_package(Threads REQUIRED)
find_package(PkgConfig REQUIRED)

pkg_check_modules(LIBXML2 REQUIRED IMPORTED_TARGET libxml-2.0>=2.9.14)
pkg_check_modules(LIBXSLT REQUIRED IMPORTED_TARGET libxslt>=1.1.35)

if(VALTROSSE_TESTS)
    find_package(GTest CONFIG REQUIRED)
endif()
if(VALTROSSE_BENCH)
    find_package(benchmark CONFIG REQUIRED)
endif()

# Vectors are written for SSE2. Where the processor has none, SIMDe (libsimde-dev) stands for it.
include(CheckIncludeFileCXX)
check_include_file_cxx(emmintrin.h VALTROSSE_HAS_SSE2)
if(NOT VALTROSSE_HAS_SSE2)
    find_path(SIMDE_INCLUDE_DIR simde/x86/sse2.h REQUIRED)
    include_directories(SYSTEM ${PROJECT_SOURCE_DIR}/cmake/portable ${SIMDE_INCLUDE_DIR})
endif()
