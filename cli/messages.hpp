// What libxml2 and libxslt have to say, for scripts that show it themselves.
#pragma once

#include <memory>

#include "script/engine.hpp"

namespace valtrosse::cli {

/// Keeps the messages of libxml2 and libxslt from standard error until it ends, as far as the thread's parses
/// do not redirect them. What was there before comes back then.
std::unique_ptr<script::MessageCapture> capture_messages();

}  // namespace valtrosse::cli
