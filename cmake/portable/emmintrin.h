// SSE2 for processors that have none: the same functions by SIMDe.
#pragma once

#define SIMDE_ENABLE_NATIVE_ALIASES
#include <simde/x86/sse2.h>
