// What libxml2 writes to standard error while a script runs.
#pragma once

#include <libxml/xmlmemory.h>
#include <libxslt/xsltutils.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

#include "host/host.hpp"

namespace valtrosse::cli {

/// Lets at most one line of libxml2's messages through for each call: a hostile document brings forth
/// millions. Names the file that could not be written, and the call that had no memory. What a stylesheet
/// says stays as it is. One at a time; the host must outlive it.
class OneLineACall {
public:
    /// Throws std::bad_alloc.
    explicit OneLineACall(const host::Host& host);
    ~OneLineACall();
    OneLineACall(const OneLineACall&) = delete;
    OneLineACall& operator=(const OneLineACall&) = delete;

    /// Notes that there was no memory of this size for libxml2 or the library.
    void no_memory(std::size_t size);

private:
    static ssize_t write_some(void* self, const char* bytes, std::size_t count);
    void take(const char* bytes, std::size_t count);
    void end_line();
    void begin_call();
    void write_out(const char* text, std::size_t length);

    const host::Host& host_;
    std::FILE* const standard_error_ = stderr;
    std::FILE* stream_ = nullptr;
    std::uint64_t call_ = 0;
    bool is_said_ = false;   // the line of this call has been written
    bool has_more_ = false;  // the message goes on in the next line
    // No memory is asked for where there may be none.
    char line_[1000] = {};
    std::size_t length_ = 0;
};

}  // namespace valtrosse::cli
