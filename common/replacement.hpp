// A new file beside the one whose place it takes: for the library's saves and for vtdom's writeFile.
#pragma once

#include <sys/stat.h>

#include <climits>
#include <cstddef>

namespace valtrosse {

/// Made in two steps: prepare() makes the new file, empty; commit() puts it in the target's place.
class Replacement {
public:
    Replacement() = default;
    ~Replacement() { drop(); }
    Replacement(const Replacement&) = delete;
    Replacement& operator=(const Replacement&) = delete;

    /// Makes a file beside the one at this path, or beside what a symbolic link there leads to. False
    /// where that cannot be replaced: it exists and is no regular file, cannot be written, has several
    /// names or a list of who may do what; or its folder cannot be written.
    bool prepare(const char* path);
    bool prepared() const { return fd_ >= 0; }
    /// Removes the new file, unless it is in its place.
    void drop();
    /// Where the new file is.
    const char* path() const { return beside_; }
    /// Appends to it, for those who do not open the path themselves. False, with errno, when it is not all
    /// there.
    bool write(const char* bytes, std::size_t count);
    /// Its length in bytes, as far as it is written; -1 when that cannot be told.
    long long size() const;
    /// Puts it in the target's place, with its mode and owner. Where the system does not let it, a mount
    /// point for one, its content is copied there. False, with errno, when neither works.
    bool commit();

private:
    bool make_beside();
    bool take_over_owner_and_mode() const;
    bool copy_into_target() const;

    char target_[PATH_MAX] = "";
    char beside_[PATH_MAX] = "";
    struct stat64 before_ = {};  // of the target
    bool exists_ = false;
    int fd_ = -1;
};

}  // namespace valtrosse
