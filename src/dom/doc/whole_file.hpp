// Files that are written completely or not at all.
#pragma once

namespace valtrosse {

/// For as long as it lives, what libxml2 and libxslt open for writing in this thread goes
///
/// 1. into a new file beside the target, which takes its place when all of it is there: a regular
///    file, in a folder that can be written, which has one name; or no file yet;
/// 2. straight into anything else: devices, pipes, addresses, a file with several names;
/// 3. through the openers that the host has set, with the path of the new file in the first case.
///
/// A target that is replaced keeps its mode, its owner where that is possible, and the symbolic links
/// that lead to it. Closing fails when anything was lost on the way, be it that the disk is full, that
/// memory ended, or that libxml2 reported any other error; what is beside the target is removed then.
class WholeFiles {
public:
    WholeFiles();
    ~WholeFiles();
    WholeFiles(const WholeFiles&) = delete;
    WholeFiles& operator=(const WholeFiles&) = delete;
};

}  // namespace valtrosse
