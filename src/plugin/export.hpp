// Everything the shared object shows to the outside carries this mark; the rest is hidden.
#pragma once

#define VALTROSSE_EXPORT extern "C" __attribute__((visibility("default")))
