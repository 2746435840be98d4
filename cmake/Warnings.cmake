# Linked PRIVATE by every target of our own.
add_library(valtrosse-warnings INTERFACE)
target_compile_options(valtrosse-warnings INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion
    $<$<BOOL:${VALTROSSE_WERROR}>:-Werror>)
