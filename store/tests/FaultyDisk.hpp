#pragma once
// A disk that fills up or fails, for the store's tests. The system's SQLite VFS lets a program
// replace the system calls it makes; while a FaultyDisk exists, its writes and truncations go
// through this one. A write that would grow a file beyond the free space fails with ENOSPC (which
// SQLite reports as SQLITE_FULL), or with the error the test chose. Writes to the shared
// memory of WAL pass through untouched, as reads and locks do. One disk at a time.

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <limits>
#include <mutex>
#include <string>

namespace tovanel::chat::store::test {

class FaultyDisk {
 public:
  static constexpr std::int64_t kUnlimited = std::numeric_limits<std::int64_t>::max();

  FaultyDisk() {
    vfs()->xSetSystemCall(vfs(), "pwrite64", reinterpret_cast<sqlite3_syscall_ptr>(&write));
    vfs()->xSetSystemCall(vfs(), "ftruncate", reinterpret_cast<sqlite3_syscall_ptr>(&truncate));
  }
  /// Every connection's writes must be done by then.
  ~FaultyDisk() { vfs()->xSetSystemCall(vfs(), nullptr, nullptr); }
  FaultyDisk(const FaultyDisk&) = delete;
  FaultyDisk& operator=(const FaultyDisk&) = delete;

  /// From now on a write fails with `error` when it would grow the files by more than `free`
  /// bytes in all (truncating frees space); a negative `free` fails every write.
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
  static bool isSharedMemory(int fd) {
    char path[4096];
    const auto length =
        ::readlink(("/proc/self/fd/" + std::to_string(fd)).c_str(), path, sizeof path);
    return length > 4 && std::string(path, static_cast<std::size_t>(length)).ends_with("-shm");
  }

  static ssize_t write(int fd, const void* data, size_t amount, off_t offset) {
    if (!isSharedMemory(fd)) {
      const off_t growth = std::max<off_t>(offset + static_cast<off_t>(amount) - sizeOf(fd), 0);
      std::lock_guard lock(state().mutex);
      if (growth > state().free) {
        errno = state().error;
        return -1;
      }
      if (state().free != kUnlimited) state().free -= growth;
    }
    return ::pwrite64(fd, data, amount, offset);
  }
  static int truncate(int fd, off_t size) {
    const off_t before = sizeOf(fd);
    const int result = ::ftruncate(fd, size);
    std::lock_guard lock(state().mutex);
    // A disk that fails every write (free space below zero) stays failing.
    if (result == 0 && state().free >= 0 && state().free != kUnlimited && before > size) {
      state().free += before - size;
    }
    return result;
  }
};

}  // namespace tovanel::chat::store::test
