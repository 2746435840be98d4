#include "common/replacement.hpp"

#include <fcntl.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace valtrosse {
namespace {

bool is_link(const char* path) {
    struct stat64 status;
    return lstat64(path, &status) == 0 && S_ISLNK(status.st_mode);
}

/// Whether somebody said more about this file than owner and mode do, which a new one would not have.
bool has_access_list(const char* path) {
    return getxattr(path, "system.posix_acl_access", nullptr, 0) > 0;
}

bool write_all(int fd, const char* bytes, std::size_t count) {
    while (count > 0) {
        const ssize_t written = ::write(fd, bytes, count);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        bytes += written;
        count -= static_cast<std::size_t>(written);
    }
    return true;
}

}  // namespace

void Replacement::drop() {
    if (!prepared()) return;
    unlink(beside_);
    close(std::exchange(fd_, -1));
}

bool Replacement::prepare(const char* path) {
    if (is_link(path)) {
        if (!realpath(path, target_)) return false;
    } else {
        if (std::strlen(path) >= sizeof target_) return false;
        std::strcpy(target_, path);
    }
    exists_ = stat64(target_, &before_) == 0;
    if (exists_) {
        const bool can_be_replaced = S_ISREG(before_.st_mode) && before_.st_nlink == 1 &&
                                     faccessat(AT_FDCWD, target_, W_OK, AT_EACCESS) == 0 &&
                                     !has_access_list(target_);
        if (!can_be_replaced) return false;
    } else if (errno != ENOENT) {
        return false;
    }
    return make_beside();
}

bool Replacement::make_beside() {
    // Others may do the same here at the same time.
    static std::atomic<unsigned> number = 0;
    constexpr int attempts = 100;
    constexpr int longest_part = 200;  // of the name, which may have 255 bytes with what is added

    const char* const slash = std::strrchr(target_, '/');
    const char* const name = slash ? slash + 1 : target_;
    const auto folder_length = static_cast<int>(name - target_);
    if (!*name) return false;
    const mode_t mode = exists_ ? 0600 : 0666;
    for (int i = 0; i < attempts; ++i) {
        const int length =
            std::snprintf(beside_, sizeof beside_, "%.*s.%.*s.%lx-%x.tmp", folder_length, target_,
                          longest_part, name, static_cast<unsigned long>(getpid()), number++);
        if (length < 0 || static_cast<std::size_t>(length) >= sizeof beside_) return false;
        fd_ = open64(beside_, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, mode);
        if (fd_ >= 0) return true;
        if (errno != EEXIST) return false;
    }
    return false;
}

bool Replacement::write(const char* bytes, std::size_t count) {
    return write_all(fd_, bytes, count);
}

long long Replacement::size() const {
    struct stat64 status;
    return fstat64(fd_, &status) == 0 ? status.st_size : -1;
}

bool Replacement::take_over_owner_and_mode() const {
    if (!exists_) return true;
    struct stat64 made;
    if (fstat64(fd_, &made) != 0) return false;
    mode_t mode = before_.st_mode & 07777;
    const bool is_of_another = made.st_uid != before_.st_uid || made.st_gid != before_.st_gid;
    if (is_of_another && fchown(fd_, before_.st_uid, before_.st_gid) != 0) {
        // The group alone may be given away; and nobody is to run the file as somebody else.
        static_cast<void>(fchown(fd_, static_cast<uid_t>(-1), before_.st_gid) == 0);
        mode &= static_cast<mode_t>(~(S_ISUID | S_ISGID));
    }
    return fchmod(fd_, mode) == 0;
}

bool Replacement::copy_into_target() const {
    const int to = open64(target_, O_WRONLY | O_TRUNC | O_CLOEXEC);
    if (to < 0) return false;
    char block[16384];
    ssize_t count = 0;
    off64_t place = 0;
    bool copied = true;
    while (copied && (count = pread64(fd_, block, sizeof block, place)) > 0) {
        copied = write_all(to, block, static_cast<std::size_t>(count));
        place += count;
    }
    if (!copied || count != 0) {
        const int error = errno;
        close(to);
        errno = error;
        return false;
    }
    return close(to) == 0;
}

bool Replacement::commit() {
    const bool replaced = take_over_owner_and_mode() && rename(beside_, target_) == 0;
    const bool written = replaced || (exists_ && copy_into_target());
    if (replaced) close(std::exchange(fd_, -1));
    return written;
}

}  // namespace valtrosse
