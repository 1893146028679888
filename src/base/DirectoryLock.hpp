#pragma once

namespace melta {

// Keeps other runs that change the files of the working directory out of it while it lives. The lock is one
// of the system on the directory itself: it ends with its process, whatever ends that, and leaves no file
// behind. Runs that only read, and requests to stop, need none.
class DirectoryLock {
public:
    // Stops with "another run works in this directory: %s" if one does. Where the file system knows no such
    // locks, or the directory cannot be opened for reading, it lets the run through.
    DirectoryLock();
    ~DirectoryLock();
    DirectoryLock(const DirectoryLock&) = delete;
    DirectoryLock& operator=(const DirectoryLock&) = delete;

private:
    int descriptor; // of the directory; negative if it could not be opened
};

} // namespace melta
