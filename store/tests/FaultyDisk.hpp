#pragma once
// A disk that fills up or fails, for the store's tests. The system's SQLite VFS lets a program
// replace the system calls it makes; while a FaultyDisk exists, its writes go through this one. A
// write that would grow a file beyond the free space fails with ENOSPC (which SQLite reports as
// SQLITE_FULL), or with the error the test chose. One disk at a time.

#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <limits>
#include <mutex>

namespace tovanel::chat::store::test {

class FaultyDisk {
 public:
  static constexpr std::int64_t kUnlimited = std::numeric_limits<std::int64_t>::max();

  FaultyDisk() {
    vfs()->xSetSystemCall(vfs(), "pwrite64", reinterpret_cast<sqlite3_syscall_ptr>(&write));
  }
  /// Every connection's writes must be done by then.
  ~FaultyDisk() { vfs()->xSetSystemCall(vfs(), nullptr, nullptr); }
  FaultyDisk(const FaultyDisk&) = delete;
  FaultyDisk& operator=(const FaultyDisk&) = delete;

  /// From now on a write fails with `error` when it would grow the files by more than `free`
  /// bytes in all; a negative `free` fails every write.
  void set(std::int64_t free, int error = ENOSPC) {
    std::lock_guard lock(state().mutex);
    state().free = free;
    state().error = error;
  }

 private:
  struct State {
    std::mutex mutex;
    std::int64_t free = kUnlimited;
    int error = 0;
  };
  static State& state() {
    static State state;
    return state;
  }
  static sqlite3_vfs* vfs() { return sqlite3_vfs_find("unix"); }

  static off_t sizeOf(int fd) {
    struct stat status {};
    return ::fstat(fd, &status) == 0 ? status.st_size : 0;
  }
  static ssize_t write(int fd, const void* data, size_t amount, off_t offset) {
    const off_t growth = std::max<off_t>(offset + static_cast<off_t>(amount) - sizeOf(fd), 0);
    std::lock_guard lock(state().mutex);
    if (growth > state().free) {
      errno = state().error;
      return -1;
    }
    if (state().free != kUnlimited) state().free -= growth;
    return ::pwrite64(fd, data, amount, offset);
  }
};

}  // namespace tovanel::chat::store::test
