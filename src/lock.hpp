// The lock on what the library shares between threads: last messages, known documents, held trees.
#pragma once

#include <libxml/threads.h>
#include <pthread.h>

namespace valtrosse {

/// Held for as long as it lives. libxml2's library lock does nothing in the versions where no lock was
/// ever created for it, so it is taken beside one of our own. Not recursive.
class SharedStateLock {
public:
    SharedStateLock() {
        pthread_mutex_lock(&mutex_);
        xmlLockLibrary();
    }
    ~SharedStateLock() {
        xmlUnlockLibrary();
        pthread_mutex_unlock(&mutex_);
    }
    SharedStateLock(const SharedStateLock&) = delete;
    SharedStateLock& operator=(const SharedStateLock&) = delete;

private:
    static inline pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
};

}  // namespace valtrosse
